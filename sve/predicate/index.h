#pragma once

// INDEX, which fills a vector with a sequence, and what follows from the vector length alone: ADDVL, ADDPL,
// RDVL. No flag or status changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK.

// Element e of Zd.T = base + e · step, cut to the element. T is zd.size.
SVE_ROUTINE sve_index_zii(cpu_state *, aarch64_z_reg zd, int base, int step);
SVE_ROUTINE sve_index_zir(cpu_state *, aarch64_z_reg zd, int base, aarch64_i_reg step);
SVE_ROUTINE sve_index_zri(cpu_state *, aarch64_z_reg zd, aarch64_i_reg base, int step);
SVE_ROUTINE sve_index_zrr(cpu_state *, aarch64_z_reg zd, aarch64_i_reg base, aarch64_i_reg step);

// Rd = Rn + imm times the bytes of a vector or of a predicate
SVE_ROUTINE sve_addvl_rri(cpu_state *, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);
SVE_ROUTINE sve_addpl_rri(cpu_state *, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);
// Xd = imm times the bytes of a vector
SVE_ROUTINE sve_rdvl_ri(cpu_state *, aarch64_i_reg xd, int imm);

// ---- Reference functions --------------------------------------------------------------------------

// Base and step are immediates (I) or scalars (S), cut to the element.
#define INDEX(S, T)                                                                                \
    SVE_REFERENCE VecT Vec##S##IndexII(T base, T step, CpuContext *);                              \
    SVE_REFERENCE VecT Vec##S##IndexIS(T base, T step, CpuContext *);                              \
    SVE_REFERENCE VecT Vec##S##IndexSI(T base, T step, CpuContext *);                              \
    SVE_REFERENCE VecT Vec##S##IndexSS(T base, T step, CpuContext *);
SVE_SIGNED_TYPES(INDEX)
#undef INDEX

// ADDVL, ADDPL, RDVL: what the destination becomes
SVE_REFERENCE unsigned long VecS64AddVLX(unsigned long n, int imm, CpuContext *);
SVE_REFERENCE unsigned long VecS64AddPLX(unsigned long n, int imm, CpuContext *);
SVE_REFERENCE unsigned long VecS64VLX(int imm, CpuContext *);
