#pragma once

// The one place where fields are taken out of an instruction word.

#include <cstdint>

namespace sve {

// Bits high to low of `word`, both included, at the low end of the result.
constexpr uint32_t bits(uint32_t word, unsigned high, unsigned low) {
    return static_cast<uint32_t>((uint64_t{word} >> low) & ((uint64_t{1} << (high - low + 1)) - 1));
}

// A list of fields written as in the architecture's tables: high and low bit of each, the most
// significant field first. `joined_fields<21, 16, 12, 10>` are bits 21:16 with bits 12:10 below
// them.
template <unsigned high, unsigned low, unsigned... more>
struct joined_fields {
    static_assert(high >= low && high < 32 && sizeof...(more) % 2 == 0);
    static constexpr unsigned width = high - low + 1 + joined_fields<more...>::width;
    static constexpr uint32_t read(uint32_t word) {
        return static_cast<uint32_t>(uint64_t{bits(word, high, low)}
                                     << joined_fields<more...>::width) |
               joined_fields<more...>::read(word);
    }
};

template <unsigned high, unsigned low>
struct joined_fields<high, low> {
    static_assert(high >= low && high < 32);
    static constexpr unsigned width = high - low + 1;
    static constexpr uint32_t read(uint32_t word) { return bits(word, high, low); }
};

// The low `width` bits of `value` as a two's complement number.
constexpr int sign_extend(uint32_t value, unsigned width) {
    return static_cast<int>(value << (32 - width)) >> (32 - width);
}

} // namespace sve
