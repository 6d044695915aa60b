#pragma once

// Translations of floating-point reductions. They take the operands of the direct routines of the same names, and of
// those that would be.

#include "sve/core/operands.h"
#include "sve/native/code.h"

namespace sve {

#define TREE(name)                                                                                 \
    void native_##name##_vpz(native::code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
// clang-format off
TREE(faddv) TREE(fmaxv) TREE(fminv) TREE(fmaxnmv) TREE(fminnmv)
// clang-format on
#undef TREE
    void native_fadda_vpz(native::code &c, aarch64_p_reg pg, v_scalar vdn, aarch64_z_reg zm);

} // namespace sve
