#pragma once

// Floating-point estimates and accelerators: FRECPE, FRECPS, FRSQRTE, FRSQRTS, FRECPX, FSCALE; FEXPA, FTMAD,
// FTSMUL and FTSSEL.
//
// Predicated forms merge: inactive elements of the destination keep their value, and raise no flag. Results
// and cumulative flags are those of the application's FPCR, and the estimates are exactly those that the
// architecture defines. No condition flag changes.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is .S or .D, by size of `zd`.

// Zd.T = an estimate of 1 / Zn.T
SVE_ROUTINE sve_frecpe_zz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn);
// Zd.T = 2 - Zn.T * Zm.T
SVE_ROUTINE sve_frecps_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);

// ---- Reference functions --------------------------------------------------------------------------

// clang-format off
#define UNARY(type, op) SVE_REFERENCE VecT Vec##type##op##V(VecT n, CpuContext *);
#define BINARY(type, op) SVE_REFERENCE VecT Vec##type##op##VV(VecT n, VecT m, CpuContext *);
#define FORMAT(type, T)                                                                            \
    UNARY(type, RecpE) BINARY(type, RecpS)                                                         \
    UNARY(type, RSqrtE) BINARY(type, RSqrtS)                                                       \
    SVE_REFERENCE VecT Vec##type##RecpXVM(VecT d, PredV pg, VecT n, CpuContext *);                 \
    SVE_REFERENCE VecT Vec##type##ScaleVVM(VecT dn, PredV pg, VecT m, CpuContext *);               \
    UNARY(type, EXPA)                                                                              \
    SVE_REFERENCE VecT Vec##type##TRIMADDVVI(VecT dn, VecT m, unsigned imm3, CpuContext *);        \
    BINARY(type, TRISMUL) BINARY(type, TRISSEL)
SVE_FP_TYPES(FORMAT)
// clang-format on
#undef UNARY
#undef BINARY
#undef FORMAT
