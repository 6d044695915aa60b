#pragma once

// Permutes of predicates: ZIP, UZP, TRN, REV, PUNPKLO, PUNPKHI. No flags. All bits of an element move
// together.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is pd.size. Pd may be any source.

// Pd.T = the lower (1) or upper (2) halves of Pn.T and Pm.T interleaved
SVE_ROUTINE sve_zip1_ppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
SVE_ROUTINE sve_zip2_ppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
// Pd.T = the even elements of Pn.T, then those of Pm.T
SVE_ROUTINE sve_uzp1_ppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
// Pd.T = Pn.T in reverse order
SVE_ROUTINE sve_rev_pp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn);
// Pd.H = the lower or upper half of Pn.B
SVE_ROUTINE sve_punpklo_pp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn);
SVE_ROUTINE sve_punpkhi_pp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pn);

// ---- Reference functions --------------------------------------------------------------------------

#define PP(bits, op) SVE_REFERENCE PredV VecP##bits##op##PP(PredV n, PredV m, CpuContext *);
#define P(bits)                                                                                    \
    PP(bits, Zip1)                                                                                 \
    PP(bits, Zip2)                                                                                 \
    PP(bits, Uzp1)                                                                                 \
    PP(bits, Uzp2)                                                                                 \
    PP(bits, Trn1) PP(bits, Trn2) SVE_REFERENCE PredV VecP##bits##ReverseP(PredV n, CpuContext *);
P(8)
P(16)
P(32)
P(64)
SVE_REFERENCE PredV VecPUnpackLoP(PredV n, CpuContext *);
SVE_REFERENCE PredV VecPUnpackHiP(PredV n, CpuContext *);
#undef PP
#undef P
