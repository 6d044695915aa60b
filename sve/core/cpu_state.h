#pragma once

#include "sve/core/export.h"
#include "sve/core/vector_length.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

// The emulated register file, the operand records that a decode stub hands to a direct routine, and
// the result of every handler. Plain data: nothing here needs a platform.

// What a handler, a direct routine and execute_sve_instruction return.
enum aarch64_decode_rc : int {
    // The instruction was emulated.
    AARCH64_DECODE_OK = 0,
    // The word is in no decode map, or its handler emulates nothing.
    AARCH64_DECODE_UNIMPLEMENTED = 2,
};

// The registers of one application thread. Only that thread touches them.
//
// General registers, SP, flags, FPSR, FPCR and the low 16 bytes of each Z row are handed over
// before and after every emulated instruction. The rest of the Z rows, P and FFR exist nowhere else
// and stay from one emulated instruction to the next.
struct cpu_state {
    uint64_t x[31];   // X0 to X30; register 31 is never reached through this array
    uint64_t sp;      // SP
    unsigned int *pc; // address of the instruction that is being emulated
    uint64_t nzcv;    // as the NZCV system register: N bit 31, Z 30, C 29, V 28, others 0
    uint32_t fpsr;    // FPSR
    uint32_t fpcr;    // FPCR
    uint32_t fpcr_or; // a control word that reference stubs OR into fpcr; 0 unless someone sets it
    uint32_t padding; // puts z at a multiple of 16 bytes, see below
    // Z0 to Z31: element 0 at the lowest byte, elements little-endian. The first 16 bytes of row n
    // are Vn.
    uint8_t z[32][sve_vector_bytes];
    // P0 to P15, one byte for each predicate bit: bit 0 of byte i is predicate bit i, which belongs
    // to vector byte i. Every write stores whole bytes of 0 or 1.
    uint8_t p[16][sve_vector_bytes];
    uint8_t ffr[sve_vector_bytes]; // the first-fault register, in the form of a P row
    uint64_t insn;                 // the current instruction word, stored by direct stubs
};

// A load or store of a Q register with an immediate offset takes multiples of 16 only.
static_assert(offsetof(cpu_state, z) % sve_chunk_bytes == 0 && offsetof(cpu_state, z) == 288);
static_assert(alignof(cpu_state) == 8, "thread heaps align to 8 bytes only");

// Size and qualifier codes of the records. A size code is at once a shift: an element has 1 << code
// bytes. In records of general registers 2 is the W view and 3 the X view.
inline constexpr unsigned sve_size_b = 0;
inline constexpr unsigned sve_size_h = 1;
inline constexpr unsigned sve_size_s = 2;
inline constexpr unsigned sve_size_d = 3;
inline constexpr unsigned sve_size_q = 4;       // aarch64_z_reg: 128-bit elements
inline constexpr unsigned sve_pred_merging = 4; // aarch64_p_reg: Pg/M
inline constexpr unsigned sve_pred_zeroing = 5; // aarch64_p_reg: Pg/Z
inline constexpr unsigned sve_pred_plain = 6; // aarch64_p_reg: a governing predicate without either

// Operand records. A plain operand, which is only read or only written, has `size`, and the other
// two words are unset. A tied operand, which is both (Zdn, Pdn, Rdn), has `dst_size` and
// `src_size`, always equal, and `size` is unset.

struct aarch64_z_reg {
    static constexpr unsigned unset = 5;
    uint32_t num;
    uint32_t size;
    uint32_t dst_size;
    uint32_t src_size;

    // Printable names by register number.
    SVE_EXPORT static const char *const zname[32];
    SVE_EXPORT static const char *const zname_b[32], *const zname_h[32];
    SVE_EXPORT static const char *const zname_s[32], *const zname_d[32];
};

struct aarch64_p_reg {
    static constexpr unsigned unset = 7;
    uint32_t num;
    uint32_t size; // a size code, or a qualifier
    uint32_t dst_size;
    uint32_t src_size;

    SVE_EXPORT static const char *const pname[16];
    SVE_EXPORT static const char *const pname_m[16], *const pname_z[16];
    SVE_EXPORT static const char *const pname_b[16], *const pname_h[16];
    SVE_EXPORT static const char *const pname_s[16], *const pname_d[16];
};

// A general register where number 31 is the zero register: reads 0, and a write is dropped.
struct aarch64_i_reg {
    static constexpr unsigned unset = 4;
    uint32_t num;
    uint32_t size;
    uint32_t dst_size;
    uint32_t src_size;

    SVE_EXPORT static const char *const wname[32];
    SVE_EXPORT static const char *const xname[32];
};

// A general register where number 31 is SP.
struct aarch64_i_rsp_reg {
    uint32_t num;
    uint32_t size;

    SVE_EXPORT static const char *const wname[32]; // the last is "illegal": SP has no W view
    SVE_EXPORT static const char *const xname[32];
};

// Immediate records.

// The i1 bit of a floating-point arithmetic immediate; each routine gives it its meaning.
struct aarch64_sve_fp_arith_imm {
    uint8_t i1;
};

// One floating-point constant as half, single and double bit image.
struct aarch64_sve_fp_dup_imm {
    uint16_t half;
    uint32_t single;
    uint64_t dbl;
};

// A decoded logical immediate, repeated to 64 bits.
struct aarch64_sve_logical64_imm {
    uint64_t mask;
};

// Value of a general register as an operand. 31 follows the record's type.
inline uint64_t read_reg(const cpu_state *state, aarch64_i_reg reg) {
    return reg.num == 31 ? 0 : state->x[reg.num];
}
inline uint64_t read_reg(const cpu_state *state, aarch64_i_rsp_reg reg) {
    return reg.num == 31 ? state->sp : state->x[reg.num];
}
inline void write_reg(cpu_state *state, aarch64_i_reg reg, uint64_t value) {
    if (reg.num != 31)
        state->x[reg.num] = value;
}
inline void write_reg(cpu_state *state, aarch64_i_rsp_reg reg, uint64_t value) {
    (reg.num == 31 ? state->sp : state->x[reg.num]) = value;
}
// The scalar at the low end of a V register; the rest of the Z row becomes 0.
inline void write_v(cpu_state *state, unsigned num, uint64_t value) {
    std::memset(state->z[num], 0, sve_vector_bytes);
    std::memcpy(state->z[num], &value, sizeof value);
}
