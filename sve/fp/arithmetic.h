#pragma once

// Element-wise floating-point arithmetic: FADD, FSUB, FSUBR, FMUL, FMULX, FDIV, FDIVR, FMAX, FMIN, FMAXNM,
// FMINNM, FABD, FABS, FNEG, FSQRT, and the roundings to integral FRINTA, FRINTI, FRINTM, FRINTN, FRINTP, FRINTX,
// FRINTZ.
//
// Predicated forms merge: inactive elements of the destination keep their value, and raise no flag. Results
// and cumulative flags are those of the application's FPCR. Direct routines have the host's unit compute, in
// single and double; reference functions have the floating-point library. No condition flag changes.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the tied operand's dst_size, or the size of Zd: single or double.

#define PREDICATED(op)                                                                             \
    SVE_ROUTINE sve_##op##_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
#define IMMEDIATE(op)                                                                              \
    SVE_ROUTINE sve_##op##_zpi(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg,                   \
                               aarch64_sve_fp_arith_imm imm);
#define UNPREDICATED(op)                                                                           \
    SVE_ROUTINE sve_##op##_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zdn = Zdn op Zm, or Zdn op one of two constants; Zd = Zn op Zm
PREDICATED(fadd)
IMMEDIATE(fadd)
UNPREDICATED(fadd)
PREDICATED(fsub) IMMEDIATE(fsub) UNPREDICATED(fsub) PREDICATED(fmul) IMMEDIATE(fmul)
    UNPREDICATED(fmul)
    // The operands change places: Zm - Zdn, Zm / Zdn
    PREDICATED(fsubr) IMMEDIATE(fsubr) PREDICATED(fdivr) PREDICATED(fdiv) PREDICATED(fmax)
        PREDICATED(fmaxnm) PREDICATED(fminnm)
    // Zd = op Zn
    PREDICATED(fneg) PREDICATED(fsqrt) PREDICATED(frinta)
#undef PREDICATED
#undef IMMEDIATE
#undef UNPREDICATED

// ---- Reference functions --------------------------------------------------------------------------

#define PREDICATED(type, op)                                                                       \
    SVE_REFERENCE VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *);
#define IMMEDIATE(type, op)                                                                        \
    SVE_REFERENCE VecT Vec##type##op##VIM(VecT dn, PredV pg, unsigned i1, CpuContext *);
#define UNPREDICATED(type, op) SVE_REFERENCE VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *);
#define UNARY(type, op)                                                                            \
    SVE_REFERENCE VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *);
// clang-format off
#define FORMAT(type, T)                                                                            \
    PREDICATED(type, Add) IMMEDIATE(type, Add) UNPREDICATED(type, Add)                             \
    PREDICATED(type, Sub) IMMEDIATE(type, Sub) UNPREDICATED(type, Sub)                             \
    PREDICATED(type, SubR) IMMEDIATE(type, SubR)                                                   \
    PREDICATED(type, Mul) IMMEDIATE(type, Mul) UNPREDICATED(type, Mul)                             \
    PREDICATED(type, MulX) PREDICATED(type, Div) PREDICATED(type, DivR) PREDICATED(type, Abd)      \
    PREDICATED(type, Max) IMMEDIATE(type, Max) PREDICATED(type, MaxNum) IMMEDIATE(type, MaxNum)    \
    PREDICATED(type, Min) IMMEDIATE(type, Min) PREDICATED(type, MinNum) IMMEDIATE(type, MinNum)    \
    UNARY(type, Abs) UNARY(type, Neg) UNARY(type, Sqrt)                                            \
    UNARY(type, FRIntA) UNARY(type, FRIntI) UNARY(type, FRIntM) UNARY(type, FRIntN)                \
    UNARY(type, FRIntP) UNARY(type, FRIntX) UNARY(type, FRIntZ)
    // clang-format on
    SVE_FP_TYPES(FORMAT)
#undef PREDICATED
#undef IMMEDIATE
#undef UNPREDICATED
#undef UNARY
#undef FORMAT
