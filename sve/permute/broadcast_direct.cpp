#include "sve/core/lanes.h"
#include "sve/permute/broadcast.h"

using namespace sve;

// ---- The value in every element -----------------------------------------------------------------

template <class T>
static void fill(cpu_state *state, unsigned d, chunk<T> value) {
    write_row<T>(state->z[d], [&](unsigned) { return value; });
}

template <class Value>
static aarch64_decode_rc broadcast(cpu_state *state, aarch64_z_reg zd, Value value) {
    with_lanes(unsigned_lanes{}, zd.size,
               [&]<class T>() { fill<T>(state, zd.num, chunk<T>{} + static_cast<T>(value)); });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_dup_zi(cpu_state *state, aarch64_z_reg zd, int immediate) {
    return broadcast(state, zd, immediate);
}

SVE_ROUTINE sve_dup_zr(cpu_state *state, aarch64_z_reg zd, aarch64_i_rsp_reg rn) {
    return broadcast(state, zd, read_reg(state, rn));
}

SVE_ROUTINE sve_fdup_zi(cpu_state *state, aarch64_z_reg zd, aarch64_sve_fp_dup_imm immediate) {
    switch (zd.size) {
    case sve_size_s:
        fill<uint32_t>(state, zd.num, chunk<uint32_t>{} + immediate.single);
        break;
    case sve_size_d:
        fill<uint64_t>(state, zd.num, chunk<uint64_t>{} + immediate.dbl);
        break;
    default:
        fill<uint16_t>(state, zd.num, chunk<uint16_t>{} + immediate.half);
    }
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_dupm_zi(cpu_state *state, aarch64_z_reg zd, aarch64_sve_logical64_imm immediate) {
    fill<uint64_t>(state, zd.num, chunk<uint64_t>{} + immediate.mask);
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_dup_zzi(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int index) {
    if (zd.size == sve_size_q) {
        fill<uint64_t>(state, zd.num,
                       index < sve_chunks ? load_chunk<uint64_t>(state->z[zn.num], index)
                                          : chunk<uint64_t>{});
        return AARCH64_DECODE_OK;
    }
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        T element = 0;
        if (index < sve_vector_bytes / sizeof(T))
            std::memcpy(&element, state->z[zn.num] + index * sizeof(T), sizeof element);
        fill<T>(state, zd.num, chunk<T>{} + element);
    });
    return AARCH64_DECODE_OK;
}

// ---- The value in the active elements -----------------------------------------------------------

template <class Value>
static aarch64_decode_rc copy_merging(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                                      Value value) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        const chunk<T> broadcast = chunk<T>{} + static_cast<T>(value);
        merge_lanes<T>(state, zd.num, pg.num, [&] { return broadcast; });
    });
    return AARCH64_DECODE_OK;
}

// The chunks op(chunks of the sources…) in the active lanes, 0 in the others.
template <class T, class Op, class... Source>
static void zero_inactive_lanes(cpu_state *state, unsigned d, unsigned pg, Op op,
                                Source... source) {
    write_row<T>(state->z[d], [&](unsigned i) -> chunk<T> {
        return active_lanes<T>(state->p[pg], i) ? op(load_chunk<T>(state->z[source], i)...)
                                                : chunk<T>{};
    });
}

SVE_ROUTINE sve_cpy_zpi(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, int immediate) {
    if (pg.size != sve_pred_zeroing)
        return copy_merging(state, zd, pg, immediate);
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        const chunk<T> broadcast = chunk<T>{} + static_cast<T>(immediate);
        zero_inactive_lanes<T>(state, zd.num, pg.num, [&] { return broadcast; });
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_cpy_zpr(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                        aarch64_i_rsp_reg rn) {
    return copy_merging(state, zd, pg, read_reg(state, rn));
}

SVE_ROUTINE sve_cpy_zpv(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, unsigned int vn) {
    uint64_t value;
    std::memcpy(&value, state->z[vn], sizeof value);
    return copy_merging(state, zd, pg, value);
}

// ---- Selection ----------------------------------------------------------------------------------

SVE_ROUTINE sve_sel_zpzz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                         aarch64_z_reg zm) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        write_row<T>(state->z[zd.num], [&](unsigned i) -> chunk<T> {
            return active_lanes<T>(state->p[pg.num], i) ? load_chunk<T>(state->z[zn.num], i)
                                                        : load_chunk<T>(state->z[zm.num], i);
        });
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_movprfx_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                            aarch64_z_reg zn) {
    const auto same = [](auto n) { return n; };
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        if (pg.size == sve_pred_zeroing)
            zero_inactive_lanes<T>(state, zd.num, pg.num, same, zn.num);
        else
            merge_lanes<T>(state, zd.num, pg.num, same, zn.num);
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_movprfx_zz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn) {
    std::memmove(state->z[zd.num], state->z[zn.num], sve_vector_bytes);
    return AARCH64_DECODE_OK;
}
