#include "sve/fp/arithmetic.h"
#include "sve/fp/fp_lanes.h"

using namespace sve;

// The constants of an immediate's bit, whatever the lane.
static auto halves_or_ones(aarch64_sve_fp_arith_imm imm) {
    return [imm]<class T>() { return half_or_one<T>(imm.i1); };
}
static auto halves_or_twos(aarch64_sve_fp_arith_imm imm) {
    return [imm]<class T>() { return half_or_two<T>(imm.i1); };
}

#define PREDICATED(name, ...)                                                                      \
    aarch64_decode_rc sve_##name##_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,      \
                                       aarch64_z_reg zm) {                                         \
        return fp_binary_zpz(state, zdn, pg, zm, [](auto a, auto b) { return __VA_ARGS__; });      \
    }
#define IMMEDIATE(name, constants, ...)                                                            \
    aarch64_decode_rc sve_##name##_zpi(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,      \
                                       aarch64_sve_fp_arith_imm imm) {                             \
        return fp_binary_zpi(                                                                      \
            state, zdn, pg, [](auto a, auto b) { return __VA_ARGS__; }, constants(imm));           \
    }
#define UNPREDICATED(name, ...)                                                                    \
    aarch64_decode_rc sve_##name##_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,       \
                                       aarch64_z_reg zm) {                                         \
        return binary_zzz<fp_lane_types>(state, zd, zn, zm,                                        \
                                         [](auto a, auto b) { return __VA_ARGS__; });              \
    }
#define UNARY(name, ...)                                                                           \
    aarch64_decode_rc sve_##name##_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,       \
                                       aarch64_z_reg zn) {                                         \
        return fp_unary_zpz(state, zd, pg, zn, [](auto a) { return __VA_ARGS__; });                \
    }

PREDICATED(fadd, host_fadd(a, b))
PREDICATED(fsub, host_fsub(a, b))
PREDICATED(fsubr, host_fsub(b, a))
PREDICATED(fmul, host_fmul(a, b))
PREDICATED(fdiv, host_fdiv(a, b))
PREDICATED(fdivr, host_fdiv(b, a))
PREDICATED(fmax, host_fmax(a, b))
PREDICATED(fmaxnm, host_fmaxnm(a, b))
PREDICATED(fminnm, host_fminnm(a, b))

IMMEDIATE(fadd, halves_or_ones, host_fadd(a, b))
IMMEDIATE(fsub, halves_or_ones, host_fsub(a, b))
IMMEDIATE(fsubr, halves_or_ones, host_fsub(b, a))
IMMEDIATE(fmul, halves_or_twos, host_fmul(a, b))

UNPREDICATED(fadd, host_fadd(a, b))
UNPREDICATED(fsub, host_fsub(a, b))
UNPREDICATED(fmul, host_fmul(a, b))

UNARY(fsqrt, host_fsqrt(a))
UNARY(frinta, host_frinta(a))

// The bits alone: no flag.
aarch64_decode_rc sve_fneg_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                               aarch64_z_reg zn) {
    with_lanes(fp_lane_types{}, zd.size,
               [&]<class T>() { merge_lanes<T>(state, zd.num, pg.num, negated, zn.num); });
    return AARCH64_DECODE_OK;
}
