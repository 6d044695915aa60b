#pragma once

// Translations of INDEX, and of what follows from the vector length alone. They take the operands of the direct routines of
// the same names.

#include "sve/native/code.h"

namespace sve {

void native_index_zii(native::code &c, aarch64_z_reg zd, int base, int step);
void native_index_zir(native::code &c, aarch64_z_reg zd, int base, aarch64_i_reg step);
void native_index_zri(native::code &c, aarch64_z_reg zd, aarch64_i_reg base, int step);
void native_index_zrr(native::code &c, aarch64_z_reg zd, aarch64_i_reg base, aarch64_i_reg step);

void native_addvl_rri(native::code &c, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);
void native_addpl_rri(native::code &c, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);
void native_rdvl_ri(native::code &c, aarch64_i_reg xd, int imm);

} // namespace sve
