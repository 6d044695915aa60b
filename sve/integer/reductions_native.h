#pragma once

// Translations of horizontal reductions. They take the operands of the direct routines of the same names
// (reductions.h), or what these would take.

#include "sve/native/code.h"

namespace sve {

#define REDUCTION(name)                                                                            \
    void native_##name##_vpz(native::code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
REDUCTION(saddv)
REDUCTION(uaddv)
REDUCTION(andv)
REDUCTION(orv)
REDUCTION(eorv)
REDUCTION(smaxv)
REDUCTION(sminv)
REDUCTION(umaxv)
REDUCTION(uminv)
#undef REDUCTION

} // namespace sve
