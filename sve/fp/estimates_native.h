#pragma once

// Translations of floating-point estimates and accelerators. They take the operands of their rows, as direct routines
// would.

#include "sve/native/code.h"

namespace sve {

#define UNARY(name) void native_##name##_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);
#define BINARY(name)                                                                               \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// clang-format off
UNARY(frecpe) BINARY(frecps)
UNARY(frsqrte) BINARY(frsqrts)
UNARY(fexpa) BINARY(ftsmul) BINARY(ftssel)
// clang-format on
#undef UNARY
#undef BINARY
    void native_frecpx_zpz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
void native_fscale_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
void native_ftmad_zzi(native::code &c, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned index);

} // namespace sve
