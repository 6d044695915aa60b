#pragma once

// Helpers of the direct tier. A direct routine works on chunks of 16 bytes with the compiler's
// vector types, so that one source is Advanced SIMD on AArch64 and the host's vectors elsewhere.
// With them an operation is one line:
//
//     aarch64_decode_rc sve_sub_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
//                                   aarch64_z_reg zm) {
//         return lanes_zzz(state, zd, zn, zm, [](auto n, auto m) { return n - m; });
//     }

#include "sve/core/cpu_state.h"

#include <cstring>
#include <type_traits>
#include <utility>

namespace sve {

// 16 bytes of lanes of type T.
template <class T>
using chunk [[gnu::vector_size(sve_chunk_bytes)]] = T;

template <class T>
chunk<T> load_chunk(const uint8_t *row, unsigned index) {
    chunk<T> value;
    std::memcpy(&value, row + index * sve_chunk_bytes, sizeof value);
    return value;
}
template <class T>
void store_chunk(uint8_t *row, unsigned index, chunk<T> value) {
    std::memcpy(row + index * sve_chunk_bytes, &value, sizeof value);
}

// All ones in the lanes of type T that the predicate row makes active, zero in the others. A lane
// is active when bit 0 of its first predicate byte is set; its other predicate bytes say nothing.
template <class T>
auto active_lanes(const uint8_t *predicate_row, unsigned index) {
    return (load_chunk<T>(predicate_row, index) & 1) != 0;
}

// Calls f.operator()<T>() with the unsigned lane type of a size code: 2, 3 and 1 are tested in this
// order, anything else is bytes.
template <class F>
decltype(auto) with_unsigned_lanes(unsigned size_code, F &&f) {
    if (size_code == sve_size_s)
        return f.template operator()<uint32_t>();
    if (size_code == sve_size_d)
        return f.template operator()<uint64_t>();
    if (size_code == sve_size_h)
        return f.template operator()<uint16_t>();
    return f.template operator()<uint8_t>();
}

// The same with the signed lane type.
template <class F>
decltype(auto) with_signed_lanes(unsigned size_code, F &&f) {
    return with_unsigned_lanes(
        size_code, [&]<class T>() { return f.template operator()<std::make_signed_t<T>>(); });
}

// Writes the row whose chunk i is f(i). All chunks are computed before any is stored, so the row
// may be among the sources. The chunks are written out by a fold: as a loop the compiler neither
// unrolls them nor keeps the results in registers, which costs 52 instructions for an 80-byte add
// instead of 19.
template <class T, class F>
void write_row(uint8_t *row, F &&f) {
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        const chunk<T> result[] = {f(i)...};
        (store_chunk<T>(row, i, result[i]), ...);
    }
    (std::make_integer_sequence<unsigned, sve_chunks>{});
}

// Zd = op(Zn, Zm), lane by lane.
template <class Op>
aarch64_decode_rc lanes_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                            Op op) {
    with_unsigned_lanes(zd.size, [&]<class T>() {
        const uint8_t *n = state->z[zn.num], *m = state->z[zm.num];
        write_row<T>(state->z[zd.num],
                     [&](unsigned i) { return op(load_chunk<T>(n, i), load_chunk<T>(m, i)); });
    });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn, Zm) in the active lanes; the others keep their value.
template <class Op>
aarch64_decode_rc lanes_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                            Op op) {
    with_unsigned_lanes(zdn.dst_size, [&]<class T>() {
        const uint8_t *dn = state->z[zdn.num], *m = state->z[zm.num], *p = state->p[pg.num];
        write_row<T>(state->z[zdn.num], [&](unsigned i) {
            const chunk<T> old = load_chunk<T>(dn, i);
            return active_lanes<T>(p, i) ? op(old, load_chunk<T>(m, i)) : old;
        });
    });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn, immediate). The immediate is truncated to the lane and given to each.
template <class Op>
aarch64_decode_rc lanes_zi(cpu_state *state, aarch64_z_reg zdn, unsigned int immediate, Op op) {
    with_unsigned_lanes(zdn.dst_size, [&]<class T>() {
        const uint8_t *dn = state->z[zdn.num];
        const chunk<T> broadcast = chunk<T>{} + static_cast<T>(immediate);
        write_row<T>(state->z[zdn.num],
                     [&](unsigned i) { return op(load_chunk<T>(dn, i), broadcast); });
    });
    return AARCH64_DECODE_OK;
}

} // namespace sve
