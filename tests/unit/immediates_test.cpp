#include "sve/core/immediates.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

using namespace sve;

// Against the definition bit by bit: in an element of `size` bits, S+1 ones rotated right by R. The
// element size is told by the leading ones of imms; an element of ones only is not coded.
TEST(Immediates, BitMasks) {
    std::set<uint64_t> masks;
    for (unsigned n = 0; n < 2; n++) {
        for (unsigned imms = 0; imms < 64; imms++) {
            const unsigned size = n                 ? 64
                                  : imms < 0b100000 ? 32
                                  : imms < 0b110000 ? 16
                                  : imms < 0b111000 ? 8
                                  : imms < 0b111100 ? 4
                                  : imms < 0b111110 ? 2
                                                    : 0;
            for (unsigned immr = 0; immr < 64; immr++) {
                // Reserved values have no fixed result, but the sanitizers see the computation.
                const uint64_t mask = decode_bit_mask(n, immr, imms);
                if (size == 0 || imms % size == size - 1)
                    continue;
                uint64_t expected = 0;
                for (unsigned i = 0; i < 64; i++)
                    expected |= uint64_t{(i + immr) % size <= imms % size} << i;
                EXPECT_EQ(mask, expected) << "N " << n << " immr " << immr << " imms " << imms;
                masks.insert(mask);
            }
        }
    }
    EXPECT_EQ(masks.size(), 5334u); // size * (size - 1) for each element size
}

// The three images of imm8 = abcdefgh as the number that it stands for: sign a, 16 + efgh
// sixteenths, times 2 to the power of cd - 3 when b is set and cd + 1 when not.
TEST(Immediates, FpConstants) {
    for (unsigned imm8 = 0; imm8 < 256; imm8++) {
        SCOPED_TRACE("imm8 " + std::to_string(imm8));
        const int cd = imm8 >> 4 & 3;
        const double size = std::ldexp(16 + (imm8 & 15), (imm8 & 0x40 ? cd - 3 : cd + 1) - 4);
        const double value = imm8 & 0x80 ? -size : size;
        const aarch64_sve_fp_dup_imm image = expand_fp_immediate(imm8);
        EXPECT_EQ(std::bit_cast<double>(image.dbl), value);
        EXPECT_EQ(std::bit_cast<float>(image.single), static_cast<float>(value));
        // A normal half: sign, five bits of exponent, ten of fraction.
        const double half = std::ldexp(1024 + (image.half & 0x3ff), (image.half >> 10 & 0x1f) - 25);
        EXPECT_EQ(image.half & 0x8000 ? -half : half, value);
        EXPECT_NE(image.half & 0x7c00, 0);
        EXPECT_NE(image.half & 0x7c00, 0x7c00);
    }
}
