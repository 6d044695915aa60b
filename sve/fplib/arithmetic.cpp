#include "sve/fplib/arithmetic.h"
#include "sve/fplib/common_case.h"

#include <utility>

namespace fplib {
namespace {

// The exact sum. A mantissa has spare bits below the format's fraction, so that one which is
// shifted out of the other's reach still is on the right side of every tie. The sign of a zero sum
// is that of two like operands, else minus in NEGINF only.
template <typename M>
inline number<M> fp_sum(number<M> a, number<M> b, int rm) {
    if (a.exp < b.exp || (a.exp == b.exp && a.mnt < b.mnt))
        std::swap(a, b);
    const M x = a.mnt >> 1; // room for the carry
    const M y = shift_right_sticky(static_cast<M>(b.mnt >> 1), a.exp - b.exp);
    const bool like = a.sgn == b.sgn;

    number<M> sum{a.sgn, a.exp + 1, like ? x + y : x - y};
    if (sum.mnt != 0) [[likely]]
        fp_normalise(sum.mnt, sum.exp);
    else if (!like)
        sum.sgn = rm == FPRounding_NEGINF;
    return sum;
}

// The exact product, in a word that holds all of it.
template <FPPattern T>
inline auto fp_product(const unpacked &a, const unpacked &b) {
    using M = typename format<T>::product;
    constexpr int low_zeros = format<T>::width == 64 ? 0 : 32;
    number<M> product{a.sgn ^ b.sgn, a.exp + b.exp - format<T>::bias + 1,
                      static_cast<M>(a.mnt >> low_zeros) * (b.mnt >> low_zeros)};
    if (!(product.mnt >> (8 * sizeof(M) - 1))) {
        product.mnt <<= 1;
        product.exp--;
    }
    return product;
}

// The quotient with its leading one in one of the top two bits, and bit 0 for the remainder.
template <FPPattern T>
inline unsigned long fp_quotient(unsigned long a, unsigned long b) {
    if constexpr (format<T>::width == 64) {
        const uint128 dividend = static_cast<uint128>(a) << 63;
        const auto quotient = static_cast<unsigned long>(dividend / b);
        return quotient | (dividend != static_cast<uint128>(quotient) * b);
    } else {
        const unsigned long dividend = a >> 1;
        const unsigned long divisor = b >> 32;
        return dividend / divisor << 32 | (dividend % divisor != 0);
    }
}

// An integer square root, and radicand - root * root.
struct square_root {
    unsigned long root;
    unsigned long remainder;
};

// The square root of a radicand with 2 * `bits` more bits, `low`, as by hand: divide the remainder
// by twice the root to get the next digits. The root's top bit is worth at least half a unit of
// them, so that the estimate is too great by one at most.
template <int bits>
constexpr square_root append_digits(square_root high, unsigned long low) {
    const unsigned long dividend = high.remainder << bits | low >> bits;
    const unsigned long digits = dividend / (2 * high.root);
    const unsigned long rest = dividend % (2 * high.root);
    unsigned long root = (high.root << bits) + digits;
    auto remainder = static_cast<long>(rest << bits | (low & ((1ul << bits) - 1))) -
                     static_cast<long>(digits * digits);
    if (remainder < 0) {
        remainder += static_cast<long>(2 * root - 1);
        root--;
    }
    return {root, static_cast<unsigned long>(remainder)};
}

// 32 bits of the square root of x, of which one of the top two bits is set.
constexpr square_root sqrt_of_word(unsigned long x) {
    const unsigned long high = x >> 48;
    unsigned long root = 0;
    for (unsigned long bit = 1 << 7; bit != 0; bit >>= 1)
        if ((root + bit) * (root + bit) <= high)
            root += bit;
    return append_digits<16>(append_digits<8>({root, high - root * root}, x >> 32 & 0xffff),
                             x & 0xffff'ffff);
}

// The square root with its leading one at the top, and bit 0 for the remainder.
template <FPPattern T>
inline unsigned long fp_square_root(unsigned long x) {
    square_root result = sqrt_of_word(x);
    int bits = 32;
    if constexpr (format<T>::width == 64) {
        result = append_digits<28>(result, 0);
        bits += 28;
    }
    return result.root << (64 - bits) | (result.remainder != 0);
}

// Sum and difference, by whether the sign of op2 is inverted.
template <FPPattern T>
[[gnu::noinline]] T fp_add(T op1, T op2, int negate, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked a = fp_unpack(op1, mode, flags);
    unpacked b = fp_unpack(op2, mode, flags);
    b.sgn ^= negate;

    if (is_special<T>(a) || is_special<T>(b)) [[unlikely]] {
        if (is_nan(op1) || is_nan(op2))
            return fp_process_nans({op1, op2}, mode, flags);
        if (is_special<T>(a) && is_special<T>(b) && a.sgn != b.sgn)
            return fp_invalid<T>(flags);
        return with_sign(is_special<T>(a) ? a.sgn : b.sgn, format<T>::infinity);
    }

    const int rm = mode & mode_rounding;
    const unpacked sum = fp_sum(a, b, rm);
    if (sum.mnt == 0) [[unlikely]]
        return with_sign(sum.sgn, T{0});
    return fp_round<T>(sum.sgn, sum.exp, sum.mnt, rm, mode, flags);
}

// The products of FPMul and FPMulX, which differ in infinity times zero.
template <bool extended, FPPattern T>
[[gnu::noinline]] T fp_mul(T op1, T op2, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked a = fp_unpack(op1, mode, flags);
    const unpacked b = fp_unpack(op2, mode, flags);
    const int sgn = a.sgn ^ b.sgn;
    const bool zero = a.mnt == 0 || b.mnt == 0;

    if (is_special<T>(a) || is_special<T>(b)) [[unlikely]] {
        if (is_nan(op1) || is_nan(op2))
            return fp_process_nans({op1, op2}, mode, flags);
        if (!zero)
            return with_sign(sgn, format<T>::infinity);
        return extended ? with_sign(sgn, format<T>::two) : fp_invalid<T>(flags);
    }
    if (zero) [[unlikely]]
        return with_sign(sgn, T{0});

    const auto product = fp_product<T>(a, b);
    return fp_round<T>(sgn, product.exp, top_word(product.mnt), mode & mode_rounding, mode, flags);
}

} // namespace

template <FPPattern T>
T fp_muladd(T a, T b, T c, int scale, int mode, int *flags) {
    const unpacked addend = fp_unpack(a, mode, flags);
    const unpacked factor1 = fp_unpack(b, mode, flags);
    const unpacked factor2 = fp_unpack(c, mode, flags);

    if (is_special<T>(addend) || is_special<T>(factor1) || is_special<T>(factor2)) [[unlikely]] {
        const bool infinite_product = is_infinite(b) || is_infinite(c);
        const bool invalid_product = infinite_product && (factor1.mnt == 0 || factor2.mnt == 0);
        if (is_nan(a) || is_nan(b) || is_nan(c)) {
            if (is_nan(a) && !is_signalling(a) && invalid_product)
                return fp_invalid<T>(flags);
            return fp_process_nans({a, b, c}, mode, flags);
        }
        const int product_sgn = factor1.sgn ^ factor2.sgn;
        if (invalid_product ||
            (is_special<T>(addend) && infinite_product && addend.sgn != product_sgn))
            return fp_invalid<T>(flags);
        return with_sign(is_special<T>(addend) ? addend.sgn : product_sgn, format<T>::infinity);
    }

    using M = typename format<T>::product;
    const int rm = mode & mode_rounding;
    const auto wide_addend = static_cast<M>(addend.mnt) << (8 * sizeof(M) - 64);
    const number<M> sum =
        fp_sum({addend.sgn, addend.exp, wide_addend}, fp_product<T>(factor1, factor2), rm);
    if (sum.mnt == 0) [[unlikely]]
        return with_sign(sum.sgn, T{0});
    return fp_round<T>(sum.sgn, sum.exp + scale, top_word(sum.mnt), rm, mode, flags);
}

} // namespace fplib

using namespace fplib;

template <FPPattern T>
T FPAdd(T op1, T op2, FPSCR &fpscr) {
    if (const auto sum = fp_add_common(op1, op2, fpscr)) [[likely]]
        return *sum;
    return fp_add(op1, op2, 0, fpscr);
}

template <FPPattern T>
T FPSub(T op1, T op2, FPSCR &fpscr) {
    if (const auto difference = fp_add_common(op1, FPNeg(op2), fpscr)) [[likely]]
        return *difference;
    return fp_add(op1, op2, 1, fpscr);
}

template <FPPattern T>
T FPMul(T op1, T op2, FPSCR &fpscr) {
    if (const auto product = fp_mul_common(op1, op2, fpscr)) [[likely]]
        return *product;
    return fp_mul<false>(op1, op2, fpscr);
}

template <FPPattern T>
T FPMulX(T op1, T op2, FPSCR &fpscr) {
    if (const auto product = fp_mul_common(op1, op2, fpscr)) [[likely]]
        return *product;
    return fp_mul<true>(op1, op2, fpscr);
}

template <FPPattern T>
T FPDiv(T op1, T op2, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked a = fp_unpack(op1, mode, flags);
    const unpacked b = fp_unpack(op2, mode, flags);
    const int sgn = a.sgn ^ b.sgn;

    if (is_special<T>(a) || is_special<T>(b)) [[unlikely]] {
        if (is_nan(op1) || is_nan(op2))
            return fp_process_nans({op1, op2}, mode, flags);
        if (is_special<T>(a) && is_special<T>(b))
            return fp_invalid<T>(flags);
        return with_sign(sgn, is_special<T>(a) ? format<T>::infinity : T{0});
    }
    if (a.mnt == 0 || b.mnt == 0) [[unlikely]] {
        if (a.mnt == 0 && b.mnt == 0)
            return fp_invalid<T>(flags);
        if (a.mnt == 0)
            return with_sign(sgn, T{0});
        *flags |= DZC;
        return with_sign(sgn, format<T>::infinity);
    }

    int exp = a.exp - b.exp + format<T>::bias;
    unsigned long quotient = fp_quotient<T>(a.mnt, b.mnt);
    fp_normalise(quotient, exp);
    return fp_round<T>(sgn, exp, quotient, mode & mode_rounding, mode, flags);
}

template <FPPattern T>
T FPSqrt(T op, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);

