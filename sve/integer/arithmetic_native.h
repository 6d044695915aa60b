#pragma once

// Translations of integer arithmetic. They take the operands of the direct routines of the same names (arithmetic.h),
// or what these would take.

#include "sve/native/code.h"

namespace sve {

#define ZZZ(name)                                                                                  \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
ZZZ(add)
ZZZ(sub)

#define ZPZ(name)                                                                                  \
    void native_##name##_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                 \
                             aarch64_z_reg zm);
ZPZ(add)
ZPZ(sub)
ZPZ(subr)
ZPZ(sabd)
ZPZ(uabd)
ZPZ(mul)
ZPZ(smulh)
ZPZ(umulh)
ZPZ(sdiv)
ZPZ(udiv)
ZPZ(sdivr)
ZPZ(udivr)
ZPZ(smin)
ZPZ(smax)
ZPZ(umin)
ZPZ(umax)

// Zd, Pg, Zn
ZPZ(abs)
ZPZ(neg)
ZPZ(sxtb)
ZPZ(sxth)
ZPZ(sxtw)
ZPZ(uxtb)
ZPZ(uxth)
ZPZ(uxtw)

#define ZPZZ(name)                                                                                 \
    void native_##name##_zpzz(native::code &c, aarch64_z_reg za, aarch64_p_reg pg,                 \
                              aarch64_z_reg zb, aarch64_z_reg zc);
ZPZZ(mla)
ZPZZ(mls)
ZPZZ(mad)
ZPZZ(msb)

#define ZI(name, Immediate)                                                                        \
    void native_##name##_zi(native::code &c, aarch64_z_reg zdn, Immediate immediate);
ZI(add, unsigned)
ZI(sub, unsigned)
ZI(subr, unsigned)
ZI(mul, int)
ZI(smax, int)
ZI(smin, int)
ZI(umax, unsigned)
ZI(umin, unsigned)

#undef ZZZ
#undef ZPZ
#undef ZPZZ
#undef ZI

} // namespace sve
