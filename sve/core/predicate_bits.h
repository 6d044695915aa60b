#pragma once

// From a P row, one byte for each predicate bit, to packed bits and back: 16 at a time, since every call
// of a reference function does it three times or more.

#include "sve/core/chunk.h"
#include "sve/core/cpu_context.h"

#include <utility>

namespace sve {

// Bit i is bit 0 of byte i of the row.
inline PredV pack_predicate(const uint8_t *row) {
    const auto pack_chunk = [row](unsigned i) {
        // In each half, 8 bits that are 8 apart move together: by 7, 14 and 28 places.
        chunk<uint64_t> halves = load_chunk<uint64_t>(row, i) & 0x0101010101010101;
        halves += halves >> 7;
        halves += halves >> 14;
        halves += halves >> 28;
        return (halves & 0xff) << i % 4 * 16;
    };
    // Chunks 0, 4, 8 start a word; the other three of the word come behind them.
    PredV packed = {};
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        chunk<uint64_t> word[4] = {};
        ((word[i / 4] |= pack_chunk(i)), ...);
        ((packed.word[i / 4] = word[i / 4][0] | word[i / 4][1] << 8), ...);
    }
    (std::make_integer_sequence<unsigned, sve_chunks>{});
    return packed;
}

// The low 16 bits as bytes of 0 or 1.
inline chunk<uint8_t> unpack_16_bits(uint16_t bits) {
    const chunk<uint8_t> own_bit = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const auto both = reinterpret_cast<chunk<uint8_t>>(chunk<uint16_t>{bits});
    const chunk<uint8_t> own_byte =
        __builtin_shufflevector(both, both, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1);
    return reinterpret_cast<chunk<uint8_t>>((own_byte & own_bit) != 0) & 1;
}

// Byte i of the row becomes bit i: 0 or 1.
inline void unpack_predicate(uint8_t *row, const PredV &packed) {
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        (store_chunk<uint8_t>(
             row, i, unpack_16_bits(static_cast<uint16_t>(packed.word[i / 4] >> i % 4 * 16))),
         ...);
    }
    (std::make_integer_sequence<unsigned, sve_chunks>{});
}

} // namespace sve
