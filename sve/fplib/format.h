#pragma once

// What all functions of the library share: the three formats, the words that a call works with,
// unpacking, and the choice of NaNs.
//
// Half, single and double run through the same templates. A finite number is held as
//
//     (-1)^sgn * mnt * 2^(exp - bias - 63)
//
// with the leading one of a 64-bit mantissa at the top whatever the format is, so that `exp` is
// the biased exponent (below 1 for denormals), and a format is no more than a few constants.

#include <algorithm>
#include <initializer_list>
#include <type_traits>

#include "sve/fplib/fplib.h"

namespace fplib {

using uint128 = unsigned __int128;

template <FPPattern T>
struct format {
    static constexpr int width = 8 * sizeof(T);
    static constexpr int fraction_bits = width == 16 ? 10 : width == 32 ? 23 : 52;
    static constexpr int bias = (1 << (width - fraction_bits - 2)) - 1;
    static constexpr int max_exponent = 2 * bias + 1; // of infinities and NaNs

    static constexpr T sign = static_cast<T>(T{1} << (width - 1));
    static constexpr T infinity = static_cast<T>(T{max_exponent} << fraction_bits);
    static constexpr T largest_normal = static_cast<T>(infinity - 1);
    static constexpr T fraction = static_cast<T>((T{1} << fraction_bits) - 1);
    static constexpr T quiet = static_cast<T>(T{1} << (fraction_bits - 1));
    static constexpr T default_nan = infinity | quiet;
    static constexpr T one = static_cast<T>(T{bias} << fraction_bits);
    static constexpr T two = static_cast<T>(T{bias + 1} << fraction_bits);

    // Holds the product of two mantissas.
    using product = std::conditional_t<width == 64, uint128, unsigned long>;
};

// The cumulative flags, as the internal routines collect them.
inline constexpr int IOC = FPSCR::IOC;
inline constexpr int DZC = FPSCR::DZC;
inline constexpr int OFC = FPSCR::OFC;
inline constexpr int UFC = FPSCR::UFC;
inline constexpr int IXC = FPSCR::IXC;
inline constexpr int IDC = FPSCR::IDC;

// The mode word of the internal routines.
inline constexpr int mode_rounding = 3; // values 0 to 3 of FPRounding
inline constexpr int mode_FZ = 1 << 2;
inline constexpr int mode_DN = 1 << 3;
inline constexpr int mode_AHP = 1 << 4; // of FPConvert to half only: all else is on IEEE halves
inline constexpr int mode_FZ16 = 1 << 5;

constexpr int fp_mode_word(FPSCR fpscr) {
    return static_cast<int>((fpscr.word >> 22 & 15) | (fpscr.word >> 14 & mode_FZ16));
}

// Flush mode of the format.
template <FPPattern T>
constexpr int mode_flush = format<T>::width == 16 ? mode_FZ16 : mode_FZ;

// The flags of one call, published in its control word at the end of the scope.
class fp_flags {
public:
    explicit fp_flags(FPSCR &fpscr) : fpscr_(fpscr) {}
    ~fp_flags() { fpscr_.word |= static_cast<unsigned int>(flags_); }
    fp_flags(const fp_flags &) = delete;
    fp_flags &operator=(const fp_flags &) = delete;

