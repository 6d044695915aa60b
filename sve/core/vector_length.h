#pragma once

// The vector length is fixed when the library is built (option SVE_VECTOR_BITS). Every length,
// count and multiplier that depends on it follows from this one constant, by name.
inline constexpr unsigned sve_vector_bits = SVE_VECTOR_BITS;

static_assert(sve_vector_bits % 128 == 0 && sve_vector_bits >= 128 && sve_vector_bits <= 2048,
              "the architecture allows multiples of 128 bits from 128 to 2048");

// Bytes of a Z register. Also the bits of a P register and of FFR: one for each vector byte.
inline constexpr unsigned sve_vector_bytes = sve_vector_bits / 8;

// Bytes of the pieces in which the direct routines work, and the pieces of a Z register. A Z
// register's first chunk is the Advanced SIMD register of the same number.
inline constexpr unsigned sve_chunk_bytes = 16;
inline constexpr unsigned sve_chunks = sve_vector_bytes / sve_chunk_bytes;

// Elements of a Z register at size code 0 (.B), 1 (.H), 2 (.S), 3 (.D).
constexpr unsigned sve_elements(unsigned size_code) {
    return sve_vector_bytes >> size_code;
}
