#pragma once

// Element-wise integer arithmetic: ADD, SUB, SUBR, NEG, ABS, SABD, UABD, MUL, SMULH, UMULH, SDIV,
// UDIV and their reversed forms, SMIN, SMAX, UMIN, UMAX, MLA, MLS, MAD, MSB, and the extensions
// SXTB to UXTW.
//
// All wrap around at the element's width; no flag or status changes. Predicated forms merge: an
// inactive element keeps its value.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ---------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the element size of the first record.

// Zd.T = Zn.T op Zm.T
SVE_ROUTINE sve_add_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_sub_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);

// Zdn.T = Zdn.T op Zm.T where Pg is true
SVE_ROUTINE sve_add_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_sub_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_mul_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_smin_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_smax_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_umin_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_umax_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);

// The same for T = .S and .D. A quotient is truncated; dividing by 0 gives 0, and the most negative
// value divided by -1 is itself. The reversed forms are Zm / Zdn.
SVE_ROUTINE sve_sdiv_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_sdivr_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_udiv_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_udivr_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);

// Zdn.T = Zdn.T op immediate, which is truncated to the element. The shift of ADD and SUB is done.
SVE_ROUTINE sve_add_zi(cpu_state *, aarch64_z_reg zdn, unsigned int immediate);
SVE_ROUTINE sve_sub_zi(cpu_state *, aarch64_z_reg zdn, unsigned int immediate);
SVE_ROUTINE sve_mul_zi(cpu_state *, aarch64_z_reg zdn, int immediate);

// Zd.T = op Zn.T where Pg is true. The extensions take the low 8, 16 or 32 bits of the element.
SVE_ROUTINE sve_neg_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_sxtb_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_sxth_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_sxtw_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_uxth_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_uxtw_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);

// Zda.T = Zda.T ± Zn.T * Zm.T where Pg is true
SVE_ROUTINE sve_mla_zpzz(cpu_state *, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                         aarch64_z_reg zm);
SVE_ROUTINE sve_mls_zpzz(cpu_state *, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                         aarch64_z_reg zm);
// Zdn.T = Za.T ± Zdn.T * Zm.T where Pg is true
SVE_ROUTINE sve_mad_zpzz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                         aarch64_z_reg za);
SVE_ROUTINE sve_msb_zpzz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                         aarch64_z_reg za);

// ---- Reference functions -----------------------------------------------------------------------
//
// Operands in the order of the handler's name, the merge source first where there is one.

// Zn op Zm
#define VVX(type, op) SVE_REFERENCE VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *);
// Zdn op Zm where Pg is true
#define VVM(type, op)                                                                              \
    SVE_REFERENCE VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *);
// op Zn where Pg is true, else Zd
#define VM(type, op) SVE_REFERENCE VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *);
// Zdn op immediate of the element's type
#define VIX(type, T, op) SVE_REFERENCE VecT Vec##type##op##VIX(VecT dn, T immediate, CpuContext *);
// Zda, Pg, Zn, Zm; or Zdn, Pg, Zm, Za
#define VVVM(type, op)                                                                             \
    SVE_REFERENCE VecT Vec##type##op##VVVM(VecT a, PredV pg, VecT b, VecT c, CpuContext *);

#define UNSIGNED(U, T)                                                                             \
    VVX(U, Add)                                                                                    \
    VVX(U, Sub)                                                                                    \
    VVM(U, Add)                                                                                    \
    VVM(U, Sub)                                                                                    \
    VVM(U, SubR)                                                                                   \
    VVM(U, Abd)                                                                                    \
    VVM(U, MulH)                                                                                   \
    VVM(U, Max) VVM(U, Min) VIX(U, T, Add) VIX(U, T, Sub) VIX(U, T, SubR) VIX(U, T, Max)           \
        VIX(U, T, Min)
#define SIGNED(S, T)                                                                               \
    VVM(S, Abd)                                                                                    \
    VVM(S, Mul)                                                                                    \
    VVM(S, MulH)                                                                                   \
    VVM(S, Max)                                                                                    \
    VVM(S, Min)                                                                                    \
    VM(S, Abs)                                                                                     \
    VM(S, Neg)                                                                                     \
    VIX(S, T, Mul) VIX(S, T, Max) VIX(S, T, Min) VVVM(S, MLA) VVVM(S, MLS) VVVM(S, MADD)           \
        VVVM(S, MSUB)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

VVM(S32, Div)
VVM(S64, Div)
VVM(U32, Div)
VVM(U64, Div)
VVM(S32, DivR)
VVM(S64, DivR)
VVM(U32, DivR)
VVM(U64, DivR)

    VM(S16, Extnd12) VM(S32, Extnd14) VM(S64, Extnd18) VM(S32, Extnd24) VM(S64, Extnd28)
        VM(S64, Extnd48) VM(U16, Extnd12) VM(U32, Extnd14) VM(U64, Extnd18) VM(U32, Extnd24)
            VM(U64, Extnd28) VM(U64, Extnd48)

#undef VVX
#undef VVM
#undef VM
#undef VIX
#undef VVVM
#undef UNSIGNED
#undef SIGNED
