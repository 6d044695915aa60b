#pragma once

// Element counts: CNTB to CNTD, INCB to INCD, DECB to DECD and their saturating forms, which count the
// elements that a pattern of the vector length means; CNTP, INCP, DECP and their saturating forms, which
// count the active elements of a predicate.
//
// The name's unit, B, H, W or D, or the predicate's element size, is the size of the counted elements. A
// pattern's count is multiplied by 1 to 16. No flag or status changes, saturation included.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. `pattern` is the code, 0 to 31; codes above count nothing. `multiplier` is 1
// to 16.

// Xdn ± count · multiplier, in 64 bits
#define INCREMENT(name)                                                                            \
    SVE_ROUTINE sve_##name##_rii(cpu_state *, aarch64_i_reg xdn, unsigned int pattern,             \
                                 unsigned int multiplier)
INCREMENT(incb);
INCREMENT(inch);
INCREMENT(incw);
INCREMENT(incd);
INCREMENT(decb);
INCREMENT(dech);
INCREMENT(decw);
INCREMENT(decd);
#undef INCREMENT

// Each element of Zdn.T ± count · multiplier, cut to the element. T is the unit's size.
#define INCREMENT(name)                                                                            \
    SVE_ROUTINE sve_##name##_zii(cpu_state *, aarch64_z_reg zdn, unsigned int pattern,             \
                                 unsigned int multiplier)
INCREMENT(inch);
INCREMENT(incw);
INCREMENT(incd);
INCREMENT(dech);
INCREMENT(decw);
INCREMENT(decd);
#undef INCREMENT

// Rdn - count · multiplier of elements of a size code, or 0 if that is negative. T, unsigned int or
// unsigned long, is the view of Rdn: of an unsigned int the result is zero-extended to Xdn.
template <class T>
SVE_ROUTINE sve_uqdec(cpu_state *, aarch64_i_reg rdn, unsigned int pattern, unsigned int multiplier,
                      unsigned int size_code);
// The same for bytes, with the view that rdn.dst_size tells.
SVE_ROUTINE sve_uqdecb_rii(cpu_state *, aarch64_i_reg rdn, unsigned int pattern,
                           unsigned int multiplier);

// Xd = number of elements that are true in both Pg and Pn.T
SVE_ROUTINE sve_cntp_rpp(cpu_state *, aarch64_i_reg xd, aarch64_p_reg pg, aarch64_p_reg pn);
// Xdn + number of true elements of Pn.T
SVE_ROUTINE sve_incp_rp(cpu_state *, aarch64_i_reg xdn, aarch64_p_reg pn);

// ---- Reference functions --------------------------------------------------------------------------
//
// A scalar comes as the whole register, and the result is what the register becomes. A pattern's count is
// multiplied by imm4 + 1.

// The pattern's count
#define COUNT(type)                                                                                \
    SVE_REFERENCE unsigned long Vec##type##CountVLSI(unsigned pattern, unsigned imm4, CpuContext *)
// Rdn, Zdn, by the pattern's count
#define SCALAR_PATTERN(type, op, shape)                                                            \
    SVE_REFERENCE unsigned long Vec##type##op##shape(unsigned long dn, unsigned pattern,           \
                                                     unsigned imm4, CpuContext *)
#define VECTOR_PATTERN(type, op)                                                                   \
    SVE_REFERENCE VecT Vec##type##op##VLVI(VecT dn, unsigned pattern, unsigned imm4, CpuContext *)
// The elements that are true in both Pg and Pn
#define ACTIVE(type)                                                                               \
    SVE_REFERENCE unsigned long Vec##type##SCountP(PredV pg, PredV pn, CpuContext *)
// Rdn, Zdn, by the number of true elements
#define SCALAR_ACTIVE(type, op, shape)                                                             \
    SVE_REFERENCE unsigned long Vec##type##op##shape(PredV pn, unsigned long dn, CpuContext *)
#define VECTOR_ACTIVE(type, op)                                                                    \
    SVE_REFERENCE VecT Vec##type##op##CountPV(PredV pn, VecT dn, CpuContext *)

#define WRAPPING(type, op)                                                                         \
    SCALAR_PATTERN(type, op, VLSI);                                                                \
    SCALAR_ACTIVE(type, op, SCountPS);
// On 32 and 64 bits of the register
#define SATURATING(type, op)                                                                       \
    SCALAR_PATTERN(type, op, VL4SI);                                                               \
    SCALAR_PATTERN(type, op, VL8SI);                                                               \
    SCALAR_ACTIVE(type, op, SCount4PS);                                                            \
    SCALAR_ACTIVE(type, op, SCount8PS);
#define UNSIGNED(U, T)                                                                             \
    COUNT(U);                                                                                      \
    ACTIVE(U);                                                                                     \
    WRAPPING(U, Incr)                                                                              \
    WRAPPING(U, Decr)                                                                              \
    SATURATING(U, QIncr)                                                                           \
    SATURATING(U, QDecr)
#define SIGNED(S, T) SATURATING(S, QIncr) SATURATING(S, QDecr)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

// No vector of bytes
#define ON_VECTORS(type, op)                                                                       \
    VECTOR_PATTERN(type, op);                                                                      \
    VECTOR_ACTIVE(type, op)
ON_VECTORS(U16, Incr);
ON_VECTORS(U32, Incr);
ON_VECTORS(U64, Incr);
ON_VECTORS(U16, Decr);
ON_VECTORS(U32, Decr);
ON_VECTORS(U64, Decr);
ON_VECTORS(S16, QIncr);
ON_VECTORS(S32, QIncr);
ON_VECTORS(S64, QIncr);
ON_VECTORS(U16, QIncr);
ON_VECTORS(U32, QIncr);
ON_VECTORS(U64, QIncr);
ON_VECTORS(S16, QDecr);
ON_VECTORS(S32, QDecr);
ON_VECTORS(S64, QDecr);
ON_VECTORS(U16, QDecr);
ON_VECTORS(U32, QDecr);
ON_VECTORS(U64, QDecr);

#undef COUNT
#undef SCALAR_PATTERN
#undef VECTOR_PATTERN
#undef ACTIVE
#undef SCALAR_ACTIVE
#undef VECTOR_ACTIVE
#undef WRAPPING
#undef SATURATING
#undef UNSIGNED
#undef SIGNED
#undef ON_VECTORS
