#pragma once

// Translations of fused multiply-add and complex arithmetic. They take the operands of their rows, as direct routines
// would.

#include "sve/native/code.h"

namespace sve {

// Zda = ±Zda ± Zn * Zm; and Zdn = ±Za ± Zdn * Zm
#define ACCUMULATE(name)                                                                           \
    void native_##name##_zpzz(native::code &c, aarch64_z_reg zda, aarch64_p_reg pg,                \
                              aarch64_z_reg zn, aarch64_z_reg zm);
#define MULTIPLY(name)                                                                             \
    void native_##name##_zpzz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                \
                              aarch64_z_reg zm, aarch64_z_reg za);
// clang-format off
ACCUMULATE(fmla) ACCUMULATE(fmls) ACCUMULATE(fnmla) ACCUMULATE(fnmls)
MULTIPLY(fmad) MULTIPLY(fmsb) MULTIPLY(fnmad) MULTIPLY(fnmsb)
// clang-format on
#undef ACCUMULATE
#undef MULTIPLY

    // With an element of each segment of Zm
    void native_fmla_zzzi(native::code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                          unsigned index);
void native_fmls_zzzi(native::code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                      unsigned index);
void native_fmul_zzzi(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                      unsigned index);

// Complex numbers
void native_fcadd_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                      unsigned rot);
void native_fcmla_zpzz(native::code &c, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                       aarch64_z_reg zm, unsigned rot);
void native_fcmla_zzzi(native::code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                       unsigned index, unsigned rot);

} // namespace sve
