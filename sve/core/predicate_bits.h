#pragma once

// From a P row, one byte for each predicate bit, to packed bits and back: many at a time, since every call of a
// reference function does it.

#include "sve/core/chunk.h"
#include "sve/core/cpu_context.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace sve {

// The sums of neighbouring bytes, of `low` and then of `high`. As an instruction of its own on AArch64: compilers don't
// find it in the other form, and the header that has a name for it is longer than all of ours.
inline chunk<uint8_t> add_pairs(chunk<uint8_t> low, chunk<uint8_t> high) {
#if defined(__aarch64__)
    chunk<uint8_t> sums;
    asm("addp %0.16b, %1.16b, %2.16b" : "=w"(sums) : "w"(low), "w"(high));
    return sums;
#else
    return __builtin_shufflevector(low, high, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28,
                                   30) +
           __builtin_shufflevector(low, high, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29,
                                   31);
#endif
}

// Byte i has the bit of predicate bit i % 8.
inline constexpr chunk<uint8_t> bit_of_byte = {1, 2, 4, 8, 16, 32, 64, 128,
                                               1, 2, 4, 8, 16, 32, 64, 128};

// Bit 0 of each byte as bit i % 8 of byte i.
inline chunk<uint8_t> own_bits(chunk<uint8_t> bytes) {
    return reinterpret_cast<chunk<uint8_t>>((bytes & 1) != 0) & bit_of_byte;
}

// A bit for each of 16 bytes, which are all ones or 0: three rounds of sums put the bits of 8 bytes together.
inline uint16_t pack_16(chunk<uint8_t> masks) {
    chunk<uint8_t> sums = masks & bit_of_byte;
    for (int round = 0; round < 3; round++)
        sums = add_pairs(sums, sums);
    return reinterpret_cast<chunk<uint16_t>>(sums)[0];
}

// Bit i is bit 0 of byte i of the row. The sums are of four chunks at once.
[[gnu::always_inline]] inline PredV pack_predicate(const uint8_t *row) {
    const auto own_bits_or_zeros = [row](unsigned i) {
        return i < sve_chunks ? own_bits(load_chunk<uint8_t>(row, i)) : chunk<uint8_t>{};
    };
    const auto first_sums_or_zeros = [&](unsigned i) {
        return i < sve_chunks ? add_pairs(own_bits_or_zeros(i), own_bits_or_zeros(i + 1))
                              : chunk<uint8_t>{};
    };
    PredV packed = {};
    for (unsigned i = 0; i < sve_chunks; i += 4) {
        const chunk<uint8_t> sums = add_pairs(first_sums_or_zeros(i), first_sums_or_zeros(i + 2));
        packed.word[i / 4] = reinterpret_cast<chunk<uint64_t>>(add_pairs(sums, sums))[0];
    }
    return packed;
}

// Of each element of type T in 64 bytes, the bit of its first byte.
template <class T>
inline constexpr uint64_t first_bits_of_elements = ~uint64_t{0} / ((1u << sizeof(T)) - 1);

// The low 16 bits as bytes of 0 or 1.
inline chunk<uint8_t> unpack_16_bits(uint16_t bits) {
    const auto both = reinterpret_cast<chunk<uint8_t>>(chunk<uint16_t>{} + bits);
    const chunk<uint8_t> own_byte =
        __builtin_shufflevector(both, both, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1);
    return reinterpret_cast<chunk<uint8_t>>((own_byte & bit_of_byte) != 0) & 1;
}

// Byte i of the row becomes bit i: 0 or 1.
[[gnu::always_inline]] inline void unpack_predicate(uint8_t *row, const PredV &packed) {
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) __attribute__((always_inline)) {
        (store_chunk<uint8_t>(
             row, i, unpack_16_bits(static_cast<uint16_t>(packed.word[i / 4] >> i % 4 * 16))),
         ...);
    }
    (std::make_integer_sequence<unsigned, sve_chunks>{});
}

// All ones in the elements of type T in a block of 16 bytes that the predicate makes active.
template <class T>
auto active_elements(const PredV &pg, unsigned block) {
    const auto bits = static_cast<uint16_t>(pg.word[block / 4] >> block % 4 * 16);
    if constexpr (sizeof(T) == 1) {
        return unpack_16_bits(bits) != 0;
    } else {
        using Lane = std::make_unsigned_t<T>;
        constexpr auto first_bits = []<size_t... e>(std::index_sequence<e...>) {
            return chunk<Lane>{static_cast<Lane>(1u << e * sizeof(T))...};
        }
        (std::make_index_sequence<sve_chunk_bytes / sizeof(T)>{});
        return ((chunk<Lane>{} + bits) & first_bits) != 0;
    }
}

} // namespace sve
