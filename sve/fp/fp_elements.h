#pragma once

// Loops of the floating-point reference functions: those of core/elements.h, with an operation that is a
// function of the floating-point library. It works with the control word of the context, and its flags are
// added to the context's status:
//
//     VecT VecF32AddVVM(VecT dn, PredV pg, VecT m, CpuContext *context) {
//         return fp_merge<uint32_t, FPAdd<uint32_t>>(context, dn, pg, dn, m);
//     }
//
// The operation is an argument of the template, so that each loop calls its own and not whatever a pointer points at.

#include "sve/core/elements.h"
#include "sve/fplib/fplib.h"

namespace sve {

// What a call may leave in FPSR: the flags of NZCV and QC, and the cumulative exceptions. The control bits of
// its word stay out.
inline constexpr uint32_t fpsr_mask = 0xf800'009f;

// The result of f(fpscr), where fpscr may be used for any number of operations: they read its control bits and add
// flags.
template <class F>
auto with_fpscr(CpuContext *context, F &&f) {
    FPSCR fpscr{context->FPCR};
    const auto result = f(fpscr);
    context->FPSR = (context->FPSR | fpscr.word) & fpsr_mask;
    return result;
}

template <class T, auto op, class... Operand>
VecT fp_unpredicated(CpuContext *context, const Operand &...operand) {
    return with_fpscr(context, [&](FPSCR &fpscr) {
        return unpredicated<T>(
            context, [&](auto... element) { return op(element..., fpscr); }, operand...);
    });
}

template <class T, auto op, class... Operand>
VecT fp_merge(CpuContext *context, const VecT &old, const PredV &pg, const Operand &...operand) {
    return with_fpscr(context, [&](FPSCR &fpscr) {
        return merge<T>(
            context, old, pg, [&](auto... element) { return op(element..., fpscr); }, operand...);
    });
}

template <class T, auto op, class... Operand>
PredV fp_compare(CpuContext *context, const PredV &pg, const Operand &...operand) {
    return with_fpscr(context, [&](FPSCR &fpscr) {
        return compare<T>(
            context, pg, [&](auto... element) { return op(element..., fpscr); }, operand...);
    });
}

// Bits of the fraction, and the pattern of 2^exponent.
template <class T>
inline constexpr unsigned fraction_bits = sizeof(T) == 2   ? 10
                                          : sizeof(T) == 4 ? 23
                                                           : 52;
template <class T>
constexpr T power_of_two(int exponent) {
    constexpr int bias = (1 << (8 * sizeof(T) - fraction_bits<T> - 2)) - 1;
    return static_cast<T>(static_cast<T>(exponent + bias) << fraction_bits<T>);
}

template <class T>
inline constexpr T infinity = power_of_two<T>((1 << (8 * sizeof(T) - fraction_bits<T> - 2)));
// Positive and quiet.
template <class T>
inline constexpr T default_nan = infinity<T> | T{1} << (fraction_bits<T> - 1);

// The two constants of an arithmetic immediate, by its bit: of FADD, FSUB and FSUBR; of FMUL; of the maxima and
// minima.
template <class T>
constexpr T half_or_one(unsigned i1) {
    return power_of_two<T>(i1 ? 0 : -1);
}
template <class T>
constexpr T half_or_two(unsigned i1) {
    return power_of_two<T>(i1 ? 1 : -1);
}
template <class T>
constexpr T zero_or_one(unsigned i1) {
    return i1 ? power_of_two<T>(0) : 0;
}

} // namespace sve

// Stamps a definition for each format: F(type of the handler's name, type of the pattern).
#define SVE_FP_TYPES(F) F(F16, uint16_t) F(F32, uint32_t) F(D64, uint64_t)
