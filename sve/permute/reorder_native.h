#pragma once

// Translations of interleaving, table lookup and reordering. They take the operands of the direct routines of the same
// names; those that have none, destination, predicate, sources.

#include "sve/native/code.h"

namespace sve {

#define ZZZ(name)                                                                                  \
    void native_##name##_zzz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
ZZZ(zip1)
ZZZ(zip2)
ZZZ(uzp1)
ZZZ(uzp2)
ZZZ(trn1)
ZZZ(trn2)
ZZZ(tbl)
#undef ZZZ

void native_rev_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);
void native_ext_zzi(native::code &c, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned offset);
void native_splice_zpz(native::code &c, aarch64_p_reg pg, aarch64_z_reg zdn, aarch64_z_reg zm);
void native_compact_zpz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);

// Zn has the narrower elements.
void native_sunpklo_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);
void native_sunpkhi_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);
void native_uunpklo_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);
void native_uunpkhi_zz(native::code &c, aarch64_z_reg zd, aarch64_z_reg zn);

void native_insr_zr(native::code &c, aarch64_z_reg zdn, aarch64_i_reg rm);
void native_insr_zv(native::code &c, aarch64_z_reg zdn, unsigned vm);

} // namespace sve
