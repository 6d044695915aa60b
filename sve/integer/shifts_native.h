#pragma once

// Translations of shifts. They take the operands of the direct routines of the same names (shifts.h), or what these
// would take.

#include "sve/native/code.h"

namespace sve {

// Zdn shifted by Zm, or the reverse, or by the wide elements of Zm, where Pg is true
#define ZPZ(name)                                                                                  \
    void native_##name##_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                 \
                             aarch64_z_reg zm);
// Zn shifted by the wide elements of Zm
#define ZZZ(name)                                                                                  \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zdn shifted by a count where Pg is true; Zn shifted by a count
#define ZPI(name)                                                                                  \
    void native_##name##_zpi(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned count);
#define ZZI(name)                                                                                  \
    void native_##name##_zzi(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, unsigned count);
#define SHIFT(name) ZPZ(name) ZPZ(name##r) ZPZ(name##_wide) ZZZ(name##_wide) ZPI(name) ZZI(name)
SHIFT(lsl)
SHIFT(lsr)
SHIFT(asr)
ZPI(asrd)

// ADR: Zn + Zm, or the low words of Zm, extended, times 2 to the power of a scale.
#define ADR(name)                                                                                  \
    template <unsigned scale>                                                                      \
    void native_adr_##name(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
ADR(scaled)
ADR(sxtw)
ADR(uxtw)

#undef ZPZ
#undef ZZZ
#undef ZPI
#undef ZZI
#undef SHIFT
#undef ADR

} // namespace sve
