#pragma once

// More A64 instruction words, like those of a64.h: operations on integer lanes.

#include "sve/native/a64.h"

namespace sve::native::a64 {

inline constexpr word_t cls = 0xdac01400;
// Wn = Wn & a byte or a halfword's ones, by size code
constexpr word_t keep_low(unsigned size) {
    return 0x12000000 | ((8u << size) - 1) << 10;
}
// Pairs of W registers: offset a multiple of 4 in [-256, 256).
constexpr word_t load_store_words(bool load, unsigned t, unsigned t2, unsigned n, int offset) {
    return 0x29000000 | word_t{load} << 22 | (word_t(offset / 4) & 0x7f) << 15 | t2 << 10 | n << 5 |
           t;
}

namespace v {

// Without a size
inline constexpr word_t tbl = 0x4e000000; // of one register
inline constexpr word_t cnt = 0x4e205800, rbit = 0x6e605800;

// To be sized
inline constexpr word_t sabd = 0x4e207400, uabd = 0x6e207400;
inline constexpr word_t sshl = 0x4e204400,
                        ushl = 0x6e204400; // right by negative counts, which are the low bytes
inline constexpr word_t cmeq_zero = 0x4e209800, cmge_zero = 0x6e208800, cmlt_zero = 0x4e20a800;
inline constexpr word_t cls = 0x4e204800, clz = 0x6e204800;
// Of the low and of the high lanes of a size, to lanes of twice the size
inline constexpr word_t smull = 0x0e20c000, smull2 = 0x4e20c000, umull = 0x2e20c000,
                        umull2 = 0x6e20c000;
// Sums of neighbours: of two registers' lanes; of a size in lanes of twice the size, also added to what is there
inline constexpr word_t addp = 0x4e20bc00;
inline constexpr word_t saddlp = 0x4e202800, uaddlp = 0x6e202800, sadalp = 0x4e206800,
                        uadalp = 0x6e206800;
// Sum across all lanes, of twice their size
inline constexpr word_t saddlv = 0x4e303800; // and uaddlv

// Dd = the sum of the two doublewords of n
inline constexpr word_t addp_scalar = 0x5ef1b800;
// Dd = Dn; Sd = Wn; Dd = Xn; with zeros above
inline constexpr word_t fmov_d = 0x1e604000, fmov_s_w = 0x1e270000, fmov_d_x = 0x9e670000;

} // namespace v

} // namespace sve::native::a64
