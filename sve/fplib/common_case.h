#pragma once

// The case that nearly all calls are: operands and result are normal numbers, and rounding is to nearest. It needs
// no special values, no flush and no flag but IXC, so the steps between operands and result are few. Each function
// gives no result where the case is another one, and has raised nothing then.

#include "sve/fplib/format.h"

#include <optional>

namespace fplib {

template <FPPattern T>
constexpr bool is_normal(T x) {
    return static_cast<unsigned>(exponent_of(x) - 1) < format<T>::max_exponent - 1;
}

template <FPPattern... T>
constexpr bool is_common_case(FPSCR fpscr, T... operand) {
    return (is_normal(operand) && ...) && !(fpscr.word & FPSCR::RMode);
}

// The mantissa with its leading one, as an integer.
template <FPPattern T>
constexpr T mantissa_of(T x) {
    return (x & format<T>::fraction) | T{1} << format<T>::fraction_bits;
}

// (-1)^sgn * mnt * 2^(exp - bias - 63), rounded. The mantissa's leading one is at the top, and bit 0 stands for
// everything below it.
template <FPPattern T>
[[gnu::always_inline]] inline std::optional<T> fp_round_common(int sgn, int exp, unsigned long mnt,
                                                               FPSCR &fpscr) {
    using f = format<T>;
    // The greatest exponent is left out, since a carry makes an infinity of it.
    if (static_cast<unsigned>(exp - 1) >= f::max_exponent - 2)
        return {};
    const unsigned long magnitude = magnitude_of<T>(exp, mnt);
    const unsigned long dropped = mnt << (f::fraction_bits + 1);
    if (dropped != 0)
        fpscr.word |= FPSCR::IXC;
    // More than one half, or one half and an odd number: the lowest bits of what is dropped are 0.
    const bool up = dropped + (magnitude & 1) > 1ul << 63;
    return with_sign(sgn, static_cast<T>(magnitude + up));
}

// The sum, times 2^scale, of two numbers with mantissas that leave the top two bits free; the bit `unit` is worth 1
// when the exponent is the bias. The mantissas end in zeros, so where the numbers are close enough for leading digits
// to cancel, no digit of the smaller one is shifted out.
template <FPPattern T, int unit, typename M>
[[gnu::always_inline]] inline std::optional<T> fp_sum_common(number<M> a, number<M> b, int scale,
                                                             FPSCR &fpscr) {
    const int distance = a.exp - b.exp;
    if (distance >= 0)
        b.mnt = shift_right_sticky(b.mnt, distance);
    else
        a.mnt = shift_right_sticky(a.mnt, -distance);
    number<M> sum{a.sgn, std::max(a.exp, b.exp), a.mnt + b.mnt};
    if (a.sgn != b.sgn) {
        sum.mnt = a.mnt - b.mnt;
        if (sum.mnt == 0)
            return {}; // its sign has a rule of its own
        if (a.mnt < b.mnt) {
            sum.mnt = -sum.mnt;
            sum.sgn = b.sgn;
        }
    }
    sum.exp += 8 * static_cast<int>(sizeof(M)) - 1 - unit + scale;
    fp_normalise(sum.mnt, sum.exp);
    return fp_round_common<T>(sum.sgn, sum.exp, top_word(sum.mnt), fpscr);
}

template <FPPattern T>
[[gnu::always_inline]] inline std::optional<T> fp_add_common(T op1, T op2, FPSCR &fpscr) {
    if (!is_common_case(fpscr, op1, op2))
        return {};
    constexpr int unit = 61;
    const auto operand = [](T x) -> unpacked {
        return {sign_of(x), exponent_of(x),
                static_cast<unsigned long>(mantissa_of(x)) << (unit - format<T>::fraction_bits)};
    };
    return fp_sum_common<T, unit>(operand(op1), operand(op2), 0, fpscr);
}

template <FPPattern T>
[[gnu::always_inline]] inline std::optional<T> fp_mul_common(T op1, T op2, FPSCR &fpscr) {
    if (!is_common_case(fpscr, op1, op2))
        return {};
    using f = format<T>;
    using M = typename f::product;
    auto product = static_cast<M>(mantissa_of(op1)) * mantissa_of(op2);
    int exp = exponent_of(op1) + exponent_of(op2) - f::bias +
              (8 * static_cast<int>(sizeof(M)) - 1 - 2 * f::fraction_bits);
    fp_normalise(product, exp);
    return fp_round_common<T>(sign_of(op1) ^ sign_of(op2), exp, top_word(product), fpscr);
}

// (addend + op1 * op2) * 2^scale
template <FPPattern T>
[[gnu::always_inline]] inline std::optional<T> fp_fused_common(T addend, T op1, T op2, int scale,
                                                               FPSCR &fpscr) {
    if (!is_common_case(fpscr, addend, op1, op2))
        return {};
    using f = format<T>;
    using M = typename f::product;
    // The product is below 4, and its lowest bit is worth 2^(-2 * fraction_bits).
    constexpr int unit = 8 * sizeof(M) - 4;
    constexpr int shift = unit - 2 * f::fraction_bits;
    const M product = static_cast<M>(mantissa_of(op1)) * mantissa_of(op2) << shift;
    const M scaled_addend = static_cast<M>(mantissa_of(addend)) << (unit - f::fraction_bits);
    return fp_sum_common<T, unit>(number<M>{sign_of(op1) ^ sign_of(op2),
                                            exponent_of(op1) + exponent_of(op2) - f::bias, product},
                                  number<M>{sign_of(addend), exponent_of(addend), scaled_addend},
                                  scale, fpscr);
}

// A normal number as an integer of the type U, rounded toward zero, whatever the mode of `fpscr` is.
template <FPPattern U, FPPattern T>
[[gnu::always_inline]] inline std::optional<U> fp_truncate_common(T op, bool unsigned_,
                                                                  FPSCR &fpscr) {
    using f = format<T>;
    const int exp = exponent_of(op) - f::bias;
    if (!is_normal(op) || exp >= format<U>::width - 1 || (exp >= 0 && unsigned_ && sign_of(op)))
        return {};
    if (exp < 0) {
        fpscr.word |= FPSCR::IXC;
        return U{0};
    }
    const unsigned long mnt = static_cast<unsigned long>(mantissa_of(op))
                              << (63 - f::fraction_bits);
    if (mnt << 1 << exp != 0)
        fpscr.word |= FPSCR::IXC;
    const unsigned long magnitude = mnt >> (63 - exp);
    return static_cast<U>(sign_of(op) ? -magnitude : magnitude);
}

} // namespace fplib
