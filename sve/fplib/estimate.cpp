#include <array>
#include <bit>
#include <cmath>

#include "sve/fplib/arithmetic.h"
#include "sve/fplib/common_case.h"

namespace fplib {
namespace {

// The fraction bits of the reciprocal square root, by the seven bits below the leading one of the
// operand's mantissa, with bit 7 set for even exponents. An entry is the low eight bits of a value
// from 256 to 511; the mantissa's interval of inputs is taken at its middle, v / 2 in 1/512.
constexpr std::array<unsigned char, 256> recip_sqrt_table = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned i = 0; i < 256; i++) {
        const unsigned f = i & 127;
        const unsigned v = i < 128 ? 2 * (128 + f) + 1 : 2 * (256 + 2 * f + 1);
        unsigned b = 512;
        while (v * (b + 1) * (b + 1) < 1u << 28)
            b++;
        table[i] = static_cast<unsigned char>((b + 1) >> 1);
    }
    return table;
}();

// How the two step functions differ: 2 - op1 * op2, and (3 - op1 * op2) * 2^-1.
struct step {
    bool halved;
    template <FPPattern T>
    constexpr T minuend() const {
        return halved ? static_cast<T>(format<T>::two | format<T>::quiet) : format<T>::two;
    }
    // The result if the product counts as zero.
    template <FPPattern T>
    constexpr T without_product() const {
        return halved ? static_cast<T>(format<T>::one | format<T>::quiet) : format<T>::two;
    }
};

template <step kind, FPPattern T>
inline T fp_step(T op1, T op2, FPSCR &fpscr) {
    constexpr int scale = kind.halved ? -1 : 0;
    op1 = FPNeg(op1);
    if (const auto result = fp_fused_common(kind.minuend<T>(), op1, op2, scale, fpscr)) [[likely]]
        return *result;
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    if (is_infinite(op1) || is_infinite(op2)) [[unlikely]] {
        const unpacked a = fp_unpack(op1, mode, flags);
        const unpacked b = fp_unpack(op2, mode, flags);
        if (is_nan(op1) || is_nan(op2))
            return fp_process_nans({op1, op2}, mode, flags);
        if (a.mnt == 0 || b.mnt == 0)
            return kind.without_product<T>();
        return with_sign(a.sgn ^ b.sgn, format<T>::infinity);
    }
    return fp_muladd(kind.minuend<T>(), op1, op2, scale, mode, flags);
}

} // namespace
} // namespace fplib

using namespace fplib;

template <FPPattern T>
T FPRecipEstimate(T op, FPSCR &fpscr) {
    using f = format<T>;
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);
    if (is_nan(op))
        return fp_process_nan(op, mode, flags);
    if (is_special<T>(x))
        return with_sign(x.sgn, T{0});
    if (x.mnt == 0) {
        *flags |= DZC;
        return with_sign(x.sgn, f::infinity);
    }
    if (x.exp < -1) // below the inverse of the largest number
        return fp_overflow<T>(x.sgn, mode & mode_rounding, flags);
    if (mode & mode_flush<T> && x.exp >= 2 * f::bias - 1) { // the inverse is denormal
        *flags |= UFC;
        return with_sign(x.sgn, T{0});
    }

    // Nine bits of the mantissa, and one for the middle of their interval.
    const unsigned long a = x.mnt >> 54 | 1;
    const unsigned long estimate = ((1ul << 19) / a + 1) >> 1; // 256 to 511
    const int exp = 2 * f::bias - 1 - x.exp;
    const unsigned long mnt = estimate << (f::fraction_bits - 8);
    if (exp > 0)
        return with_sign(x.sgn,
                         static_cast<T>((static_cast<unsigned long>(exp) << f::fraction_bits) |
                                        (mnt & f::fraction)));
    return with_sign(x.sgn, static_cast<T>(mnt >> (1 - exp)));
}

