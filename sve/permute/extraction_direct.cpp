#include "sve/core/lanes.h"
#include "sve/permute/extraction.h"

using namespace sve;

// The byte offset of the last active element of type T, or `none`.
template <class T>
static unsigned last_active(const cpu_state *state, aarch64_p_reg pg, unsigned none) {
    for (unsigned end = sve_vector_bytes; end != 0; end -= sizeof(T))
        if (state->p[pg.num][end - sizeof(T)] & 1)
            return end - sizeof(T);
    return none;
}

template <class T>
static T element_at(const cpu_state *state, aarch64_z_reg z, unsigned offset) {
    T element;
    std::memcpy(&element, state->z[z.num] + offset, sizeof element);
    return element;
}

static uint64_t last_element(const cpu_state *state, aarch64_p_reg pg, aarch64_z_reg zn) {
    uint64_t element;
    with_lanes(unsigned_lanes{}, zn.size, [&]<class T>() {
        element = element_at<T>(state, zn, last_active<T>(state, pg, sve_vector_bytes - sizeof(T)));
    });
    return element;
}

SVE_ROUTINE sve_lastb_rpz(cpu_state *state, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_z_reg zn) {
    write_reg(state, rd, last_element(state, pg, zn));
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_lastb_vpz(cpu_state *state, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    write_v(state, vd, last_element(state, pg, zn));
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_clastb_rpz(cpu_state *state, aarch64_i_reg rdn, aarch64_p_reg pg,
                           aarch64_z_reg zm) {
    with_lanes(unsigned_lanes{}, zm.size, [&]<class T>() {
        const unsigned offset = last_active<T>(state, pg, sve_vector_bytes);
        write_reg(state, rdn,
                  offset < sve_vector_bytes ? element_at<T>(state, zm, offset)
                                            : static_cast<T>(read_reg(state, rdn)));
    });
    return AARCH64_DECODE_OK;
}
