#pragma once

// Immediates that a stub works out from several fields of the word.

#include "sve/core/cpu_state.h"

namespace sve {

// The published DecodeBitMasks for a 64-bit result: an element of 2 to 64 bits holding S+1 ones
// rotated right by R, repeated to 64 bits. Reserved field values give some mask; they are not
// looked for.
constexpr uint64_t decode_bit_mask(unsigned n, unsigned immr, unsigned imms) {
    const unsigned length_field = (n << 6 | (~imms & 0x3f)) & 0x7f;
    unsigned length = 0;
    while (length_field >> (length + 1))
        length++;
    unsigned element_bits = 1u << length;
    const unsigned levels = element_bits - 1;
    const unsigned ones = (imms & levels) + 1;
    const unsigned rotation = immr & levels;

    uint64_t element = ones == 64 ? ~uint64_t{0} : (uint64_t{1} << ones) - 1;
    for (unsigned i = 0; i < rotation; i++)
        element = element >> 1 | (element & 1) << (element_bits - 1);
    for (; element_bits < 64; element_bits *= 2)
        element |= element << element_bits;
    return element;
}

// The published VFPExpandImm of imm8 = abcdefgh for the three formats: sign a, exponent NOT b and
// copies of b above cd, fraction efgh.
constexpr aarch64_sve_fp_dup_imm expand_fp_immediate(unsigned imm8) {
    const unsigned a = imm8 >> 7 & 1, b = imm8 >> 6 & 1, cd = imm8 >> 4 & 3, efgh = imm8 & 0xf;
    const uint64_t not_b = b ^ 1;
    const auto copies_of_b = [b](unsigned count) { return b ? (uint64_t{1} << count) - 1 : 0; };
    return {
        .half = static_cast<uint16_t>(a << 15 | not_b << 14 | copies_of_b(2) << 12 | cd << 10 |
                                      efgh << 6),
        .single = static_cast<uint32_t>(uint64_t{a} << 31 | not_b << 30 | copies_of_b(5) << 25 |
                                        cd << 23 | efgh << 19),
        .dbl = uint64_t{a} << 63 | not_b << 62 | copies_of_b(8) << 54 | uint64_t{cd} << 52 |
               uint64_t{efgh} << 48,
    };
}

} // namespace sve
