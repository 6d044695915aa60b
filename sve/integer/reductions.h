#pragma once

// Horizontal reductions: SADDV, UADDV, ANDV, ORV, EORV, SMAXV, SMINV, UMAXV, UMINV. The active elements of
// one vector are folded into a scalar in the low bits of a V register; the rest of the Z row becomes 0.
// Without an active element the result is the identity: 0, all ones for ANDV and UMINV, the extremes for
// SMAXV and SMINV. Sums are of 64 bits. No flag or status changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// V register `vd` = fold of Zn.T where Pg is true. All return AARCH64_DECODE_OK. T is zn.size.

#define REDUCTION(name)                                                                            \
    SVE_ROUTINE sve_##name##_vpz(cpu_state *, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn);
REDUCTION(uaddv)
REDUCTION(andv)
REDUCTION(orv)
REDUCTION(eorv)
REDUCTION(smaxv)
REDUCTION(sminv)
REDUCTION(umaxv)
REDUCTION(uminv)
#undef REDUCTION

// ---- Reference functions --------------------------------------------------------------------------
//
// The reduced value in 64 bits; those above the element don't count, but for sums.

#define REDUCE(type, op)                                                                           \
    SVE_REFERENCE unsigned long Vec##type##op##ReduceV(PredV pg, VecT n, CpuContext *);
#define UNSIGNED(U, T)                                                                             \
    REDUCE(U, Add) REDUCE(U, And) REDUCE(U, Or) REDUCE(U, Xor) REDUCE(U, Max) REDUCE(U, Min)
#define SIGNED(S, T) REDUCE(S, Max) REDUCE(S, Min)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)
REDUCE(S8, Add)
REDUCE(S16, Add)
REDUCE(S32, Add)
#undef REDUCE
#undef UNSIGNED
#undef SIGNED
