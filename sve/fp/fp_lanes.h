#pragma once

// Shapes of the direct routines that have the host's floating-point unit compute. Like those of core/lanes.h, but
// in single and double only, and an inactive lane must not raise a flag: the unit gets harmless numbers there.

#include "sve/core/lanes.h"
#include "sve/fp/host_operations.h"

namespace sve {

using fp_lane_types = lane_types<uint32_t, uint64_t>;

// The row of register `d` becomes op(chunks…) in the active lanes; the others keep their value. The chunks are
// f(i) for each f of `source`, but `harmless` in the inactive lanes.
template <class T, class Op, class... Source>
void fp_merge_lanes(cpu_state *state, unsigned d, unsigned pg, T harmless, Op op,
                    Source... source) {
    write_row<T>(state->z[d], [&](unsigned i) -> chunk<T> {
        const auto active = active_lanes<T>(state->p[pg], i);
        const chunk<T> spare = chunk<T>{} + harmless;
        const chunk<T> result = op((active ? source(i) : spare)...);
        return active ? result : load_chunk<T>(state->z[d], i);
    });
}

// The chunks of a register, and of one value in all lanes.
template <class T>
auto lanes_of(const cpu_state *state, unsigned z) {
    return [row = state->z[z]](unsigned i) { return load_chunk<T>(row, i); };
}
template <class T>
auto all_lanes(T value) {
    return [value](unsigned) { return chunk<T>{} + value; };
}

// The lanes with their signs inverted, those of NaNs too.
constexpr auto negated = []<class Lanes>(Lanes a) {
    return a ^ FPNeg(std::remove_cvref_t<decltype(a[0])>{0});
};

// Zdn = op(Zdn, Zm) in the active lanes. 1.0 is harmless to every operation, as both operands.
template <class Op>
aarch64_decode_rc fp_binary_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,
                                aarch64_z_reg zm, Op op) {
    with_lanes(fp_lane_types{}, zdn.dst_size, [&]<class T>() {
        fp_merge_lanes<T>(state, zdn.num, pg.num, power_of_two<T>(0), op,
                          lanes_of<T>(state, zdn.num), lanes_of<T>(state, zm.num));
    });
    return AARCH64_DECODE_OK;
}

// Zdn = op(Zdn, constant) in the active lanes. `constant` is a function from a type of lane.
template <class Op, class Constant>
aarch64_decode_rc fp_binary_zpi(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, Op op,
                                Constant constant) {
    with_lanes(fp_lane_types{}, zdn.dst_size, [&]<class T>() {
        fp_merge_lanes<T>(state, zdn.num, pg.num, power_of_two<T>(0), op,
                          lanes_of<T>(state, zdn.num),
                          all_lanes<T>(constant.template operator()<T>()));
    });
    return AARCH64_DECODE_OK;
}

// Zd = op(Zn) in the active lanes.
template <class Op>
aarch64_decode_rc fp_unary_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                               aarch64_z_reg zn, Op op) {
    with_lanes(fp_lane_types{}, zd.size, [&]<class T>() {
        fp_merge_lanes<T>(state, zd.num, pg.num, power_of_two<T>(0), op,
                          lanes_of<T>(state, zn.num));
    });
    return AARCH64_DECODE_OK;
}

// Zda = op(Zda, Zn, Zm) in the active lanes.
template <class Op>
aarch64_decode_rc fp_ternary_zpzz(cpu_state *state, aarch64_z_reg zda, aarch64_p_reg pg,
                                  aarch64_z_reg zn, aarch64_z_reg zm, Op op) {
    with_lanes(fp_lane_types{}, zda.dst_size, [&]<class T>() {
        fp_merge_lanes<T>(state, zda.num, pg.num, power_of_two<T>(0), op,
                          lanes_of<T>(state, zda.num), lanes_of<T>(state, zn.num),
                          lanes_of<T>(state, zm.num));
    });
    return AARCH64_DECODE_OK;
}

} // namespace sve
