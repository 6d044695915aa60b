#pragma once

// Translations of partition breaks. They take the operands of the direct routines of the same names, or such as theirs.

#include "sve/native/code.h"

namespace sve {

// Inactive elements become 0 where pg.size says so, else they stay.
#define BREAK(name)                                                                                \
    void native_##name##_ppp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn);
BREAK(brka)
BREAK(brkas)
BREAK(brkb)
BREAK(brkbs)
BREAK(brkn) // pd is Pdm, too
BREAK(brkns)
#undef BREAK

#define PREVIOUS(name)                                                                             \
    void native_##name##_pppp(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                              aarch64_p_reg pn, aarch64_p_reg pm);
PREVIOUS(brkpa)
PREVIOUS(brkpas)
PREVIOUS(brkpb)
PREVIOUS(brkpbs)
#undef PREVIOUS

} // namespace sve
