#pragma once

// Translations of element extraction. They take the operands of the direct routines of the same names; those that have none,
// destination, predicate, source.

#include "sve/native/code.h"

namespace sve {

#define LAST(name)                                                                                 \
    void native_##name##_rpz(native::code &c, aarch64_i_reg rd, aarch64_p_reg pg,                  \
                             aarch64_z_reg zn);                                                    \
    void native_##name##_vpz(native::code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
LAST(lasta)
LAST(lastb)
LAST(clasta)
LAST(clastb)
#undef LAST

void native_clasta_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
void native_clastb_zpz(native::code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);

} // namespace sve
