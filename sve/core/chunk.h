#pragma once

// The compiler's vector types: 16 bytes of lanes, which are Advanced SIMD registers on AArch64 and the
// host's vectors elsewhere.

#include "sve/core/vector_length.h"

#include <cstdint>
#include <cstring>

namespace sve {

template <class T>
using chunk [[gnu::vector_size(sve_chunk_bytes)]] = T;

// Chunk `index` of a row.
template <class T>
chunk<T> load_chunk(const uint8_t *row, unsigned index) {
    chunk<T> value;
    std::memcpy(&value, row + index * sve_chunk_bytes, sizeof value);
    return value;
}
template <class T>
void store_chunk(uint8_t *row, unsigned index, chunk<T> value) {
    std::memcpy(row + index * sve_chunk_bytes, &value, sizeof value);
}

} // namespace sve
