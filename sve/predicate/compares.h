#pragma once

// Integer compares: CMPEQ, CMPNE, CMPGE, CMPGT, CMPLE, CMPLT of signed elements, CMPHS, CMPHI,
// CMPLS, CMPLO of unsigned ones; of two vectors, of a vector and the doublewords of another, of a
// vector and an immediate.
//
// The result is a predicate: true where Pg is true and the relation holds, in the first bit of each
// element; all its other bits are 0. The flags are set by it under the mask Pg (flags.h).

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ----------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is pd.size.

// Pd.T = Zn.T related to Zm.T
SVE_ROUTINE sve_cmpeq_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);
SVE_ROUTINE sve_cmpne_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);
SVE_ROUTINE sve_cmpge_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);
SVE_ROUTINE sve_cmpgt_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);
SVE_ROUTINE sve_cmphs_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);
SVE_ROUTINE sve_cmphi_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);

// Pd.T = Zn.T related to the immediate, which is extended to 64 bits by its type, then truncated to
// the element.
SVE_ROUTINE sve_cmpeq_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           int immediate);
SVE_ROUTINE sve_cmpne_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           int immediate);
SVE_ROUTINE sve_cmpgt_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           int immediate);
SVE_ROUTINE sve_cmple_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           int immediate);
SVE_ROUTINE sve_cmplt_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           int immediate);
SVE_ROUTINE sve_cmphi_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           unsigned int immediate);
SVE_ROUTINE sve_cmplo_ppzi(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                           unsigned int immediate);

// ---- Reference functions ------------------------------------------------------------------------

// Zn related to Zm
#define VVZ(type, relation)                                                                        \
    SVE_REFERENCE PredV Vec##type##CmpFlg##relation##VVZ(PredV pg, VecT n, VecT m, CpuContext *);
// Zn related to the doubleword of Zm that the element lies in, both extended to 64 bits by the
// type's sign
#define VWZ(type, relation)                                                                        \
    SVE_REFERENCE PredV Vec##type##CmpFlg##relation##VWZ(PredV pg, VecT n, VecT m, CpuContext *);
// Zn related to an immediate of the element's type
#define VIZ(type, T, relation)                                                                     \
    SVE_REFERENCE PredV Vec##type##CmpFlg##relation##VIZ(PredV pg, VecT n, T immediate,            \
                                                         CpuContext *);

#define WITH_IMMEDIATE(type, T) VIZ(type, T, GE) VIZ(type, T, GT) VIZ(type, T, LE) VIZ(type, T, LT)
#define SIGNED(S, T)                                                                               \
    VVZ(S, EQ) VVZ(S, NE) VVZ(S, GE) VVZ(S, GT) VIZ(S, T, EQ) VIZ(S, T, NE) WITH_IMMEDIATE(S, T)
#define UNSIGNED(U, T) VVZ(U, GE) VVZ(U, GT) WITH_IMMEDIATE(U, T)
SVE_SIGNED_TYPES(SIGNED)
SVE_UNSIGNED_TYPES(UNSIGNED)

#define WIDE(type) VWZ(type, GE) VWZ(type, GT) VWZ(type, LE) VWZ(type, LT)
#define WIDE_SIGNED(S) VWZ(S, EQ) VWZ(S, NE) WIDE(S)
WIDE_SIGNED(S8)
WIDE_SIGNED(S16)
WIDE_SIGNED(S32)
WIDE(U8)
WIDE(U16)
WIDE(U32)

#undef VVZ
#undef VWZ
#undef VIZ
#undef WITH_IMMEDIATE
#undef SIGNED
#undef UNSIGNED
#undef WIDE
#undef WIDE_SIGNED
