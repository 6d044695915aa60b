#pragma once

// Searches and masks on P rows, one byte for each predicate bit, which is bit 0 of the byte. An element has
// the width of T, and only the bit of its first byte counts.

#include "sve/core/chunk.h"
#include "sve/core/cpu_state.h"

#include <bit>

namespace sve {

// Eight bytes of a row with a one in the first byte of each element of type T.
template <class T>
inline constexpr uint64_t element_ones = ~uint64_t{0} / (~uint64_t{0} >> (64 - 8 * sizeof(T)));

inline uint64_t load_8_bytes(const uint8_t *row, unsigned offset) {
    uint64_t bytes;
    std::memcpy(&bytes, row + offset, sizeof bytes);
    return bytes;
}

// Byte offset of the first true element at or behind the offset `from`, which starts an element;
// sve_vector_bytes if there is none. bytes(offset) are eight bytes of a row, or of a combination of rows.
template <class T, class Bytes>
unsigned find_first_true(Bytes &&bytes, unsigned from = 0) {
    uint64_t behind = ~uint64_t{0} << from % 8 * 8;
    for (unsigned offset = from / 8 * 8; offset < sve_vector_bytes; offset += 8) {
        if (const uint64_t found = bytes(offset) & element_ones<T> & behind)
            return offset + static_cast<unsigned>(std::countr_zero(found)) / 8;
        behind = ~uint64_t{0};
    }
    return sve_vector_bytes;
}

// Byte offset of the last true element, or sve_vector_bytes if there is none.
template <class T, class Bytes>
unsigned find_last_true(Bytes &&bytes) {
    for (unsigned offset = sve_vector_bytes; offset > 0; offset -= 8)
        if (const uint64_t found = bytes(offset - 8) & element_ones<T>)
            return offset - 1 - static_cast<unsigned>(std::countl_zero(found)) / 8;
    return sve_vector_bytes;
}

// The bytes of one row.
inline auto bytes_of(const uint8_t *row) {
    return [row](unsigned offset) { return load_8_bytes(row, offset); };
}
// The bytes of two rows where both are true.
inline auto bytes_of_both(const uint8_t *a, const uint8_t *b) {
    return [a, b](unsigned offset) { return load_8_bytes(a, offset) & load_8_bytes(b, offset); };
}

// Chunk `index` of a row that has all ones in its first `limit` bytes and zeros behind them.
inline chunk<uint8_t> bytes_below(unsigned limit, unsigned index) {
    const chunk<uint8_t> position = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const unsigned before = index * sve_chunk_bytes;
    const unsigned in_chunk = limit <= before                     ? 0
                              : limit >= before + sve_chunk_bytes ? sve_chunk_bytes
                                                                  : limit - before;
    return reinterpret_cast<chunk<uint8_t>>(position < static_cast<uint8_t>(in_chunk));
}

// Chunk `index` of a row whose elements of type T are true below byte offset `limit`.
template <class T>
chunk<uint8_t> true_below(unsigned limit, unsigned index) {
    return bytes_below(limit, index) & reinterpret_cast<chunk<uint8_t>>(chunk<T>{} + T{1});
}

} // namespace sve
