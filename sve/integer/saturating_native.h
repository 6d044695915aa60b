#pragma once

// Translations of saturating arithmetic and dot products. They take the operands of the rows. The native saturating
// instructions would set a bit of FPSR.

#include "sve/native/code.h"

namespace sve {

#define ZZZ(name)                                                                                  \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
#define ZI(name) void native_##name##_zi(native::code &c, aarch64_z_reg zdn, unsigned immediate);
#define SATURATING(name) ZZZ(name) ZI(name)
SATURATING(sqadd)
SATURATING(uqadd)
SATURATING(sqsub)
SATURATING(uqsub)

#define DOT(name)                                                                                  \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zn, aarch64_z_reg zm,                  \
                             aarch64_z_reg zda);                                                   \
    void native_##name##_zzzi(native::code &c, aarch64_z_reg zn, aarch64_z_reg zm,                 \
                              aarch64_z_reg zda, unsigned index);
DOT(sdot)
DOT(udot)

#undef ZZZ
#undef ZI
#undef SATURATING
#undef DOT

} // namespace sve
