#pragma once

// Saturating addition and subtraction, SQADD, UQADD, SQSUB, UQSUB, and dot products, SDOT and UDOT. All on
// the reference route, unpredicated. Saturation is silent: no flag or status changes.

#include "sve/core/elements.h"

// ---- Reference functions --------------------------------------------------------------------------

// Zn ± Zm; Zdn ± immediate, which is an unsigned number for signed elements too
#define SATURATING(type, Unsigned, op)                                                             \
    SVE_REFERENCE VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *);                           \
    SVE_REFERENCE VecT Vec##type##op##VIX(VecT dn, Unsigned immediate, CpuContext *);
#define UNSIGNED(U, T) SATURATING(U, T, QAdd) SATURATING(U, T, QSub)
#define SIGNED(S, T)                                                                               \
    SATURATING(S, std::make_unsigned_t<T>, QAdd) SATURATING(S, std::make_unsigned_t<T>, QSub)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

// Zda plus the sum of four products of elements a quarter as wide. The indexed form takes the group of
// four at `index` in each 128-bit segment of Zm.
#define DOT(type)                                                                                  \
    SVE_REFERENCE VecT Vec##type##DotVVVX(VecT n, VecT m, VecT da, CpuContext *);                  \
    SVE_REFERENCE VecT Vec##type##DotVVVIX(VecT n, VecT m, VecT da, unsigned index, CpuContext *);
DOT(S32)
DOT(S64)
DOT(U32)
DOT(U64)

#undef SATURATING
#undef UNSIGNED
#undef SIGNED
#undef DOT
