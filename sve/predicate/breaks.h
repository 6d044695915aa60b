#pragma once

// Partition breaks: BRKA, BRKB, BRKN, BRKPA, BRKPB and their flag-setting forms. All on the byte view.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. Pd may be any source.

// BRKA, BRKB Pd.B, Pg/M or /Z, Pn.B: true in the active elements up to the first active true one of Pn,
// including (A) or excluding (B) it. Inactive ones become 0 where pg.size is 5, else they stay.
SVE_ROUTINE sve_brka_ppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn);
SVE_ROUTINE sve_brkb_ppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn);
// BRKN, BRKNS Pdm.B, Pg/Z, Pn.B, Pdm.B: Pdm stays if Pn is true at the last active element, else it
// becomes 0. Flags by all elements.
SVE_ROUTINE sve_brkn_ppp(cpu_state *, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn);
SVE_ROUTINE sve_brkns_ppp(cpu_state *, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn);
// BRKPB, BRKPBS Pd.B, Pg/Z, Pn.B, Pm.B: if Pn is true at the last active element, as BRKB of Pm, else 0.
// Flags by Pg.
SVE_ROUTINE sve_brkpb_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                           aarch64_p_reg pm);
SVE_ROUTINE sve_brkpbs_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                            aarch64_p_reg pm);

// What the two forms of each share.
SVE_ROUTINE sve_brkn(cpu_state *, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn,
                     bool set_flags);
SVE_ROUTINE sve_brkpb(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                      aarch64_p_reg pm, bool set_flags);

// ---- Reference functions --------------------------------------------------------------------------

SVE_REFERENCE PredV VecPBreakAPM(PredV d, PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakBPM(PredV d, PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakAPZ(PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakBPZ(PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakAFlgPZ(PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakBFlgPZ(PredV pg, PredV n, CpuContext *);
SVE_REFERENCE PredV VecPBreakNextPZ(PredV pg, PredV n, PredV dm, CpuContext *);
SVE_REFERENCE PredV VecPBreakNextFlgPZ(PredV pg, PredV n, PredV dm, CpuContext *);
SVE_REFERENCE PredV VecPBreakPrevAPZ(PredV pg, PredV n, PredV m, CpuContext *);
SVE_REFERENCE PredV VecPBreakPrevAFlgPZ(PredV pg, PredV n, PredV m, CpuContext *);
SVE_REFERENCE PredV VecPBreakPrevBPZ(PredV pg, PredV n, PredV m, CpuContext *);
SVE_REFERENCE PredV VecPBreakPrevBFlgPZ(PredV pg, PredV n, PredV m, CpuContext *);
