#pragma once

// Fixed rearrangements of lanes, written so that the compiler sees one shuffle: on AArch64 each is
// an instruction or two.

#include "sve/core/chunk.h"

#include <utility>

namespace sve {

// Lanes of type T in a chunk.
template <class T>
inline constexpr unsigned chunk_lanes = sve_chunk_bytes / sizeof(T);

// Lane i of the result is the lane from(i), counted in the concatenation of a and b. All arguments
// of `from` are constants, so its results are.
template <class T, class From>
chunk<T> shuffle(chunk<T> a, chunk<T> b, From from) {
    return [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        return __builtin_shufflevector(a, b, from(i)...);
    }
    (std::make_integer_sequence<unsigned, chunk_lanes<T>>{});
}

// Chunk `index` of the even (first = 0) or odd (first = 1) elements of row n, with those of row m
// behind them.
template <class T, unsigned first>
chunk<T> unzip(const uint8_t *n, const uint8_t *m, unsigned index) {
    const auto source = [=](unsigned i) {
        return i < sve_chunks ? load_chunk<T>(n, i) : load_chunk<T>(m, i - sve_chunks);
    };
    return shuffle<T>(source(2 * index), source(2 * index + 1),
                      [](unsigned lane) { return 2 * lane + first; });
}

} // namespace sve
