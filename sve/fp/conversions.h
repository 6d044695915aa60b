#pragma once

// Floating-point conversions: FCVT between formats, FCVTZS and FCVTZU to integers, SCVTF and UCVTF from integers.
//
// All are predicated and merge. The element is the wider of source and result; a narrower source is its low part,
// and a narrower result is extended to it: with zeros, an integer by its sign. FCVT knows no alternative half
// format and flushes no half. No condition flag changes.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. The sizes of the records are not looked at: s is 32 and d 64 bits, of the integer
// and of the result.

#define CONVERT(name)                                                                              \
    SVE_ROUTINE sve_##name##_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
CONVERT(scvtf_s2s)
CONVERT(scvtf_s2d)
CONVERT(scvtf_d2s)
CONVERT(scvtf_d2d)
CONVERT(ucvtf_s2s)
CONVERT(ucvtf_s2d)
CONVERT(ucvtf_d2d)
#undef CONVERT

// ---- Reference functions --------------------------------------------------------------------------

// F(handler's name without VM, element, source, result): integers by their types, formats by their patterns'. The
// group says what the types mean.
// clang-format off
#define SVE_FROM_INTEGER(F)                                                                        \
    F(F16FromS2, uint16_t, int16_t, uint16_t) F(F16FromU2, uint16_t, uint16_t, uint16_t)           \
    F(F16FromS4, uint32_t, int32_t, uint16_t) F(F16FromU4, uint32_t, uint32_t, uint16_t)           \
    F(F16FromS8, uint64_t, int64_t, uint16_t) F(F16FromU8, uint64_t, uint64_t, uint16_t)           \
    F(F32FromS4, uint32_t, int32_t, uint32_t) F(F32FromU4, uint32_t, uint32_t, uint32_t)           \
    F(F64FromS8, uint64_t, int64_t, uint32_t) F(F64FromU8, uint64_t, uint64_t, uint32_t)           \
    F(D64FromS4, uint64_t, int32_t, uint64_t) F(D64FromU4, uint64_t, uint32_t, uint64_t)           \
    F(D64FromS8, uint64_t, int64_t, uint64_t) F(D64FromU8, uint64_t, uint64_t, uint64_t)

#define SVE_TO_INTEGER(F)                                                                          \
    F(S16_2FromH, uint16_t, uint16_t, int16_t) F(U16_2FromH, uint16_t, uint16_t, uint16_t)         \
    F(S32_4FromH, uint32_t, uint16_t, int32_t) F(U32_4FromH, uint32_t, uint16_t, uint32_t)         \
    F(S64_8FromH, uint64_t, uint16_t, int64_t) F(U64_8FromH, uint64_t, uint16_t, uint64_t)         \
    F(S32_4FromF, uint32_t, uint32_t, int32_t) F(U32_4FromF, uint32_t, uint32_t, uint32_t)         \
    F(S64_8FromF, uint64_t, uint32_t, int64_t) F(U64_8FromF, uint64_t, uint32_t, uint64_t)         \
    F(S64_4FromD, uint64_t, uint64_t, int32_t) F(U64_4FromD, uint64_t, uint64_t, uint32_t)         \
    F(S64_8FromD, uint64_t, uint64_t, int64_t) F(U64_8FromD, uint64_t, uint64_t, uint64_t)

#define SVE_BETWEEN_FORMATS(F)                                                                     \
    F(F32ExtndH, uint32_t, uint16_t, uint32_t) F(H32TruncF, uint32_t, uint32_t, uint16_t)          \
    F(D64ExtndH, uint64_t, uint16_t, uint64_t) F(H64TruncD, uint64_t, uint64_t, uint16_t)          \
    F(D64ExtndF, uint64_t, uint32_t, uint64_t) F(F64TruncD, uint64_t, uint64_t, uint32_t)
// clang-format on

#define CONVERT(name, ...) SVE_REFERENCE VecT Vec##name##VM(VecT d, PredV pg, VecT n, CpuContext *);
SVE_FROM_INTEGER(CONVERT)
SVE_TO_INTEGER(CONVERT)
SVE_BETWEEN_FORMATS(CONVERT)
#undef CONVERT
