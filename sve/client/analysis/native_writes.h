#pragma once

// Which V registers an instruction writes that is none of SVE. Where there is SVE, such a write clears the rest
// of the Z register, whether it is of the whole V register, of a scalar or of one element.

#include "sve/core/bits.h"

#include <bit>
#include <cstdint>

namespace sve::analysis {

// Mask of `count` registers from `first` on. V0 follows V31.
constexpr uint32_t v_registers(uint32_t first, uint32_t count) {
    return std::rotl((1u << count) - 1, static_cast<int>(first));
}

// LD1 to LD4 of multiple structures.
constexpr uint32_t registers_of_structures(uint32_t opcode) {
    switch (opcode) {
    case 0b0000: // LD4
    case 0b0010: // LD1
        return 4;
    case 0b0100: // LD3
    case 0b0110: // LD1
        return 3;
    case 0b1000: // LD2
    case 0b1010: // LD1
        return 2;
    case 0b0111: // LD1
        return 1;
    default:
        return 0;
    }
}

// Loads of the one register Rt, of all widths.
constexpr bool is_single_load(uint32_t word) {
    const bool is_load = bits(word, 22, 22), is_wide = bits(word, 23, 23);
    return is_load && (!is_wide || bits(word, 31, 30) == 0); // Q is wide and has no size
}

// Words with 1x0 in bits 27:25 and V, bit 26, set: loads and stores.
constexpr uint32_t vector_loads(uint32_t word) {
    const uint32_t rt = bits(word, 4, 0), rt2 = bits(word, 14, 10);
    const uint32_t one = v_registers(rt, 1);
    const bool is_load = bits(word, 22, 22);
    const uint32_t form = bits(word, 11, 10);
    switch (bits(word, 29, 27)) {
    case 0b001: // structures
        if (!is_load || bits(word, 31, 31))
            return 0;
        if (!bits(word, 24, 24)) // multiple ones
            return v_registers(rt, registers_of_structures(bits(word, 15, 12)));
        // One to a lane, or to all lanes. LDAP1 is among them.
        return v_registers(rt, (bits(word, 13, 13) << 1 | bits(word, 21, 21)) + 1);
    case 0b011:
        if (!bits(word, 24, 24)) // LDR of a literal
            return bits(word, 31, 30) == 0b11 ? 0 : one;
        // LDAPUR. The copies and fills of memory have its bit 26 set, too, and differ in bits 11:10.
        return !bits(word, 21, 21) && form == 0b10 && is_single_load(word) ? one : 0;
    case 0b101: // LDP, LDNP, and with opc 11 the unprivileged LDTP and LDTNP
        return is_load ? one | v_registers(rt2, 1) : 0;
    default:                    // 0b111
        if (bits(word, 24, 24)) // LDR with an unsigned offset
            return is_single_load(word) ? one : 0;
        if (!bits(word, 21, 21)) // LDUR, and LDR with post-index or pre-index
            return form != 0b10 && is_single_load(word) ? one : 0;
        if (form == 0b10) // LDR with a register offset, of 64 bits or extended from 32
            return bits(word, 14, 14) && is_single_load(word) ? one : 0;
        // Atomic floating point: LDFADD and the like. Bit 22 is one of ordering there; bit 15 tells stores.
        return form == 0b00 && !bits(word, 15, 15) ? one : 0;
    }
}

// Conversions and moves between floating-point and general registers, and such within vector registers, which
// have the combinations of `rmode` that were free.
constexpr bool is_to_vector(uint32_t rmode, uint32_t opcode) {
    switch (opcode) {
    case 0b000: // FCVTNS, FCVTPS, FCVTMS, FCVTZS, by `rmode`
    case 0b001: // and FCVTNU and so on
        return false;
    case 0b100: // FCVTAS
    case 0b101: // FCVTAU
        return rmode != 0b00;
    case 0b110: // FMOV, also from an upper half, and FJCVTZS
        return rmode == 0b10;
    default: // SCVTF, UCVTF, FMOV
        return true;
    }
}

constexpr bool scalar_fp_writes_vd(uint32_t word) {
    if (bits(word, 29, 29)) // unallocated
        return false;
    if (bits(word, 24, 24)) // FMADD and the like
        return true;
    const uint32_t rmode = bits(word, 20, 19), opcode = bits(word, 18, 16);
    if (!bits(word, 21, 21)) // fixed point: SCVTF, UCVTF, and not FCVTZS, FCVTZU
        return opcode == 0b010 || opcode == 0b011;
    // The lowest bit that is set in bits 15:10 tells the group.
    switch (std::countr_zero(bits(word, 15, 10))) {
    case 0: // FCCMP, FCCMPE; two sources and FCSEL have the next bit, too
        return bits(word, 11, 11);
    case 1: // two sources
    case 2: // FMOV of an immediate
    case 4: // one source
        return true;
    case 3: // FCMP, FCMPE
    case 5: // unallocated
        return false;
    default:
        return is_to_vector(rmode, opcode);
    }
}

constexpr bool advanced_simd_writes_vd(uint32_t word) {
    if (bits(word, 31, 31)) // only SHA-3, SHA-512, SM3 and SM4
        return bits(word, 31, 24) == 0xce;
    const bool is_copy = (word & 0xbfe08400) == 0x0e000400;
    const uint32_t imm4 = bits(word, 14, 11);
    return !(is_copy && (imm4 == 0b0101 || imm4 == 0b0111)); // SMOV, UMOV
}

// A bit for each V register that the word writes. None for words of SVE.
constexpr uint32_t native_writes(uint32_t word) {
    if (bits(word, 27, 26) != 0b11)
        return 0;
    if (!bits(word, 25, 25))
        return vector_loads(word);
    const bool is_scalar_fp = bits(word, 28, 28) && !bits(word, 30, 30);
    return (is_scalar_fp ? scalar_fp_writes_vd(word) : advanced_simd_writes_vd(word))
               ? v_registers(bits(word, 4, 0), 1)
               : 0;
}

} // namespace sve::analysis
