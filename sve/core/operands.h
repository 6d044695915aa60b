#pragma once

// Operand descriptors: what a row lists behind its routine. A descriptor is a type whose read()
// takes one operand out of the instruction word; its name says the operand's role in the published
// syntax and, where a role has several places, the bits.
//
//     direct<sve_sub_zpz, Zdn<S>, Pg<M>, Zm_9_5<S>>   SUB Zdn.S, Pg/M, Zdn.S, Zm.S

#include "sve/core/bits.h"
#include "sve/core/cpu_state.h"
#include "sve/core/immediates.h"

#include <bit>
#include <cstdint>

namespace sve {

// Element sizes and the views of general registers.
inline constexpr unsigned B = sve_size_b, H = sve_size_h, S = sve_size_s, D = sve_size_d;
inline constexpr unsigned Q = sve_size_q;
inline constexpr unsigned W = 2, X = 3;
// Qualifiers of governing predicates.
inline constexpr unsigned M = sve_pred_merging, Z = sve_pred_zeroing, plain = sve_pred_plain;

// A record of four words. Made of halves, as it is passed: the compiler puts single words together
// one by one.
template <class Record>
constexpr Record make_record(uint32_t num, uint32_t size, uint32_t dst_size, uint32_t src_size) {
    struct halves {
        uint64_t low, high;
    };
    return std::bit_cast<Record>(
        halves{num | uint64_t{size} << 32, dst_size | uint64_t{src_size} << 32});
}

// An operand that is only read or only written.
template <class Record, unsigned high, unsigned low, unsigned size_code>
struct plain_operand {
    static constexpr Record read(uint32_t word) {
        return make_record<Record>(bits(word, high, low), size_code, Record::unset, Record::unset);
    }
};

template <unsigned high, unsigned low, unsigned size_code>
struct plain_operand<aarch64_i_rsp_reg, high, low, size_code> {
    static constexpr aarch64_i_rsp_reg read(uint32_t word) {
        return {bits(word, high, low), size_code};
    }
};

// An operand that is read and written.
template <class Record, unsigned high, unsigned low, unsigned size_code>
struct tied_operand {
    static constexpr Record read(uint32_t word) {
        return make_record<Record>(bits(word, high, low), Record::unset, size_code, size_code);
    }
};

// Vectors. Zd also stands for Zt.
template <unsigned size>
using Zd = plain_operand<aarch64_z_reg, 4, 0, size>;
template <unsigned size>
using Zdn = tied_operand<aarch64_z_reg, 4, 0, size>;
template <unsigned size>
using Zda = Zdn<size>;
template <unsigned size>
using Zn = plain_operand<aarch64_z_reg, 9, 5, size>;
template <unsigned size>
using Zm = plain_operand<aarch64_z_reg, 20, 16, size>;
template <unsigned size>
using Zm_9_5 = plain_operand<aarch64_z_reg, 9, 5, size>;

// Of indexed forms: an index of elements, pairs or groups within a segment takes the upper bits of Zm.
template <unsigned size>
using Zm_18_16 = plain_operand<aarch64_z_reg, 18, 16, size>;
template <unsigned size>
using Zm_19_16 = plain_operand<aarch64_z_reg, 19, 16, size>;
using Index_20_19 = joined_fields<20, 19>;
using Index_20 = joined_fields<20, 20>;
using Index_22_20_19 = joined_fields<22, 22, 20, 19>;

// Governing predicates, with their qualifier.
template <unsigned qualifier>
using Pg = plain_operand<aarch64_p_reg, 12, 10, qualifier>;
template <unsigned qualifier>
using Pg_13_10 = plain_operand<aarch64_p_reg, 13, 10, qualifier>;
template <unsigned qualifier>
using Pg_19_16 = plain_operand<aarch64_p_reg, 19, 16, qualifier>;
template <unsigned qualifier>
using Pg_8_5 = plain_operand<aarch64_p_reg, 8, 5, qualifier>;

// Predicates as data. Pd also stands for Pt.
template <unsigned size>
using Pd = plain_operand<aarch64_p_reg, 3, 0, size>;
template <unsigned size>
using Pdn = tied_operand<aarch64_p_reg, 3, 0, size>;
template <unsigned size>
using Pn = plain_operand<aarch64_p_reg, 8, 5, size>;
template <unsigned size>
using Pm = plain_operand<aarch64_p_reg, 19, 16, size>;

// General registers, by view. In the Sp forms register 31 is SP, in the others the zero register.
template <unsigned view>
using Rd = plain_operand<aarch64_i_reg, 4, 0, view>;
template <unsigned view>
using Rdn = tied_operand<aarch64_i_reg, 4, 0, view>;
template <unsigned view>
using Rn = plain_operand<aarch64_i_reg, 9, 5, view>;
template <unsigned view>
using Rm = plain_operand<aarch64_i_reg, 20, 16, view>;
template <unsigned view>
using RdSp = plain_operand<aarch64_i_rsp_reg, 4, 0, view>;
template <unsigned view>
using RnSp = plain_operand<aarch64_i_rsp_reg, 9, 5, view>;
template <unsigned view>
using RmSp = plain_operand<aarch64_i_rsp_reg, 20, 16, view>;
// Of a memory access.
using Base = RnSp<X>;
using Index = Rm<X>;

// The number of a scalar in a V register.
using Vd = joined_fields<4, 0>;
using Vn = joined_fields<9, 5>;

// A scalar in a V register by value, for reference functions: the low element of the Z row.
struct v_scalar {
    uint32_t num;
    uint32_t size; // size code
};
template <unsigned high, unsigned low, unsigned size_code>
struct scalar_operand {
    static constexpr v_scalar read(uint32_t word) { return {bits(word, high, low), size_code}; }
};
template <unsigned size>
using ScalarDn = scalar_operand<4, 0, size>;
template <unsigned size>
using ScalarN = scalar_operand<9, 5, size>;

// Plain immediates: one field, or several joined with the most significant first.
template <unsigned... edges>
using UImm = joined_fields<edges...>;
template <unsigned... edges>
struct SImm {
    static constexpr int read(uint32_t word) {
        using fields = joined_fields<edges...>;
        return sign_extend(fields::read(word), fields::width);
    }
};

// Bits 12:5, shifted left by 8 when bit 13 is set: at every element size, .B included.
struct UImm8Shifted {
    static constexpr unsigned read(uint32_t word) {
        return bits(word, 12, 5) << (bits(word, 13, 13) * 8);
    }
};
struct SImm8Shifted {
    static constexpr int read(uint32_t word) {
        return SImm<12, 5>::read(word) * (bits(word, 13, 13) ? 256 : 1);
    }
};

// Shift amounts are coded together with the element size, as tsz:imm3: a left shift by n as element
// bits + n, a right shift as 2 * element bits - n. The stub knows the size, so the low bits do. The
// field's low end is bit 5 in predicated forms and bit 16 in unpredicated ones.
template <unsigned size, unsigned low_bit>
struct shift_field {
    static_assert(size <= D && (low_bit == 5 || low_bit == 16));
    static constexpr unsigned read(uint32_t word) {
        if constexpr (size == D)
            return joined_fields<22, 22, low_bit + 4, low_bit>::read(word);
        else
            return bits(word, low_bit + 2 + size, low_bit);
    }
};
template <unsigned size>
using ShiftLeft = shift_field<size, 16>;
template <unsigned size>
using ShiftLeftPredicated = shift_field<size, 5>;
template <unsigned size, unsigned low_bit>
struct right_shift {
    static constexpr unsigned read(uint32_t word) {
        return (8u << size) - shift_field<size, low_bit>::read(word);
    }
};
template <unsigned size>
using ShiftRight = right_shift<size, 16>;
template <unsigned size>
using ShiftRightPredicated = right_shift<size, 5>;

// Rotations of complex numbers: of FCADD, FCMLA (vectors) and FCMLA (indexed).
using Rotation_16 = UImm<16, 16>;
using Rotation_14_13 = UImm<14, 13>;
using Rotation_11_10 = UImm<11, 10>;

// Element counts: a pattern, and what its count is multiplied by.
using Pattern = UImm<9, 5>;
struct Multiplier {
    static constexpr unsigned read(uint32_t word) { return bits(word, 19, 16) + 1; }
};

// The element index of DUP (indexed): bits 23:22 with 20:16 are the index above a one and `size`
// zeros.
template <unsigned size>
struct DupIndex {
    static constexpr unsigned element = size; // of Zn that alone is read
    static constexpr unsigned read(uint32_t word) {
        return joined_fields<23, 22, 20, 16>::read(word) >> (size + 1);
    }
};

// A bit mask: N in bit 17, immr in bits 16:11, imms in bits 10:5.
struct LogicalMask {
    static constexpr aarch64_sve_logical64_imm read(uint32_t word) {
        return {decode_bit_mask(bits(word, 17, 17), bits(word, 16, 11), bits(word, 10, 5))};
    }
};

// The floating-point constant coded in bits 12:5, in three formats.
struct FpConstant {
    static constexpr aarch64_sve_fp_dup_imm read(uint32_t word) {
        return expand_fp_immediate(bits(word, 12, 5));
    }
};

// The i1 bit that chooses between the two constants of a floating-point arithmetic immediate.
struct FpArithmeticImm {
    static constexpr aarch64_sve_fp_arith_imm read(uint32_t word) {
        return {static_cast<uint8_t>(bits(word, 5, 5))};
    }
};

} // namespace sve
