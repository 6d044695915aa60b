#pragma once

// Translations of floating-point arithmetic. They take the operands of the direct routines of the same names, and of
// those that would be.

#include "sve/native/code.h"

namespace sve {

#define UNPREDICATED(op)                                                                           \
    void native_##op##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
#define PREDICATED(op)                                                                             \
    void native_##op##_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
#define IMMEDIATE(op)                                                                              \
    void native_##op##_zpi(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                   \
                           aarch64_sve_fp_arith_imm imm);
// clang-format off
UNPREDICATED(fadd) PREDICATED(fadd) IMMEDIATE(fadd)
UNPREDICATED(fsub) PREDICATED(fsub) IMMEDIATE(fsub)
PREDICATED(fsubr) IMMEDIATE(fsubr)
UNPREDICATED(fmul) PREDICATED(fmul) IMMEDIATE(fmul)
PREDICATED(fmulx) PREDICATED(fdiv) PREDICATED(fdivr) PREDICATED(fabd)
PREDICATED(fmax) IMMEDIATE(fmax) PREDICATED(fmaxnm) IMMEDIATE(fmaxnm)
PREDICATED(fmin) IMMEDIATE(fmin) PREDICATED(fminnm) IMMEDIATE(fminnm)
// Zd = op Zn
PREDICATED(fabs) PREDICATED(fneg) PREDICATED(fsqrt)
PREDICATED(frintn) PREDICATED(frintp) PREDICATED(frintm) PREDICATED(frintz) PREDICATED(frinta)
PREDICATED(frinti) PREDICATED(frintx)
// clang-format on
#undef UNPREDICATED
#undef PREDICATED
#undef IMMEDIATE

} // namespace sve
