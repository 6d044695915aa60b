#pragma once

// Translations of integer compares. They take the operands of the direct routines of the same names (compares.h), or
// what these would take.

#include "sve/native/code.h"

namespace sve {

#define VECTORS(name)                                                                              \
    void native_cmp##name##_ppzz(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg,              \
                                 aarch64_z_reg zn, aarch64_z_reg zm);
#define WITH_IMMEDIATE(name, Immediate)                                                            \
    void native_cmp##name##_ppzi(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg,              \
                                 aarch64_z_reg zn, Immediate immediate);
#define SIGNED(name) VECTORS(name) VECTORS(name##_wide) WITH_IMMEDIATE(name, int)
#define UNSIGNED(name) VECTORS(name) VECTORS(name##_wide) WITH_IMMEDIATE(name, unsigned)
SIGNED(eq)
SIGNED(ne)
SIGNED(ge)
SIGNED(gt)
SIGNED(le)
SIGNED(lt)
UNSIGNED(hs)
UNSIGNED(hi)
UNSIGNED(ls)
UNSIGNED(lo)

#undef VECTORS
#undef WITH_IMMEDIATE
#undef SIGNED
#undef UNSIGNED

} // namespace sve
