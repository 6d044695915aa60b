#include "sve/core/lanes.h"
#include "sve/predicate/index.h"

using namespace sve;

// ---- INDEX -----------------------------------------------------------------------------------------

// 0, 1, 2 and so on.
template <class T>
static constexpr chunk<T> lane_numbers = []<T... lane>(std::integer_sequence<T, lane...>) {
    return chunk<T>{lane...};
}
(std::make_integer_sequence<T, sve_chunk_bytes / sizeof(T)>{});

// Base and step in 64 bits, of which the element takes the low ones.
static aarch64_decode_rc write_sequence(cpu_state *state, aarch64_z_reg zd, uint64_t base,
                                        uint64_t step) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        const chunk<T> first = lane_numbers<T> * static_cast<T>(step) + static_cast<T>(base);
        write_row<T>(state->z[zd.num], [&](unsigned i) {
            return first + static_cast<T>(i * (sve_chunk_bytes / sizeof(T)) * step);
        });
    });
    return AARCH64_DECODE_OK;
}

static uint64_t value_of(const cpu_state *, int immediate) {
    return static_cast<uint64_t>(int64_t{immediate});
}
static uint64_t value_of(const cpu_state *state, aarch64_i_reg reg) {
    return read_reg(state, reg);
}

#define INDEX(name, Base, Step)                                                                    \
    SVE_ROUTINE sve_index_##name(cpu_state *state, aarch64_z_reg zd, Base base, Step step) {       \
        return write_sequence(state, zd, value_of(state, base), value_of(state, step));            \
    }
INDEX(zii, int, int)
INDEX(zir, int, aarch64_i_reg)
INDEX(zri, aarch64_i_reg, int)
INDEX(zrr, aarch64_i_reg, aarch64_i_reg)

// ---- The vector length ------------------------------------------------------------------------------

// A number of vectors or of predicates in bytes. A predicate has a bit for each byte of a vector.
static uint64_t vectors(int count) {
    return static_cast<uint64_t>(count * int64_t{sve_vector_bytes});
}
static uint64_t predicates(int count) {
    return static_cast<uint64_t>(count * int64_t{sve_vector_bytes / 8});
}

SVE_ROUTINE sve_addvl_rri(cpu_state *state, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
    write_reg(state, rd, read_reg(state, rn) + vectors(imm));
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_addpl_rri(cpu_state *state, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
    write_reg(state, rd, read_reg(state, rn) + predicates(imm));
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_rdvl_ri(cpu_state *state, aarch64_i_reg xd, int imm) {
    write_reg(state, xd, vectors(imm));
    return AARCH64_DECODE_OK;
}
