#pragma once

// A64 floating-point instruction words. Those of vectors are the forms on 16 bytes.

#include "sve/native/a64.h"

namespace sve::native {

// Vector instructions are named by their form on singles; this is the one of a size code. Half-precision lanes have
// encodings of their own, one for instructions of three registers and one for those of two.
constexpr word_t fp_sized(word_t word, unsigned size) {
    const bool has_three = word >> 10 & 1;
    if (size == 1)
        return has_three ? (word & ~0x0020c000u) | 0x00400000 : word | 0x00580000;
    return word | word_t{size == 3} << 22;
}
// The same for instructions that make a scalar of the two lowest lanes, and for those of scalars.
constexpr word_t fp_pair_sized(word_t word, unsigned size) {
    return size == 1 ? word & ~(1u << 29) : word | word_t{size == 3} << 22;
}
constexpr word_t fp_scalar_sized(word_t word, unsigned size) {
    return word | (size == 1 ? 3u : size == 3 ? 1u : 0) << 22;
}

namespace a64::v {

// ---- To be sized by fp_sized --------------------------------------------------------------------

inline constexpr word_t fadd = 0x4e20d400, fsub = 0x4ea0d400, fmul = 0x6e20dc00, fmulx = 0x4e20dc00,
                        fdiv = 0x6e20fc00, fabd = 0x6ea0d400;
inline constexpr word_t fmax = 0x4e20f400, fmin = 0x4ea0f400, fmaxnm = 0x4e20c400,
                        fminnm = 0x4ea0c400;
inline constexpr word_t fmla = 0x4e20cc00, fmls = 0x4ea0cc00; // d = d ± n * m
inline constexpr word_t frecps = 0x4e20fc00, frsqrts = 0x4ea0fc00;
// All ones where the relation holds, of two vectors and of one with 0.0
inline constexpr word_t fcmeq = 0x4e20e400, fcmge = 0x6e20e400, fcmgt = 0x6ea0e400,
                        facge = 0x6e20ec00, facgt = 0x6ea0ec00;
inline constexpr word_t fcmeq_zero = 0x4ea0d800, fcmge_zero = 0x6ea0c800, fcmgt_zero = 0x4ea0c800,
                        fcmle_zero = 0x6ea0d800, fcmlt_zero = 0x4ea0e800;
// Neighbours of n, and behind them those of m
inline constexpr word_t faddp = 0x6e20d400, fmaxp = 0x6e20f400, fminp = 0x6ea0f400,
                        fmaxnmp = 0x6e20c400, fminnmp = 0x6ea0c400;

inline constexpr word_t fabs = 0x4ea0f800, fneg = 0x6ea0f800, fsqrt = 0x6ea1f800;
inline constexpr word_t frintn = 0x4e218800, frintp = 0x4ea18800, frintm = 0x4e219800,
                        frintz = 0x4ea19800, frinta = 0x6e218800, frinti = 0x6ea19800,
                        frintx = 0x6e219800;
inline constexpr word_t frecpe = 0x4ea1d800, frsqrte = 0x6ea1d800;
inline constexpr word_t scvtf = 0x4e21d800, ucvtf = 0x6e21d800, fcvtzs = 0x4ea1b800,
                        fcvtzu = 0x6ea1b800;
inline constexpr word_t frecpx = 0x5ea1f800; // of a scalar

// ---- By element, single and double --------------------------------------------------------------

inline constexpr word_t fmla_element = 0x4f801000, fmls_element = 0x4f805000,
                        fmul_element = 0x4f809000;
constexpr word_t fp_element(word_t word, unsigned size, unsigned index) {
    return size == 3 ? word | 1u << 22 | index << 11
                     : word | (index & 1) << 21 | (index >> 1) << 11;
}

// ---- Complex numbers, with FCMA: by size code and quarters of a circle --------------------------

constexpr word_t fcadd(unsigned size, unsigned quarters) { // 1 or 3
    return 0x6e00e400 | size << 22 | (quarters >> 1) << 12;
}
constexpr word_t fcmla(unsigned size, unsigned quarters) {
    return 0x6e00c400 | size << 22 | quarters << 11;
}
// The two lanes of each pair change places
constexpr word_t swap_pairs(unsigned size) {
    return size == 1 ? 0x6e600800 : size == 2 ? 0x4ea00800 : ext(8);
}

// ---- Between sizes ------------------------------------------------------------------------------

// The low halves of lanes twice the size code, packed; and the low lanes of a size code extended with zeros.
constexpr word_t xtn(unsigned size) {
    return 0x0e212800 | size << 22;
}
constexpr word_t uxtl(unsigned size) {
    return 0x2f00a400 | (8u << size) << 16;
}
// The same of numbers: `size` is that of the narrow ones.
constexpr word_t fcvtn(unsigned size) {
    return 0x0e216800 | (size - 1) << 22;
}
constexpr word_t fcvtl(unsigned size) {
    return 0x0e217800 | (size - 1) << 22;
}

// ---- Constants ----------------------------------------------------------------------------------

// In all lanes, by the code of FMOV's immediate
inline constexpr unsigned code_of_half = 0x60, code_of_one = 0x70, code_of_two = 0;
constexpr word_t fmov(unsigned size, unsigned code) {
    const word_t format = size == 1 ? 0x4f00fc00 : size == 2 ? 0x4f00f400 : 0x6f00f400;
    return format | (code >> 5) << 16 | (code & 0x1f) << 5;
}

} // namespace a64::v

// ---- Scalars ------------------------------------------------------------------------------------

namespace a64::scalar {

// d = a lane of n, and zeros above it
constexpr word_t lane(unsigned size, unsigned index) {
    return 0x5e000400 | v::lane(size, index);
}

// To be sized by fp_scalar_sized
inline constexpr word_t fadd = 0x1e202800;
// To be sized by fp_pair_sized
inline constexpr word_t faddp = 0x7e30d800, fmaxp = 0x7e30f800, fminp = 0x7eb0f800,
                        fmaxnmp = 0x7e30c800, fminnmp = 0x7eb0c800;

// Between formats and general registers: `_h_w` to a half from a word
inline constexpr word_t scvtf_h_w = 0x1ee20000, scvtf_h_x = 0x9ee20000, scvtf_s_x = 0x9e220000;
inline constexpr word_t fcvtzs_w_h = 0x1ef80000, fcvtzs_x_h = 0x9ef80000, fcvtzs_w_d = 0x1e780000;
inline constexpr word_t is_unsigned = 1u << 16; // makes them UCVTF and FCVTZU
inline constexpr word_t fcvt_h_d = 0x1e63c000;

} // namespace a64::scalar

} // namespace sve::native
