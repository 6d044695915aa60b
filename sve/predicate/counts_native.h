#pragma once

// Translations of element counts. They take the operands of the direct routines of the same names, or such as theirs.

#include "sve/native/code.h"

namespace sve {

// By patterns: Xd = count; Rdn ± count, Zdn ± count, also saturating.
#define SCALAR(name)                                                                               \
    void native_##name##_rii(native::code &c, aarch64_i_reg rd, unsigned pattern,                  \
                             unsigned multiplier);
#define VECTOR(name)                                                                               \
    void native_##name##_zii(native::code &c, aarch64_z_reg zdn, unsigned pattern,                 \
                             unsigned multiplier);
#define BY_SIZE(shape, name) shape(name##h) shape(name##w) shape(name##d)
#define CHANGED(name) SCALAR(name##b) BY_SIZE(SCALAR, name) BY_SIZE(VECTOR, name)
SCALAR(cntb)
BY_SIZE(SCALAR, cnt)
CHANGED(inc)
CHANGED(dec)
CHANGED(sqinc)
CHANGED(sqdec)
CHANGED(uqinc)
CHANGED(uqdec)
#undef SCALAR
#undef VECTOR
#undef BY_SIZE
#undef CHANGED

// By predicates
void native_cntp_rpp(native::code &c, aarch64_i_reg xd, aarch64_p_reg pg, aarch64_p_reg pn);
#define ACTIVE(name)                                                                               \
    void native_##name##_rp(native::code &c, aarch64_i_reg rdn, aarch64_p_reg pn);                 \
    void native_##name##_zp(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pn);
ACTIVE(incp)
ACTIVE(decp)
ACTIVE(sqincp)
ACTIVE(sqdecp)
ACTIVE(uqincp)
ACTIVE(uqdecp)
#undef ACTIVE

} // namespace sve