    if (is_nan(op)) [[unlikely]]
        return fp_process_nan(op, mode, flags);
    if (x.mnt == 0) [[unlikely]]
        return with_sign(x.sgn, T{0});
    if (x.sgn != 0)
        return fp_invalid<T>(flags);
    if (is_special<T>(x)) [[unlikely]]
        return op;

    // The radicand as a number from 1 up to 4, in units of 2^-62, times an even power of two.
    const int power = x.exp - format<T>::bias;
    const unsigned long radicand = power & 1 ? x.mnt : x.mnt >> 1;
    return fp_round<T>(0, (power >> 1) + format<T>::bias, fp_square_root<T>(radicand),
                       mode & mode_rounding, mode, flags);
}

template <FPPattern T>
[[gnu::noinline]] static T fp_muladd(T addend, T op1, T op2, FPSCR &fpscr) {
    fp_flags flags(fpscr);
    return fplib::fp_muladd(addend, op1, op2, 0, fp_mode_word(fpscr), flags);
}

template <FPPattern T>
T FPMulAdd(T addend, T op1, T op2, FPSCR &fpscr) {
    if (const auto result = fp_fused_common(addend, op1, op2, 0, fpscr)) [[likely]]
        return *result;
    return fp_muladd(addend, op1, op2, fpscr);
}

#define INSTANTIATE(T)                                                                             \
    template T fplib::fp_muladd(T, T, T, int, int, int *);                                         \
    template T FPAdd(T, T, FPSCR &);                                                               \
    template T FPSub(T, T, FPSCR &);                                                               \
    template T FPMul(T, T, FPSCR &);                                                               \
    template T FPMulX(T, T, FPSCR &);                                                              \
    template T FPDiv(T, T, FPSCR &);                                                               \
    template T FPSqrt(T, FPSCR &);                                                                 \
    template T FPMulAdd(T, T, T, FPSCR &);

INSTANTIATE(unsigned short)
INSTANTIATE(unsigned int)
INSTANTIATE(unsigned long)

#undef INSTANTIATE
