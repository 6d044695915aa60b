#pragma once

// A64 instruction words of translated memory instructions, beyond those of a64.h.

#include "sve/native/a64.h"

namespace sve::native::a64 {

// Xd = Xn & 4095
inline constexpr word_t and_4095 = 0x92402c00;

// ---- General registers --------------------------------------------------------------------------

// How a load fills its register: with zeros above the element, or with its sign up to 32 or 64 bits.
enum class extension : unsigned { zero = 1, sign_to_64 = 2, sign_to_32 = 3 };

// An element of a size code from or to an address with an unsigned offset, which counts elements.
constexpr word_t store_element(unsigned size, unsigned t, unsigned n, unsigned index) {
    return 0x39000000 | size << 30 | index << 10 | n << 5 | t;
}
constexpr word_t load_element(unsigned size, extension how, unsigned t, unsigned n,
                              unsigned index) {
    return store_element(size, t, n, index) | static_cast<word_t>(how) << 22;
}
// To be added to a store that is no pair, with a register in the offset's place: Wm, extended, or Xm; in elements if
// `scaled`.
enum class index_kind : unsigned { unsigned_word = 2, doubleword = 3, signed_word = 6 };
constexpr word_t by_register(word_t word, unsigned m, index_kind kind, bool scaled) {
    return (word & ~0x01000000u) | 0x00200800 | m << 16 | static_cast<word_t>(kind) << 13 |
           word_t{scaled} << 12;
}

// Pairs of W (size code 2) or X registers. The offset in bytes is a multiple of theirs, in [-256, 256) at least.
constexpr word_t pair(bool load, unsigned size, unsigned t, unsigned t2, unsigned n, int offset) {
    const word_t scaled = static_cast<word_t>(offset / (1 << size)) & 0x7f;
    return (size == 3 ? 0xa9000000 : 0x29000000) | word_t{load} << 22 | scaled << 15 | t2 << 10 |
           n << 5 | t;
}

// The address moves behind the access.
constexpr word_t load_pair_and_advance(unsigned t, unsigned t2, unsigned n) { // X registers
    return 0xa8c10000 | t2 << 10 | n << 5 | t;
}
constexpr word_t load_and_advance(unsigned t, unsigned n) { // an X register
    return 0xf8408400 | n << 5 | t;
}
constexpr word_t store_and_advance(unsigned size, unsigned t, unsigned n) {
    return 0x38000400 | size << 30 | (1u << size) << 12 | n << 5 | t;
}

// ---- Vectors ------------------------------------------------------------------------------------

namespace v {

// Pairs of Q registers: offset a multiple of 16 in [-1024, 1024).
constexpr word_t pair(bool load, unsigned t, unsigned t2, unsigned n, int offset) {
    return 0xad000000 | word_t{load} << 22 | (static_cast<word_t>(offset / 16) & 0x7f) << 15 |
           t2 << 10 | n << 5 | t;
}

// An element of memory in all lanes
constexpr word_t ld1r(unsigned size) {
    return 0x4d40c000 | size << 10;
}
// Structures of 2 to 4 members, for as many registers; the address moves behind them.
constexpr word_t structures_and_advance(bool load, unsigned members, unsigned size) {
    const word_t opcode = members == 2 ? 8 : members == 3 ? 4 : 0;
    return 0x4c9f0000 | word_t{load} << 22 | opcode << 12 | size << 10;
}

// Lanes of twice the size of the lanes in the low or upper half
constexpr word_t widen(bool is_signed, bool upper, unsigned size) {
    return 0x0f00a400 | word_t{!is_signed} << 29 | word_t{upper} << 30 | (8u << size) << 16;
}

inline constexpr word_t tbl = 0x4e000000;  // by the indexes in m
inline constexpr word_t ushl = 0x6e204400; // of bytes
inline constexpr word_t addp = 0x4e20bc00; // of bytes: sums of pairs, those of m above those of n

} // namespace v

} // namespace sve::native::a64
