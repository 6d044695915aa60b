#pragma once

// Rounding, in one place for all formats and operations.

#include "sve/fplib/format.h"

namespace fplib {

// How far the bits that rounding drops are from nothing, in terms of the last bit that it keeps:
// 0 exact, 1 below one half, 2 one half, 3 above one half. Given are the dropped bits alone, at
// the top of the word.
constexpr int rounding_error(unsigned long dropped) {
    return static_cast<int>(dropped >> 63 << 1 | (dropped << 1 != 0));
}

// Whether the magnitude is rounded away from zero. `odd` is the last bit that is kept.
constexpr bool rounds_up(int rm, int sgn, int odd, int error) {
    if (rm == FPRounding_TIEEVEN) [[likely]]
        return (error | odd) == 3;
    switch (rm) {
    case FPRounding_POSINF:
        return error != 0 && sgn == 0;
    case FPRounding_NEGINF:
        return error != 0 && sgn == 1;
    case FPRounding_TIEAWAY:
        return error >= 2;
    default: // towards zero, and to odd, which is no increment
        return false;
    }
}

// A result too large for the format.
template <FPPattern T>
constexpr T fp_overflow(int sgn, int rm, int *flags) {
    *flags |= OFC | IXC;
    const bool to_infinity = rm == FPRounding_TIEEVEN || (rm == FPRounding_POSINF && sgn == 0) ||
                             (rm == FPRounding_NEGINF && sgn == 1);
    return with_sign(sgn, to_infinity ? format<T>::infinity : format<T>::largest_normal);
}

// Rounds a finite non-zero number to the format. The mantissa has its leading one at the top, and
// bit 0 stands for everything below it; the exponent is that of `unpacked` and may be out of range
// on both sides. `rm` is any mode but FPRounding_TIEAWAY, and not taken from `mode`, because the
// conversions round in a mode of their own.
template <FPPattern T>
[[gnu::always_inline]] inline T fp_round(int sgn, int exp, unsigned long mnt, int rm, int mode,
                                         int *flags) {
    using f = format<T>;
    const bool tiny = exp < 1;
    if (tiny) [[unlikely]] {
        if (mode & mode_flush<T>) {
            *flags |= UFC;
            return with_sign(sgn, T{0});
        }
        mnt = shift_right_sticky(mnt, 1 - exp);
        exp = 1;
    }
    // One past the largest exponent is far enough to be seen as an overflow.
    exp = std::min(exp, f::max_exponent + 1);

    const int error = rounding_error(mnt << (f::fraction_bits + 1));
    unsigned long magnitude = magnitude_of<T>(exp, mnt);
    magnitude += rounds_up(rm, sgn, magnitude & 1, error);
    if (rm == FPRounding_ODD)
        magnitude |= error != 0;

    if (tiny && error != 0)
        *flags |= UFC; // detected before rounding
    if (f::width == 16 && mode & mode_AHP) {
        // The alternative format has ordinary numbers where others have infinities and NaNs.
        if (magnitude > FPAbs<T>(~0)) {
            *flags |= IOC;
            return with_sign(sgn, FPAbs<T>(~0));
        }
    } else if (magnitude >= f::infinity) [[unlikely]] {
        return fp_overflow<T>(sgn, rm, flags);
    }
    if (error != 0)
        *flags |= IXC;
    return with_sign(sgn, static_cast<T>(magnitude));
}

// The entries by format. Their mantissa has as many bits as the format, and the leading one is
// already shifted out at the top.
template <FPPattern T>
inline T fp_round_fraction(int sgn, int exp, T mnt, int rm, int mode, int *flags) {
    const auto fraction = static_cast<unsigned long>(mnt) << (64 - format<T>::width);
    return fp_round<T>(sgn, exp, 1ul << 63 | fraction >> 1 | (fraction & 1), rm, mode, flags);
}
inline unsigned short fp16_round_(int sgn, int exp, unsigned short mnt, int rm, int mode,
                                  int *flags) {
    return fp_round_fraction(sgn, exp, mnt, rm, mode, flags);
}
inline unsigned int fp32_round_(int sgn, int exp, unsigned int mnt, int rm, int mode, int *flags) {
    return fp_round_fraction(sgn, exp, mnt, rm, mode, flags);
}
inline unsigned long fp64_round_(int sgn, int exp, unsigned long mnt, int rm, int mode,
                                 int *flags) {
    return fp_round_fraction(sgn, exp, mnt, rm, mode, flags);
}

} // namespace fplib
