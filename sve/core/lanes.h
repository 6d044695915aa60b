#pragma once

// Helpers of the direct tier. A direct routine works on chunks of 16 bytes with the compiler's
// vector types, so that one source is Advanced SIMD on AArch64 and the host's vectors elsewhere.
// With them an operation is one line:
//
//     aarch64_decode_rc sve_sub_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
//                                   aarch64_z_reg zm) {
//         return binary_zzz(state, zd, zn, zm, [](auto n, auto m) { return n - m; });
//     }

#include "sve/core/chunk.h"
#include "sve/core/cpu_state.h"

#include <cstring>
#include <type_traits>
#include <utility>

namespace sve {

// All ones in the lanes of type T that the predicate row makes active, zero in the others. A lane
// is active when bit 0 of its first predicate byte is set; its other predicate bytes say nothing.
template <class T>
auto active_lanes(const uint8_t *predicate_row, unsigned index) {
    return (load_chunk<T>(predicate_row, index) & 1) != 0;
}

// The lane types that a routine tells apart, the narrowest first.
template <class... T>
struct lane_types {};
using unsigned_lanes = lane_types<uint8_t, uint16_t, uint32_t, uint64_t>;
using signed_lanes = lane_types<int8_t, int16_t, int32_t, int64_t>;

// Calls f.operator()<T>() with the lane type of a size code. A code that none of the types has
// means the narrowest. Words are asked for first, then doublewords.
template <class Narrowest, class... Wider, class F>
void with_lanes(lane_types<Narrowest, Wider...>, unsigned size_code, F &&f) {
    const auto found = [&]<unsigned code>(std::integral_constant<unsigned, code>) {
        return ((sizeof(Wider) == 1u << code && size_code == code &&
                 (f.template operator()<Wider>(), true)) ||
                ...);
    };
    if (!found(std::integral_constant<unsigned, sve_size_s>{}) &&
        !found(std::integral_constant<unsigned, sve_size_d>{}) &&
        !found(std::integral_constant<unsigned, sve_size_h>{}))
        f.template operator()<Narrowest>();
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

// Addresses that the compiler takes as they are. It would rather make the sum of a register's row, a
// chunk's offset and the place of the rows anew for each use.
template <class Address>
Address *opaque(Address *address) {
    asm("" : "+r"(address));
    return address;
}

// Calls f(Z row of each register…).
template <class F, class... Register>
void with_z_rows(cpu_state *state, F &&f, Register... number) {
    auto *const rows = opaque(state->z);
    f(opaque(rows[number])...);
}

// The row of register `d` becomes op(chunks of the sources…).
template <class T, class Op, class... Source>
void write_lanes(cpu_state *state, unsigned d, Op op, Source... source) {
    with_z_rows(
        state,
        [&](uint8_t *result, auto *...row) {
            write_row<T>(result, [&](unsigned i) { return op(load_chunk<T>(row, i)...); });
        },
        d, source...);
}

// The same in the active lanes; the others keep their value.
template <class T, class Op, class... Source>
void merge_lanes(cpu_state *state, unsigned d, unsigned pg, Op op, Source... source) {
    with_z_rows(
        state,
        [&, predicate = opaque(state->p[pg])](uint8_t *result, auto *...row) {
            write_row<T>(result, [&](unsigned i) -> chunk<T> {
                return active_lanes<T>(predicate, i) ? op(load_chunk<T>(row, i)...)
                                                     : load_chunk<T>(result, i);
            });
        },
        d, source...);
}

// The same one element at a time, for what the vector unit can't do: `op` gets single elements, and
// only those of active lanes.
template <class T, class Op, class... Source>
void merge_elements(cpu_state *state, unsigned d, unsigned pg, Op op, Source... source) {
    uint8_t result[sve_vector_bytes];
    std::memcpy(result, state->z[d], sve_vector_bytes);
    const auto element = [state](unsigned z, unsigned offset) {
        T value;
        std::memcpy(&value, state->z[z] + offset, sizeof value);
        return value;
    };
    for (unsigned offset = 0; offset < sve_vector_bytes; offset += sizeof(T)) {
        if (!(state->p[pg][offset] & 1))
            continue;
        const T value = op(element(source, offset)...);
        std::memcpy(result + offset, &value, sizeof value);
    }
    std::memcpy(state->z[d], result, sve_vector_bytes);
}

// ---- The common shapes -------------------------------------------------------------------------

// Zd = op(Zn, Zm).
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc binary_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                             Op op) {
    with_lanes(Types{}, zd.size,
               [&]<class T>() { write_lanes<T>(state, zd.num, op, zn.num, zm.num); });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn, immediate). The immediate is truncated to the lane and given to each.
template <class Types = unsigned_lanes, class Immediate, class Op>
aarch64_decode_rc binary_zi(cpu_state *state, aarch64_z_reg zdn, Immediate immediate, Op op) {
    with_lanes(Types{}, zdn.dst_size, [&]<class T>() {
        const chunk<T> broadcast = chunk<T>{} + static_cast<T>(immediate);
        write_lanes<T>(
            state, zdn.num, [&](chunk<T> dn) { return op(dn, broadcast); }, zdn.num);
    });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn, Zm) in the active lanes.
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc binary_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,
                             aarch64_z_reg zm, Op op) {
    with_lanes(Types{}, zdn.dst_size,
               [&]<class T>() { merge_lanes<T>(state, zdn.num, pg.num, op, zdn.num, zm.num); });
    return AARCH64_DECODE_OK;
}

// Zd = op(Zn) in the active lanes.
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc unary_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                            Op op) {
    with_lanes(Types{}, zd.size,
               [&]<class T>() { merge_lanes<T>(state, zd.num, pg.num, op, zn.num); });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn) in the active lanes, where `op` holds an immediate.
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc unary_zpi(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, Op op) {
    with_lanes(Types{}, zdn.dst_size,
               [&]<class T>() { merge_lanes<T>(state, zdn.num, pg.num, op, zdn.num); });
    return AARCH64_DECODE_OK;
}

// Zd = op(Zn), where `op` may hold an immediate.
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc unary_zz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, Op op) {
    with_lanes(Types{}, zd.size, [&]<class T>() { write_lanes<T>(state, zd.num, op, zn.num); });
    return AARCH64_DECODE_OK;
}

// Za = op(Za, Zb, Zc) in the active lanes.
template <class Types = unsigned_lanes, class Op>
aarch64_decode_rc ternary_zpzz(cpu_state *state, aarch64_z_reg za, aarch64_p_reg pg,
                               aarch64_z_reg zb, aarch64_z_reg zc, Op op) {
    with_lanes(Types{}, za.dst_size, [&]<class T>() {
        merge_lanes<T>(state, za.num, pg.num, op, za.num, zb.num, zc.num);
    });
    return AARCH64_DECODE_OK;
}

} // namespace sve
