#pragma once

// Predicate logic: AND, BIC, EOR, ORR, ORN, NAND, NOR, the same with flags (ANDS, …), SEL, PTEST.
//
// All work on single predicate bits, whatever the element size. Where Pg is not true the result is
// 0, but for SEL. The flags of the S forms and of PTEST follow flags.h; the other forms leave them
// alone.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ----------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK.

// Pd = Pn op Pm where Pg is true. Elsewhere 0 if Pg is zeroing; with any other qualifier Pd keeps
// its value. BIC is AND with the complement of Pm.
SVE_ROUTINE sve_and_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);
SVE_ROUTINE sve_bic_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);
SVE_ROUTINE sve_eor_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);
SVE_ROUTINE sve_orr_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);
SVE_ROUTINE sve_nor_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);

// Pd = Pn where Pg is true, else Pm
SVE_ROUTINE sve_sel_pppp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm);

// The flags of Pn under the mask Pg; no predicate is written.
SVE_ROUTINE sve_ptest_pp(cpu_state *, aarch64_p_reg pg, aarch64_p_reg pn);

// ---- Reference functions ------------------------------------------------------------------------

// Pn op Pm where Pg is true, else 0; and with flags. OrN is Pn OR NOT Pm.
#define PPZ(op)                                                                                    \
    SVE_REFERENCE PredV VecP##op##PPZ(PredV pg, PredV n, PredV m, CpuContext *);                   \
    SVE_REFERENCE PredV VecP##op##FlgPPZ(PredV pg, PredV n, PredV m, CpuContext *);
PPZ(And)
PPZ(Bic)
PPZ(Xor)
PPZ(Or)
PPZ(OrN)
PPZ(Nand)
PPZ(Nor)
#undef PPZ

// Pn where Pg is true, else Pm
SVE_REFERENCE PredV VecPSelPP(PredV pg, PredV n, PredV m, CpuContext *);
// The flags of Pn under the mask Pg
SVE_REFERENCE void VecPTestPZ(PredV pg, PredV n, CpuContext *);
