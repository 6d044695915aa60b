#pragma once

// Translations of what makes predicates. They take the operands of the direct routines of the same names; those without one
// take the operands of their rows.

#include "sve/native/code.h"

namespace sve {

void native_ptrue_pi(native::code &c, aarch64_p_reg pd, unsigned pattern);
void native_ptrues_pi(native::code &c, aarch64_p_reg pd, unsigned pattern);
void native_pfalse_p(native::code &c, aarch64_p_reg pd);

void native_pfirst_p(native::code &c, aarch64_p_reg pg, aarch64_p_reg pdn);
void native_pnext_pp(native::code &c, aarch64_p_reg pdn, aarch64_p_reg pg);

void native_whilelt_prr(native::code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
void native_whilele_prr(native::code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
void native_whilelo_prr(native::code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
void native_whilels_prr(native::code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);

void native_ctermeq_rr(native::code &c, aarch64_i_reg rn, aarch64_i_reg rm);
void native_ctermne_rr(native::code &c, aarch64_i_reg rn, aarch64_i_reg rm);

// The first-fault register
void native_rdffr_p(native::code &c, aarch64_p_reg pd);
void native_rdffr_pp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg);
void native_rdffrs_pp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg);
void native_wrffr_p(native::code &c, aarch64_p_reg pn);
void native_setffr(native::code &c);

} // namespace sve
