#include "sve/fp/compares.h"
#include "sve/fp/fp_lanes.h"

using namespace sve;

// The row of pd becomes relation(chunk of zn, chunk i of the other operand) in the active lanes, each the integer
// 0 or 1.
template <class T, class Relation, class Operand>
static void compare_lanes(cpu_state *state, unsigned pd, unsigned pg, unsigned zn,
                          Relation relation, Operand operand) {
    const chunk<T> harmless = chunk<T>{} + power_of_two<T>(0);
    write_row<T>(state->p[pd], [&](unsigned i) -> chunk<T> {
        const auto active = active_lanes<T>(state->p[pg], i);
        const chunk<T> holds = relation(active ? load_chunk<T>(state->z[zn], i) : harmless,
                                        active ? operand(i) : harmless);
        return (active ? holds : chunk<T>{}) & 1;
    });
}

#define VECTORS(name, ...)                                                                         \
    aarch64_decode_rc sve_##name##_ppzz(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,      \
                                        aarch64_z_reg zn, aarch64_z_reg zm) {                      \
        with_lanes(fp_lane_types{}, pd.size, [&]<class T>() {                                      \
            compare_lanes<T>(                                                                      \
                state, pd.num, pg.num, zn.num, [](auto a, auto b) { return __VA_ARGS__; },         \
                lanes_of<T>(state, zm.num));                                                       \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
VECTORS(fcmeq, host_fcmeq(a, b))
VECTORS(fcmge, host_fcmge(a, b))
VECTORS(fcmgt, host_fcmgt(a, b))
VECTORS(fcmne, ~host_fcmeq(a, b))
// Only a NaN doesn't equal itself.
VECTORS(fcmuo, ~(host_fcmeq(a, a) & host_fcmeq(b, b)))

#define WITH_ZERO(name, ...)                                                                       \
    aarch64_decode_rc sve_##name##_ppz(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,       \
                                       aarch64_z_reg zn) {                                         \
        with_lanes(fp_lane_types{}, pd.size, [&]<class T>() {                                      \
            compare_lanes<T>(                                                                      \
                state, pd.num, pg.num, zn.num, [](auto a, auto zero) { return __VA_ARGS__; },      \
                all_lanes<T>(0));                                                                  \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
WITH_ZERO(fcmeq, host_fcmeq(a, zero))
WITH_ZERO(fcmge, host_fcmge(a, zero))
WITH_ZERO(fcmgt, host_fcmgt(a, zero))
WITH_ZERO(fcmle, host_fcmge(zero, a))
WITH_ZERO(fcmlt, host_fcmgt(zero, a))
