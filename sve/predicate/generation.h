#pragma once

// Predicates made from nothing, from general registers, or by a search: PTRUE, PTRUES, PFALSE, PFIRST,
// PNEXT, WHILELT, WHILELE, WHILELO, WHILELS; and CTERMEQ, CTERMNE, which only set flags.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK.

// PTRUE Pd.T, pattern. T is pd.size. A pattern without a name gives an empty predicate.
SVE_ROUTINE sve_ptrue_pi(cpu_state *, aarch64_p_reg pd, unsigned int pattern);
// PFALSE Pd.B. No flags.
SVE_ROUTINE sve_pfalse_p(cpu_state *, aarch64_p_reg pd);
// PNEXT Pdn.T, Pg, Pdn.T: the first active element behind the last true one of Pdn. T is pdn.src_size.
// Flags by Pg.
SVE_ROUTINE sve_pnext_pp(cpu_state *, aarch64_p_reg pdn, aarch64_p_reg pg);

// WHILELT, WHILELO, WHILELS Pd.T, Rn, Rm: element e is true while Rn + e is less than Rm (signed,
// unsigned), or no more than it (unsigned). T is pd.size; rn.size is 3 for X registers, 2 for W. Flags by
// all elements.
SVE_ROUTINE sve_whilelt_prr(cpu_state *, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
SVE_ROUTINE sve_whilelo_prr(cpu_state *, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
SVE_ROUTINE sve_whilels_prr(cpu_state *, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);

// ---- Reference functions --------------------------------------------------------------------------

// PTRUE and PTRUES; PNEXT
#define P(bits)                                                                                    \
    SVE_REFERENCE PredV VecP##bits##TrueI(unsigned pattern, CpuContext *);                         \
    SVE_REFERENCE PredV VecP##bits##TrueFlgI(unsigned pattern, CpuContext *);                      \
    SVE_REFERENCE PredV VecP##bits##GenNextP(PredV pg, PredV dn, CpuContext *);
P(8)
P(16)
P(32)
P(64)
SVE_REFERENCE PredV VecPFalse(CpuContext *);
SVE_REFERENCE PredV VecPSetFirstActiveP(PredV pg, PredV dn, CpuContext *);

// WHILE on 4 or 8 bytes of the registers, by the sign of the type
#define WHILE(type, sign)                                                                          \
    SVE_REFERENCE PredV Vec##type##While4LTSS(sign##32_t n, sign##32_t m, CpuContext *);           \
    SVE_REFERENCE PredV Vec##type##While4LESS(sign##32_t n, sign##32_t m, CpuContext *);           \
    SVE_REFERENCE PredV Vec##type##While8LTSS(sign##64_t n, sign##64_t m, CpuContext *);           \
    SVE_REFERENCE PredV Vec##type##While8LESS(sign##64_t n, sign##64_t m, CpuContext *);
#define UNSIGNED(U, T) WHILE(U, uint)
#define SIGNED(S, T) WHILE(S, int)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

// If the condition holds: N = 1, V = 0; else N = 0, V = not C. Z and C stay.
SVE_REFERENCE void VecU32CTermEQ(uint32_t n, uint32_t m, CpuContext *);
SVE_REFERENCE void VecU64CTermEQ(uint64_t n, uint64_t m, CpuContext *);
SVE_REFERENCE void VecU32CTermNE(uint32_t n, uint32_t m, CpuContext *);
SVE_REFERENCE void VecU64CTermNE(uint64_t n, uint64_t m, CpuContext *);

#undef P
#undef WHILE
#undef UNSIGNED
#undef SIGNED
