#include "sve/fp/arithmetic.h"

using namespace sve;

// ---- What an operation is, on the elements of any format -----------------------------------------

template <class T>
static T subtract_from(T a, T b, FPSCR &fpscr) {
    return FPSub(b, a, fpscr);
}
template <class T>
static T divide_into(T a, T b, FPSCR &fpscr) {
    return FPDiv(b, a, fpscr);
}
// A NaN loses its sign, too.
template <class T>
static T absolute_difference(T a, T b, FPSCR &fpscr) {
    return FPAbs(FPSub(a, b, fpscr));
}
template <class T, FPRounding rounding>
static T round_to(T a, FPSCR &fpscr) {
    return FPRoundInt(a, rounding, false, fpscr);
}
template <class T, bool exact>
static T round_by_mode(T a, FPSCR &fpscr) {
    return FPRoundInt(a, FPRoundingMode(fpscr), exact, fpscr);
}

// ---- Shapes ---------------------------------------------------------------------------------------

#define PREDICATED(type, T, op, function)                                                          \
    VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return fp_merge<T, function<T>>(context, dn, pg, dn, m);                                   \
    }
#define UNPREDICATED(type, T, op, function)                                                        \
    VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *context) {                                 \
        return fp_unpredicated<T, function<T>>(context, n, m);                                     \
    }
#define IMMEDIATE(type, T, op, function, constants)                                                \
    VecT Vec##type##op##VIM(VecT dn, PredV pg, unsigned i1, CpuContext *context) {                 \
        return fp_merge<T, function<T>>(context, dn, pg, dn, constants<T>(i1));                    \
    }
#define UNARY(type, T, op, ...)                                                                    \
    VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                        \
        return fp_merge<T, __VA_ARGS__>(context, d, pg, n);                                        \
    }
// Of the bits alone: no flag.
#define SIGN(type, T, op, function)                                                                \
    VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                        \
        return merge<T>(context, d, pg, function<T>, n);                                           \
    }

// clang-format off
#define FORMAT(type, T)                                                                            \
    PREDICATED(type, T, Add, FPAdd) UNPREDICATED(type, T, Add, FPAdd)                              \
    IMMEDIATE(type, T, Add, FPAdd, half_or_one)                                                    \
    PREDICATED(type, T, Sub, FPSub) UNPREDICATED(type, T, Sub, FPSub)                              \
    IMMEDIATE(type, T, Sub, FPSub, half_or_one)                                                    \
    PREDICATED(type, T, SubR, subtract_from)                                                       \
    IMMEDIATE(type, T, SubR, subtract_from, half_or_one)                                           \
    PREDICATED(type, T, Mul, FPMul) UNPREDICATED(type, T, Mul, FPMul)                              \
    IMMEDIATE(type, T, Mul, FPMul, half_or_two)                                                    \
    PREDICATED(type, T, MulX, FPMulX)                                                              \
    PREDICATED(type, T, Div, FPDiv)                                                                \
    PREDICATED(type, T, DivR, divide_into)                                                         \
    PREDICATED(type, T, Abd, absolute_difference)                                                  \
    PREDICATED(type, T, Max, FPMax) IMMEDIATE(type, T, Max, FPMax, zero_or_one)                    \
    PREDICATED(type, T, Min, FPMin) IMMEDIATE(type, T, Min, FPMin, zero_or_one)                    \
    PREDICATED(type, T, MaxNum, FPMaxNum) IMMEDIATE(type, T, MaxNum, FPMaxNum, zero_or_one)        \
    PREDICATED(type, T, MinNum, FPMinNum) IMMEDIATE(type, T, MinNum, FPMinNum, zero_or_one)        \
    SIGN(type, T, Abs, FPAbs)                                                                      \
    SIGN(type, T, Neg, FPNeg)                                                                      \
    UNARY(type, T, Sqrt, FPSqrt<T>)                                                                \
    UNARY(type, T, FRIntN, round_to<T, FPRounding_TIEEVEN>)                                        \
    UNARY(type, T, FRIntP, round_to<T, FPRounding_POSINF>)                                         \
    UNARY(type, T, FRIntM, round_to<T, FPRounding_NEGINF>)                                         \
    UNARY(type, T, FRIntZ, round_to<T, FPRounding_ZERO>)                                           \
    UNARY(type, T, FRIntA, round_to<T, FPRounding_TIEAWAY>)                                        \
    UNARY(type, T, FRIntI, round_by_mode<T, false>)                                                \
    UNARY(type, T, FRIntX, round_by_mode<T, true>)
// clang-format on
SVE_FP_TYPES(FORMAT)