    operator int *() { return &flags_; }

private:
    FPSCR &fpscr_;
    int flags_ = 0;
};

// --- Patterns. ---

template <FPPattern T>
constexpr int sign_of(T x) {
    return x >> (format<T>::width - 1);
}

template <FPPattern T>
constexpr int exponent_of(T x) {
    return static_cast<int>(x >> format<T>::fraction_bits) & format<T>::max_exponent;
}

// Exponent and fraction as one number, the mantissa's lower bits left out: the leading one adds 1 to the exponent
// field if it is there, and so does a carry when the number is rounded up.
template <FPPattern T>
constexpr unsigned long magnitude_of(int exp, unsigned long mnt) {
    return (static_cast<unsigned long>(exp - 1) << format<T>::fraction_bits) +
           (mnt >> (63 - format<T>::fraction_bits));
}

// The magnitude with the given sign.
template <FPPattern T>
constexpr T with_sign(int sgn, T magnitude) {
    return static_cast<T>(static_cast<T>(sgn) << (format<T>::width - 1) | magnitude);
}

template <FPPattern T>
constexpr bool is_infinite(T x) {
    return FPAbs(x) == format<T>::infinity;
}

template <FPPattern T>
constexpr bool is_nan(T x) {
    return FPAbs(x) > format<T>::infinity;
}

template <FPPattern T>
constexpr bool is_signalling(T x) {
    return is_nan(x) && !(x & format<T>::quiet);
}

// --- Shifts. ---

// To the right, with the bits that fall out collected in bit 0: the value stays on the same side
// of everything that it is compared with when it is rounded.
template <typename M>
constexpr M shift_right_sticky(M mnt, int count) {
    if (count >= static_cast<int>(8 * sizeof(M)))
        return mnt != 0;
    return mnt >> count | ((mnt & ((M{1} << count) - 1)) != 0);
}

constexpr int leading_zeros(unsigned long mnt) {
    return __builtin_clzl(mnt);
}
constexpr int leading_zeros(uint128 mnt) {
    const auto high = static_cast<unsigned long>(mnt >> 64);
    return high ? leading_zeros(high) : 64 + leading_zeros(static_cast<unsigned long>(mnt));
}

// Brings the leading one to the top. `mnt` isn't 0.
template <typename M>
constexpr void fp_normalise(M &mnt, int &exp) {
    const int shift = leading_zeros(mnt);
    mnt <<= shift;
    exp -= shift;
}

// The top 64 bits, those below collected in bit 0.
constexpr unsigned long top_word(unsigned long mnt) {
    return mnt;
}
constexpr unsigned long top_word(uint128 mnt) {
    return static_cast<unsigned long>(mnt >> 64) | (static_cast<unsigned long>(mnt) != 0);
}

// --- Operands. ---

// A number as told at the top, with a mantissa in the word M. Bit 0 of the mantissa of a result may
// stand for all bits below it.
template <typename M>
struct number {
    int sgn;
    int exp; // the maximum exponent for infinities and NaNs
    M mnt;   // 0 for zeros
};
using unpacked = number<unsigned long>;

// The exponent of zeros: so small that in a sum, next to any other number, nothing depends on it.
inline constexpr int zero_exponent = -(1 << 20);

// A denormal becomes a zero in flush mode, and raises IDC in single and double.
template <FPPattern T>
inline T fp_flush(T x, int mode, int *flags) {
    if (exponent_of(x) != 0 || FPAbs(x) == 0 || !(mode & mode_flush<T>)) [[likely]]
        return x;
    if (format<T>::width != 16)
        *flags |= IDC;
    return x & format<T>::sign;
}

template <FPPattern T>
inline unpacked fp_unpack(T x, int mode, int *flags) {
    constexpr int top = 63 - format<T>::fraction_bits;
    const int sgn = sign_of(x);
    int exp = exponent_of(x);
    if (exp != 0) [[likely]]
        return {sgn, exp, static_cast<unsigned long>(x) << top | 1ul << 63};

    unsigned long mnt = static_cast<unsigned long>(FPAbs(fp_flush(x, mode, flags))) << top;
    if (mnt == 0)
        return {sgn, zero_exponent, 0};
    exp = 1;
    fp_normalise(mnt, exp);
    return {sgn, exp, mnt};
}

// Whether the operand is an infinity or a NaN.
template <FPPattern T>
constexpr bool is_special(const unpacked &x) {
    return x.exp == format<T>::max_exponent;
}

// The result of an operation with the NaN x.
template <FPPattern T>
inline T fp_process_nan(T x, int mode, int *flags) {
    if (!(x & format<T>::quiet))
        *flags |= IOC;
    return mode & mode_DN ? format<T>::default_nan : x | format<T>::quiet;
}

// The same for operands of which at least one is a NaN: the first signalling one, or else the
// first quiet one.
template <FPPattern T>
[[gnu::noinline, gnu::cold]] T fp_process_nans(std::initializer_list<T> operands, int mode,
                                               int *flags) {
    for (const T x : operands)
        if (is_signalling(x))
            return fp_process_nan(x, mode, flags);
    return fp_process_nan(*std::find_if(operands.begin(), operands.end(), is_nan<T>), mode, flags);
}

// An invalid operation.
template <FPPattern T>
inline T fp_invalid(int *flags) {
    *flags |= IOC;
    return format<T>::default_nan;
}

} // namespace fplib
