#pragma once

// Numbers as integers times powers of two, and their rounding straight from its definition: which
// multiple of the format's unit the number lies above, and how far. For references that owe the library
// nothing.

#include "tests/fplib/operation.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace fp_comparison {

template <class T>
struct layout_of {
    static constexpr int width = 8 * sizeof(T);
    static constexpr int exponent_bits = width == 16 ? 5 : width == 32 ? 8 : 11;
    static constexpr int fraction_bits = width - 1 - exponent_bits;
    static constexpr int bias = (1 << (exponent_bits - 1)) - 1;
    static constexpr d sign = d{1} << (width - 1);
    static constexpr d min_normal = d{1} << fraction_bits;
    static constexpr d quiet = d{1} << (fraction_bits - 1);
    static constexpr d infinity = sign - min_normal;
    static constexpr d default_nan = infinity | quiet;
};

template <class T>
constexpr d magnitude(T x) {
    return x & (layout_of<T>::sign - 1);
}
template <class T>
constexpr bool negative(T x) {
    return x & layout_of<T>::sign;
}
template <class T>
constexpr bool nan(T x) {
    return magnitude(x) > layout_of<T>::infinity;
}
template <class T>
constexpr bool quiet_nan(T x) {
    return magnitude(x) >= layout_of<T>::default_nan;
}
template <class T>
constexpr bool finite(T x) {
    return magnitude(x) < layout_of<T>::infinity;
}
template <class T>
constexpr bool denormal(T x) {
    return magnitude(x) != 0 && magnitude(x) < layout_of<T>::min_normal;
}
template <class T>
constexpr T with_sign(bool negative, d magnitude) {
    return static_cast<T>(magnitude | (negative ? layout_of<T>::sign : 0));
}

using uint128 = unsigned __int128;

// (-1)^negative * (m + a bit more if `more`) * 2^e. With `more`, m has many more bits than the format.
struct exact {
    bool negative;
    uint128 m;
    int e;
    bool more = false;
};

inline int bit_width(uint128 m) {
    const auto high = static_cast<d>(m >> 64);
    return high ? 64 + std::bit_width(high) : std::bit_width(static_cast<d>(m));
}

// A finite pattern's number.
template <class T>
constexpr exact number(T x) {
    using f = layout_of<T>;
    const auto exponent = static_cast<int>(magnitude(x) >> f::fraction_bits);
    const d fraction = x & (f::min_normal - 1);
    return {negative(x), exponent ? fraction | f::min_normal : fraction,
            std::max(exponent, 1) - f::bias - f::fraction_bits};
}

// The same as a double, which holds all numbers of all formats, and infinities.
template <class T>
double as_double(T x) {
    if (!finite(x))
        return negative(x) ? -INFINITY : INFINITY;
    const exact v = number(x);
    const double size = std::ldexp(static_cast<double>(static_cast<d>(v.m)), v.e);
    return v.negative ? -size : size;
}

// Rounds to the format, and raises what the rounding raises in `word`.
template <class T>
T round(const exact &v, unsigned rounding, bool flush, bool alternative, uint32_t &word) {
    using f = layout_of<T>;
    if (v.m == 0)
        return with_sign<T>(v.negative, 0);
    constexpr int min_exponent = 1 - f::bias;
    const int exponent = bit_width(v.m) - 1 + v.e;
    const bool tiny = exponent < min_exponent;
    if (tiny && flush) {
        word |= FPSCR::UFC;
        return with_sign<T>(v.negative, 0);
    }

    // In units of the last place: so many, and a rest.
    const int unit = std::max(exponent, min_exponent) - f::fraction_bits;
    const int below = unit - v.e;
    const d units = below >= 128 ? 0 : static_cast<d>(below > 0 ? v.m >> below : v.m << -below);
    enum { none, less_than_half, half, more_than_half } rest = none;
    if (below > 128) {
        rest = less_than_half;
    } else if (below > 0) {
        const uint128 dropped = below == 128 ? v.m : v.m & ((uint128{1} << below) - 1);
        const uint128 middle = uint128{1} << (below - 1);
        rest = dropped > middle || (dropped == middle && v.more) ? more_than_half
               : dropped == middle                               ? half
               : dropped != 0 || v.more                          ? less_than_half
                                                                 : none;
    }
    bool up = false;
    switch (rounding) {
    case FPRounding_TIEEVEN:
        up = rest == more_than_half || (rest == half && units % 2 == 1);
        break;
    case FPRounding_POSINF:
        up = rest != none && !v.negative;
        break;
    case FPRounding_NEGINF:
        up = rest != none && v.negative;
        break;
    case FPRounding_ODD:
        up = rest != none && units % 2 == 0;
        break;
    default:
        break;
    }
    // The patterns of consecutive numbers are consecutive: units from the binade's or the denormals' first.
    const auto binades =
        static_cast<d>(std::clamp(exponent - min_exponent, 0, 1 << f::exponent_bits));
    const d result = (binades << f::fraction_bits) + units + up;

    if (alternative && result >= f::sign) {
        word |= FPSCR::IOC;
        return with_sign<T>(v.negative, f::sign - 1);
    }
    if (tiny && rest != none)
        word |= FPSCR::UFC;
    if (!alternative && result >= f::infinity) {
        word |= FPSCR::OFC | FPSCR::IXC;
        const bool to_infinity = rounding == FPRounding_TIEEVEN ||
                                 rounding == (v.negative ? FPRounding_NEGINF : FPRounding_POSINF);
        return with_sign<T>(v.negative, f::infinity - !to_infinity);
    }
    if (rest != none)
        word |= FPSCR::IXC;
    return with_sign<T>(v.negative, result);
}

// Exactly representable numbers, and infinities and zeros, from a double.
template <class T>
T from_double(double x) {
    if (!std::isfinite(x))
        return with_sign<T>(std::signbit(x), layout_of<T>::infinity);
    uint32_t raised = 0;
    return round<T>(number(std::bit_cast<d>(x)), FPRounding_ZERO, false, false, raised);
}

} // namespace fp_comparison
