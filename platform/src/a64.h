#pragma once

// A64 instruction words, as far as the platform writes and reads them. Registers are numbers 0 to
// 31; offsets are in bytes. The caller keeps the ranges, which `fits_*` tell.

#include <cstdint>

namespace platform::a64 {

using word_t = uint32_t;

inline constexpr unsigned sp = 31, xzr = 31;

// System registers as MRS and MSR code them: bits 20:5.
inline constexpr word_t nzcv = 0xda10, fpcr = 0xda20, fpsr = 0xda21, tpidr_el0 = 0xde82;

// ---- Moves and arithmetic ----------------------------------------------------------------------

inline constexpr word_t nop = 0xd503201f;

// mov xd, xm
constexpr word_t mov(unsigned d, unsigned m) {
    return 0xaa0003e0 | m << 16 | d;
}
// add xd, xn, #value [, lsl #12]; 31 is SP
constexpr word_t add(unsigned d, unsigned n, unsigned value, bool shift_12 = false) {
    return 0x91000000 | word_t{shift_12} << 22 | value << 10 | n << 5 | d;
}
// adr xd, .+distance, within ±1 MiB
constexpr word_t adr(unsigned d, int distance) {
    return 0x10000000 | (static_cast<word_t>(distance) & 3) << 29 |
           (static_cast<word_t>(distance >> 2) & 0x7ffff) << 5 | d;
}
// mrs xt, system; msr system, xt
constexpr word_t mrs(unsigned t, word_t system) {
    return 0xd5300000 | system << 5 | t;
}
constexpr word_t msr(word_t system, unsigned t) {
    return 0xd5100000 | system << 5 | t;
}

// ---- Loads and stores --------------------------------------------------------------------------

constexpr bool fits_unsigned_offset(int64_t offset, unsigned bytes) {
    return offset >= 0 && offset % bytes == 0 && offset / bytes < 4096;
}
constexpr bool fits_pair_offset(int64_t offset) {
    return offset % 8 == 0 && offset >= -512 && offset < 512;
}

// ldr/str of 4, 8 or 16 bytes: wt, xt or qt, [xn, #offset]
constexpr word_t load_store(bool load, unsigned bytes, unsigned t, unsigned n, unsigned offset) {
    const word_t base = bytes == 4 ? 0xb9000000 : bytes == 8 ? 0xf9000000 : 0x3d800000;
    return base | word_t{load} << 22 | offset / bytes << 10 | n << 5 | t;
}
constexpr word_t ldr(unsigned t, unsigned n, unsigned offset) {
    return load_store(true, 8, t, n, offset);
}
constexpr word_t str(unsigned t, unsigned n, unsigned offset) {
    return load_store(false, 8, t, n, offset);
}
// ldp/stp xt, xt2, [xn, #offset]
constexpr word_t load_store_pair(bool load, unsigned t, unsigned t2, unsigned n, int offset) {
    return 0xa9000000 | word_t{load} << 22 | (word_t(offset / 8) & 0x7f) << 15 | t2 << 10 | n << 5 |
           t;
}
// ldr st, dt or qt, [xn]: 4, 8 or 16 bytes
constexpr word_t load_vector(unsigned bytes, unsigned t, unsigned n) {
    return (bytes == 4 ? 0xbd400000 : bytes == 8 ? 0xfd400000 : 0x3dc00000) | n << 5 | t;
}
// ldr xt, .+distance, within ±1 MiB
constexpr word_t ldr_literal(unsigned t, int distance) {
    return 0x58000000 | (word_t(distance / 4) & 0x7ffff) << 5 | t;
}
// str xt, [sp, #-16]!; ldr xt, [sp], #16
constexpr word_t push(unsigned t) {
    return 0xf81f0fe0 | t;
}
constexpr word_t pop(unsigned t) {
    return 0xf84107e0 | t;
}

// ---- Branches ----------------------------------------------------------------------------------

inline constexpr int64_t branch_range = int64_t{128} << 20;

constexpr bool fits_branch(int64_t distance) {
    return distance % 4 == 0 && distance >= -branch_range && distance < branch_range;
}
// b .+distance
constexpr word_t b(int64_t distance) {
    return 0x14000000 | (static_cast<word_t>(distance / 4) & 0x3ffffff);
}
// blr xn
constexpr word_t blr(unsigned n) {
    return 0xd63f0000 | n << 5;
}
// cbnz xt, .+distance
constexpr word_t cbnz(unsigned t, int distance) {
    return 0xb5000000 | (word_t(distance / 4) & 0x7ffff) << 5 | t;
}
// brk #value
constexpr word_t brk(uint16_t value) {
    return 0xd4200000 | word_t{value} << 5;
}
// udf #value: undefined on every processor
constexpr word_t udf(uint16_t value) {
    return value;
}

// ---- Reading -----------------------------------------------------------------------------------

constexpr bool is_b(word_t word) {
    return word >> 26 == 0b000101;
}

// Distance of a B.
constexpr int64_t b_distance(word_t word) {
    return int64_t{static_cast<int32_t>(word << 6) >> 6} * 4;
}

// True for what ends a block and belongs to it: branches, and the exception-generating SVC, BRK and
// their kin. System instructions of the same group (hints, barriers, MRS, MSR) don't, but for ISB.
constexpr bool ends_block(word_t word) {
    constexpr word_t isb = 0xd50330df;
    const bool branch_or_system = (word >> 26 & 0b111) == 0b101;
    const bool system = word >> 22 == 0b1101010100;
    return branch_or_system && (!system || (word & 0xfffff0ff) == isb);
}

// A load of an S, D or Q register from a distance to itself: the register's bytes, and the distance.
constexpr bool is_vector_literal_load(word_t word) {
    return (word & 0x3f000000) == 0x1c000000 && word >> 30 != 3;
}
constexpr unsigned literal_bytes(word_t word) {
    return 4u << (word >> 30);
}
constexpr int64_t literal_distance(word_t word) {
    return int64_t{static_cast<int32_t>(word << 8) >> 13} * 4;
}

// True for what does something else at another address: ADR, ADRP, loads from a distance to
// themselves, and whatever ends a block.
constexpr bool depends_on_place(word_t word) {
    return (word & 0x1f000000) == 0x10000000 || (word & 0x3b000000) == 0x18000000 ||
           ends_block(word);
}

// True for words that no processor without SVE has as an instruction, but for SVE's own, which may
// be replaced: the reserved and unallocated groups of bits 28:25.
constexpr bool is_undefined(word_t word) {
    const word_t group = word >> 25 & 0xf;
    return group == 0b0000 || group == 0b0001 || group == 0b0011;
}

// True for words of SVE's group, whether they are instructions or not.
constexpr bool is_in_sve_space(word_t word) {
    return (word >> 25 & 0xf) == 0b0010;
}

} // namespace platform::a64
