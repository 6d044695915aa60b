#pragma once

// Translations of permutes of predicates. They take the operands of the direct routines of the same names, or such as
// theirs.

#include "sve/native/code.h"

namespace sve {

#define BINARY(name)                                                                               \
    void native_##name##_ppp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
BINARY(zip1)
BINARY(zip2)
BINARY(uzp1)
BINARY(uzp2)
BINARY(trn1)
BINARY(trn2)
#undef BINARY

void native_rev_pp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pn);
void native_punpklo_pp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pn);
void native_punpkhi_pp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pn);

} // namespace sve
