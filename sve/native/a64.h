#pragma once

// A64 instruction words, as far as translations are made of them: constants that lack only their operands.
// Vector instructions are the forms on 16 bytes.

#include <cstdint>

namespace sve::native {

using word_t = uint32_t;

// ---- Operands -----------------------------------------------------------------------------------

// Most instructions have their registers in the same places.
constexpr word_t operands(unsigned d) {
    return d;
}
constexpr word_t operands(unsigned d, unsigned n) {
    return n << 5 | d;
}
constexpr word_t operands(unsigned d, unsigned n, unsigned m) {
    return m << 16 | n << 5 | d;
}
constexpr word_t operands(unsigned d, unsigned n, unsigned m, unsigned a) {
    return a << 10 | m << 16 | n << 5 | d;
}
// Element size of most vector instructions, by size code.
constexpr word_t sized(word_t word, unsigned size) {
    return word | size << 22;
}

// ---- General registers --------------------------------------------------------------------------

inline constexpr unsigned xzr = 31, sp = 31;

namespace a64 {

// Xd = Xn op Xm; without the bit `x` the same on words.
inline constexpr word_t x = 0x80000000;
inline constexpr word_t add = 0x8b000000, sub = 0xcb000000, and_ = 0x8a000000, orr = 0xaa000000,
                        eor = 0xca000000, bic = 0x8a200000, orn = 0xaa200000;
inline constexpr word_t adds = 0xab000000, subs = 0xeb000000, sbcs = 0xfa000000, ands = 0xea000000;
inline constexpr word_t lsl = 0x9ac02000, lsr = 0x9ac02400, asr = 0x9ac02800, udiv = 0x9ac00800,
                        sdiv = 0x9ac00c00;
inline constexpr word_t madd = 0x9b000000, msub = 0x9b008000, smulh = 0x9b407c00,
                        umulh = 0x9bc07c00;
inline constexpr word_t clz = 0xdac01000, rbit = 0xdac00000, rev = 0xdac00c00;
inline constexpr word_t add_sp = 0x8b206000; // Xd|SP = Xn|SP + Xm: 31 as d and n is SP
inline constexpr word_t sxtw = 0x93407c00;
// Shifted by an amount of bits: of the second operand of the first two lines.
constexpr word_t by_lsl(unsigned amount) {
    return amount << 10;
}
constexpr word_t by_lsr(unsigned amount) {
    return 1u << 22 | amount << 10;
}
constexpr word_t by_asr(unsigned amount) {
    return 2u << 22 | amount << 10;
}

// Xd|SP = Xn|SP ± imm12, or ± imm12 << 12.
inline constexpr word_t add_immediate = 0x91000000, sub_immediate = 0xd1000000,
                        immediate_shifted = 1u << 22;
inline constexpr word_t adds_immediate = 0xb1000000, subs_immediate = 0xf1000000;
inline constexpr word_t movz = 0xd2800000, movk = 0xf2800000, movn = 0x92800000;

// System registers: MRS Xt, MSR Xt.
inline constexpr word_t mrs = 0xd5300000, msr = 0xd5100000;
inline constexpr word_t nzcv = 0xda10u << 5, fpcr = 0xda20u << 5, fpsr = 0xda21u << 5,
                        tpidr_el0 = 0xde82u << 5;

// Conditions, of CSEL, CSET, CCMP and B.
enum condition : unsigned { eq, ne, cs, cc, mi, pl, vs, vc, hi, ls, ge, lt, gt, le, al };
inline constexpr word_t csel = 0x9a800000, csinc = 0x9a800400, csinv = 0xda800000;
constexpr word_t when(condition c) {
    return c << 12;
}

// ---- Loads and stores ---------------------------------------------------------------------------

// With an unsigned offset of so many bytes' multiples. `bytes` 1, 2, 4, 8; a load clears the register's rest.
constexpr word_t load_store(bool load, unsigned bytes, unsigned t, unsigned n, unsigned offset) {
    const unsigned size = bytes == 1 ? 0 : bytes == 2 ? 1 : bytes == 4 ? 2 : 3;
    return 0x39000000 | size << 30 | unsigned{load} << 22 | offset / bytes << 10 | n << 5 | t;
}
// The same of B, H, S, D or Q registers.
constexpr word_t load_store_v(bool load, unsigned bytes, unsigned t, unsigned n, unsigned offset) {
    if (bytes == 16)
        return 0x3d800000 | unsigned{load} << 22 | offset / 16 << 10 | n << 5 | t;
    return 1u << 26 | load_store(load, bytes, t, n, offset);
}
// Xt = the byte at Xn + Xm
inline constexpr word_t load_byte_at = 0x38606800;
// Pairs of X registers: offset a multiple of 8 in [-512, 512).
constexpr word_t load_store_pair(bool load, unsigned t, unsigned t2, unsigned n, int offset) {
    return 0xa9000000 | word_t{load} << 22 | (word_t(offset / 8) & 0x7f) << 15 | t2 << 10 | n << 5 |
           t;
}

// ---- Branches -----------------------------------------------------------------------------------

inline constexpr word_t ret = 0xd65f0000, blr = 0xd63f0000;

} // namespace a64

// ---- Vectors ------------------------------------------------------------------------------------

namespace a64::v {

// Without a size
inline constexpr word_t and_ = 0x4e201c00, bic = 0x4e601c00, orr = 0x4ea01c00, orn = 0x4ee01c00,
                        eor = 0x6e201c00;
inline constexpr word_t bsl = 0x6e601c00; // d = d ? n : m, by bits
inline constexpr word_t bit = 0x6ea01c00; // d = m ? n : d
inline constexpr word_t bif = 0x6ee01c00; // d = m ? d : n
inline constexpr word_t not_ = 0x6e205800, mov = orr;

// To be sized
inline constexpr word_t add = 0x4e208400, sub = 0x6e208400, mul = 0x4e209c00, mla = 0x4e209400,
                        mls = 0x6e209400;
inline constexpr word_t smax = 0x4e206400, umax = 0x6e206400, smin = 0x4e206c00, umin = 0x6e206c00;
inline constexpr word_t neg = 0x6e20b800, abs = 0x4e20b800;
inline constexpr word_t cmeq = 0x6e208c00, cmgt = 0x4e203400, cmge = 0x4e203c00, cmhi = 0x6e203400,
                        cmhs = 0x6e203c00, cmtst = 0x4e208c00;
inline constexpr word_t zip1 = 0x4e003800, zip2 = 0x4e007800, uzp1 = 0x4e001800, uzp2 = 0x4e005800,
                        trn1 = 0x4e002800, trn2 = 0x4e006800;
// Lanes in reverse order in each doubleword, word, halfword
inline constexpr word_t rev64 = 0x4e200800, rev32 = 0x6e200800, rev16 = 0x4e201800;
// Across all lanes, into the lowest
inline constexpr word_t uminv = 0x6e31a800, umaxv = 0x6e30a800, sminv = 0x4e31a800,
                        smaxv = 0x4e30a800, addv = 0x4e31b800;
inline constexpr word_t uaddlv = 0x6e303800; // of twice the size

// Shifts of lanes of a size code by an amount of bits
constexpr word_t shl(unsigned size, unsigned amount) {
    return 0x4f005400 | ((8u << size) + amount) << 16;
}
constexpr word_t ushr(unsigned size, unsigned amount) {
    return 0x6f000400 | ((16u << size) - amount) << 16;
}
constexpr word_t sshr(unsigned size, unsigned amount) {
    return 0x4f000400 | ((16u << size) - amount) << 16;
}

// Lanes from and to general registers, by size code: d = all lanes Xn; lane of Vd = Xn; Xd = lane of Vn
constexpr word_t lane(unsigned size, unsigned index) {
    return (2 * index + 1) << size << 16;
}
constexpr word_t dup(unsigned size) {
    return 0x4e000c00 | lane(size, 0);
}
constexpr word_t dup_lane(unsigned size, unsigned index) {
    return 0x4e000400 | lane(size, index);
}
constexpr word_t ins(unsigned size, unsigned index) {
    return 0x4e001c00 | lane(size, index);
}
constexpr word_t ins_lane(unsigned size, unsigned to, unsigned from) {
    return 0x6e000400 | lane(size, to) | from << size << 11;
}
constexpr word_t umov(unsigned size, unsigned index) {
    return (size == 3 ? 0x4e003c00 : 0x0e003c00) | lane(size, index);
}
constexpr word_t smov_x(unsigned size, unsigned index) { // size below 3
    return 0x4e002c00 | lane(size, index);
}
// d = bytes `from`.. of n and m, which follows it
constexpr word_t ext(unsigned from) {
    return 0x6e000000 | from << 11;
}
// d = a byte in all lanes of B, H, S: the byte at the lanes' low end
constexpr word_t movi(unsigned size, unsigned byte) {
    const word_t mode = size == 0 ? 0xe400 : size == 1 ? 0x8400 : 0x0400;
    return 0x4f000000 | mode | (byte >> 5) << 16 | (byte & 0x1f) << 5;
}
// d = all ones or zeros in each byte of a doubleword, by a bit for each, in both doublewords
constexpr word_t movi_bytes(unsigned which) {
    return 0x6f00e400 | (which >> 5) << 16 | (which & 0x1f) << 5;
}

} // namespace a64::v

} // namespace sve::native
