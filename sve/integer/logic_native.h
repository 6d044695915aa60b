#pragma once

// Translations of operations on the bits of elements. They take the operands of the direct routines of the same names
// (logic.h), or what these would take.

#include "sve/native/code.h"

namespace sve {

#define BITWISE(name)                                                                              \
    void native_##name##_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                 \
                             aarch64_z_reg zm);                                                    \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
BITWISE(and)
BITWISE(orr)
BITWISE(eor)
BITWISE(bic)
#undef BITWISE

#define ZI(name)                                                                                   \
    void native_##name##_zi(native::code &c, aarch64_z_reg zdn,                                    \
                            aarch64_sve_logical64_imm immediate);
ZI(and)
ZI(orr)
ZI(eor)
#undef ZI

// Zd = op Zn where Pg is true.
#define ZPZ(name)                                                                                  \
    void native_##name##_zpz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
ZPZ(not )
ZPZ(cnot)
ZPZ(cls)
ZPZ(clz)
ZPZ(cnt)
ZPZ(rbit)
ZPZ(revb)
ZPZ(revh)
ZPZ(revw)
#undef ZPZ

} // namespace sve
