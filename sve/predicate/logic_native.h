#pragma once

// Translations of predicate logic. They take the operands of the direct routines of the same names, and the S forms those
// of the others.

#include "sve/native/code.h"

namespace sve {

#define LOGIC(name)                                                                                \
    void native_##name##_pppp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                              aarch64_p_reg pn, aarch64_p_reg pm);
#define WITH_FLAGS(name) LOGIC(name) LOGIC(name##s)
WITH_FLAGS(and)
WITH_FLAGS(bic)
WITH_FLAGS(eor)
WITH_FLAGS(orr)
WITH_FLAGS(orn)
WITH_FLAGS(nand)
WITH_FLAGS(nor)
LOGIC(sel)
#undef WITH_FLAGS
#undef LOGIC

void native_ptest_pp(native::code &c, aarch64_p_reg pg, aarch64_p_reg pn);

} // namespace sve
