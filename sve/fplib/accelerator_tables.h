#pragma once

// What FTMAD and FEXPA look up.

#include <array>

#include "sve/fplib/format.h"

namespace fplib {

// Coefficients of the polynomials: eight of a sine, then eight of a cosine.
template <FPPattern T>
inline constexpr std::array<T, 16> coefficients;

template <>
inline constexpr std::array<unsigned short, 16> coefficients<unsigned short> = {
    0x3c00, 0xb155, 0x2030, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,
    0x3c00, 0xb800, 0x293a, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000};

template <>
inline constexpr std::array<unsigned int, 16> coefficients<unsigned int> = {
    0x3f800000, 0xbe2aaaab, 0x3c088886, 0xb95008b9, 0x36369d6d, 0x00000000, 0x00000000, 0x00000000,
    0x3f800000, 0xbf000000, 0x3d2aaaa6, 0xbab60705, 0x37cd37cc, 0x00000000, 0x00000000, 0x00000000};

template <>
inline constexpr std::array<unsigned long, 16> coefficients<unsigned long> = {
    0x3ff0000000000000, 0xbfc5555555555543, 0x3f8111111110f30c, 0xbf2a01a019b92fc6,
    0x3ec71de351f3d22b, 0xbe5ae5e2b60f7b91, 0x3de5d8408868552f, 0x0000000000000000,
    0x3ff0000000000000, 0xbfe0000000000000, 0x3fa5555555555536, 0xbf56c16c16c13a0b,
    0x3efa01a019b1e8d8, 0xbe927e4f7282f468, 0x3e21ee96d2641b13, 0xbda8f76380fbb401};

// --- Powers of two, at compile time. Numbers from 1 up to 2 in units of 2^-126. ---

constexpr int unit_bits = 126;

// The product, at most a dozen units too small.
constexpr uint128 multiply(uint128 a, uint128 b) {
    constexpr uint128 low_mask = ~0ul;
    const uint128 a1 = a >> 64, a0 = a & low_mask, b1 = b >> 64, b0 = b & low_mask;
    const uint128 middle = (a1 * b0 >> 64) + (a0 * b1 >> 64);
    return (a1 * b1 + middle) << (128 - unit_bits);
}

constexpr uint128 square_root(uint128 x) {
    uint128 root = 0;
    for (uint128 bit = uint128{1} << unit_bits; bit != 0; bit >>= 1)
        if (multiply(root | bit, root | bit) <= x)
            root |= bit;
    return root;
}

// The fractions of 2^(i / n), rounded to nearest. The powers are good to some 110 bits, and no
// fraction is as close to a tie.
template <FPPattern T>
inline constexpr auto power_fractions = [] {
    constexpr int index_bits = format<T>::width == 16 ? 5 : 6;
    std::array<T, 1 << index_bits> table{};
    uint128 root = uint128{2} << unit_bits;
    for (int i = 0; i < index_bits; i++)
        root = square_root(root);
    uint128 power = uint128{1} << unit_bits;
    for (T &entry : table) {
        const uint128 fraction = power - (uint128{1} << unit_bits);
        const uint128 half = uint128{1} << (unit_bits - format<T>::fraction_bits - 1);
        entry = static_cast<T>((fraction + half) >> (unit_bits - format<T>::fraction_bits));
        power = multiply(power, root);
    }
    return table;
}();

} // namespace fplib
