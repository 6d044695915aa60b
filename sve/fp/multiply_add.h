#pragma once

// Fused floating-point multiply-add and complex arithmetic: FMLA, FMLS, FNMLA, FNMLS, FMAD, FMSB, FNMAD, FNMSB;
// FMLA, FMLS and FMUL with an indexed element; FCADD and FCMLA.
//
// Every element of a result is rounded once. Predicated forms merge: inactive elements of the destination keep
// their value, and raise no flag. Where an operand is subtracted its sign is inverted first, that of a NaN too.
// Results and cumulative flags are those of the application's FPCR. No condition flag changes.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------

// Zda.T = -Zda.T - Zn.T * Zm.T where Pg is true, for T = .S and .D, by dst_size of `zda`. Returns
// AARCH64_DECODE_OK.
SVE_ROUTINE sve_fnmla_zpzz(cpu_state *, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                           aarch64_z_reg zm);

// ---- Reference functions --------------------------------------------------------------------------
//
// An index names an element of each 128-bit segment of `m`, or a pair of elements for FCMLA. Complex numbers
// are pairs of elements, the real part first, of which the predicate governs each on its own. `rot` counts the
// rotations of the encoding: FCADD's are 90 and 270 degrees, FCMLA's are 0, 90, 180 and 270.

// clang-format off
#define ACCUMULATING(type, op)                                                                     \
    SVE_REFERENCE VecT Vec##type##op##VVVM(VecT da, PredV pg, VecT n, VecT m, CpuContext *);
#define MULTIPLYING(type, op)                                                                      \
    SVE_REFERENCE VecT Vec##type##op##VVVM(VecT dn, PredV pg, VecT m, VecT a, CpuContext *);
#define ACCUMULATING_INDEXED(type, op)                                                             \
    SVE_REFERENCE VecT Vec##type##op##VVVIX(VecT da, VecT n, VecT m, unsigned index, CpuContext *);
#define INDEXED(type, op)                                                                          \
    SVE_REFERENCE VecT Vec##type##op##VVIX(VecT n, VecT m, unsigned index, CpuContext *);
#define COMPLEX(type)                                                                              \
    SVE_REFERENCE VecT Vec##type##FCADDVVM(VecT dn, PredV pg, VecT m, unsigned rot, CpuContext *); \
    SVE_REFERENCE VecT Vec##type##FCMLAVVVM(VecT da, PredV pg, VecT n, VecT m, unsigned rot,       \
                                            CpuContext *);
#define COMPLEX_INDEXED(type)                                                                      \
    SVE_REFERENCE VecT Vec##type##FCMLAVVVIX(VecT da, VecT n, VecT m, unsigned index,              \
                                             unsigned rot, CpuContext *);
#define FORMAT(type, T)                                                                            \
    ACCUMULATING(type, FMA) ACCUMULATING(type, FMS)                                                \
    ACCUMULATING(type, FNMA) ACCUMULATING(type, FNMS)                                              \
    MULTIPLYING(type, FMADD) MULTIPLYING(type, FMSUB)                                              \
    MULTIPLYING(type, FNMADD) MULTIPLYING(type, FNMSUB)                                            \
    ACCUMULATING_INDEXED(type, FMA) ACCUMULATING_INDEXED(type, FMS)                                \
    INDEXED(type, Mul)                                                                             \
    COMPLEX(type)
SVE_FP_TYPES(FORMAT)
COMPLEX_INDEXED(F16)
COMPLEX_INDEXED(F32)
// clang-format on
#undef ACCUMULATING
#undef MULTIPLYING
#undef ACCUMULATING_INDEXED
#undef INDEXED
#undef COMPLEX
#undef COMPLEX_INDEXED
#undef FORMAT