template <FPPattern T>
T FPRSqrtEstimate(T op, FPSCR &fpscr) {
    using f = format<T>;
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);
    if (is_nan(op))
        return fp_process_nan(op, mode, flags);
    if (x.mnt == 0) {
        *flags |= DZC;
        return with_sign(x.sgn, f::infinity);
    }
    if (x.sgn != 0)
        return fp_invalid<T>(flags);
    if (is_special<T>(x))
        return 0;

    const unsigned long fraction = recip_sqrt_table[(x.mnt >> 56 & 127) | (x.exp & 1 ? 0 : 128)];
    const auto exp = static_cast<unsigned long>((3 * f::bias - 1 - x.exp) >> 1);
    return static_cast<T>(exp << f::fraction_bits | fraction << (f::fraction_bits - 8));
}

template <FPPattern T>
T FPRecpX(T op, FPSCR &fpscr) {
    using f = format<T>;
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    fp_flush(op, mode, flags); // for IDC: zeros and denormals have one result
    if (is_nan(op))
        return fp_process_nan(op, mode, flags);
    // The inverse of the largest field is that of infinity, zero; a field of zero gives the largest
    // one of a number.
    const int exp = std::min(f::max_exponent - exponent_of(op), f::max_exponent - 1);
    return with_sign(sign_of(op), static_cast<T>(static_cast<T>(exp) << f::fraction_bits));
}

template <FPPattern T>
T FPRecipStepFused(T op1, T op2, FPSCR &fpscr) {
    return fp_step<step{.halved = false}>(op1, op2, fpscr);
}

template <FPPattern T>
T FPRSqrtStepFused(T op1, T op2, FPSCR &fpscr) {
    return fp_step<step{.halved = true}>(op1, op2, fpscr);
}

#define INSTANTIATE(T)                                                                             \
    template T FPRecipEstimate(T, FPSCR &);                                                        \
    template T FPRSqrtEstimate(T, FPSCR &);                                                        \
    template T FPRecpX(T, FPSCR &);                                                                \
    template T FPRecipStepFused(T, T, FPSCR &);                                                    \
    template T FPRSqrtStepFused(T, T, FPSCR &);

INSTANTIATE(unsigned short)
INSTANTIATE(unsigned int)
INSTANTIATE(unsigned long)

#undef INSTANTIATE

// --- Estimates of unsigned fixed-point numbers. ---

double recip_estimate(double a) {
    const double q = std::trunc(a * 512);
    const double r = 1.0 / ((q + 0.5) / 512);
    return std::trunc(r * 256 + 0.5) / 256;
}

double recip_sqrt_estimate(double a) {
    const double scale = a < 0.5 ? 512 : 256;
    const double b = (std::trunc(a * scale) + 0.5) / scale;
    return std::trunc(1 / std::sqrt(b) * 256 + 0.5) / 256;
}

namespace {

// A double with the exponent field of `power_of_two`, and with the low bits of x at the top of the
// fraction.
double fixed_to_double(double power_of_two, unsigned long x, int bits) {
    return std::bit_cast<double>(std::bit_cast<unsigned long>(power_of_two) |
                                 (x & ((1ul << bits) - 1)) << (52 - bits));
}

// A number from 1 up to 2 with 31 fraction bits.
unsigned long double_to_fixed(double x) {
    return 1ul << 31 | (std::bit_cast<unsigned long>(x) >> 21 & 0x7fff'ffff);
}

} // namespace

unsigned long UnsignedRecipEstimate(unsigned long op, int) {
    if (!(op >> 31 & 1))
        return 0xffff'ffff;
    return double_to_fixed(recip_estimate(fixed_to_double(0.5, op, 31)));
}

unsigned long UnsignedRSqrtEstimate(unsigned long op, int) {
    switch (op >> 30 & 3) {
    case 0:
        return 0xffff'ffff;
    case 1:
        return double_to_fixed(recip_sqrt_estimate(fixed_to_double(0.25, op, 30)));
    default:
        return double_to_fixed(recip_sqrt_estimate(fixed_to_double(0.5, op, 31)));
    }
}
