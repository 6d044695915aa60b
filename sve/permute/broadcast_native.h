#pragma once

// Translations of broadcast, copy and select. They take the operands of the direct routines of the same names.

#include "sve/native/code.h"

namespace sve {

void native_dup_zi(native::code &c, aarch64_z_reg zd, int immediate);
void native_dup_zr(native::code &c, aarch64_z_reg zd, aarch64_i_rsp_reg rn);
void native_fdup_zi(native::code &c, aarch64_z_reg zd, aarch64_sve_fp_dup_imm immediate);
void native_dupm_zi(native::code &c, aarch64_z_reg zd, aarch64_sve_logical64_imm immediate);
void native_dup_zzi(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, unsigned index);

void native_cpy_zpi(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, int immediate);
void native_fcpy_zpi(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg,
                     aarch64_sve_fp_dup_imm immediate);
void native_cpy_zpr(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_i_rsp_reg rn);
void native_cpy_zpv(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, unsigned vn);

void native_sel_zpzz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                     aarch64_z_reg zm);
void native_movprfx_zpz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
void native_movprfx_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);

} // namespace sve
