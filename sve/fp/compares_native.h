#pragma once

// Translations of floating-point compares into a predicate. They take the operands of the direct routines of the same
// names, and of those that would be.

#include "sve/native/code.h"

namespace sve {

#define VECTORS(name)                                                                              \
    void native_##name##_ppzz(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                              aarch64_z_reg zn, aarch64_z_reg zm);
#define WITH_ZERO(name)                                                                            \
    void native_##name##_ppz(native::code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn);
// clang-format off
VECTORS(fcmeq) VECTORS(fcmge) VECTORS(fcmgt) VECTORS(fcmne) VECTORS(fcmuo)
VECTORS(facge) VECTORS(facgt)
WITH_ZERO(fcmeq) WITH_ZERO(fcmge) WITH_ZERO(fcmgt) WITH_ZERO(fcmle) WITH_ZERO(fcmlt) WITH_ZERO(fcmne)
// clang-format on
#undef VECTORS
#undef WITH_ZERO

} // namespace sve
