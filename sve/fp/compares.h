#pragma once

// Floating-point compares into a predicate: FCMEQ, FCMGE, FCMGT, FCMNE, FCMUO of two vectors; FACGE, FACGT of
// their absolute values; FCMEQ, FCMGE, FCMGT, FCMLE, FCMLT, FCMNE with 0.0.
//
// Zeroing: an inactive element's bit is false, as are all bits of an element but its first, and an inactive
// element raises no exception. A relation with a NaN is false, but FCMNE and FCMUO are true. Equality and FCMUO
// are invalid for signalling NaNs only, the others for any NaN. No condition flag changes.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is pd.size, single or double.

// Pd = Zn.T relation Zm.T
#define VECTORS(name)                                                                              \
    SVE_ROUTINE sve_##name##_ppzz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                                  aarch64_z_reg zn, aarch64_z_reg zm);
VECTORS(fcmeq)
VECTORS(fcmge)
VECTORS(fcmgt)
VECTORS(fcmne)
VECTORS(fcmuo)
#undef VECTORS

// Pd = Zn.T relation 0.0
#define WITH_ZERO(name)                                                                            \
    SVE_ROUTINE sve_##name##_ppz(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn);
WITH_ZERO(fcmeq)
WITH_ZERO(fcmge)
WITH_ZERO(fcmgt)
WITH_ZERO(fcmle)
WITH_ZERO(fcmlt)
#undef WITH_ZERO

// ---- Reference functions --------------------------------------------------------------------------

#define VECTORS(type, op)                                                                          \
    SVE_REFERENCE PredV Vec##type##op##VVZ(PredV pg, VecT n, VecT m, CpuContext *);
#define WITH_ZERO(type, op) SVE_REFERENCE PredV Vec##type##op##V0Z(PredV pg, VecT n, CpuContext *);
// clang-format off
#define FORMAT(type, T)                                                                            \
    VECTORS(type, CmpEQ) VECTORS(type, CmpGE) VECTORS(type, CmpGT) VECTORS(type, CmpNE)            \
    VECTORS(type, CmpUN) VECTORS(type, AcGE) VECTORS(type, AcGT)                                   \
    WITH_ZERO(type, CmpEQ) WITH_ZERO(type, CmpGE) WITH_ZERO(type, CmpGT) WITH_ZERO(type, CmpLE)    \
    WITH_ZERO(type, CmpLT) WITH_ZERO(type, CmpNE)
// clang-format on
SVE_FP_TYPES(FORMAT)
#undef VECTORS
#undef WITH_ZERO
#undef FORMAT
