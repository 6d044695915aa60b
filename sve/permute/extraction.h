#pragma once

// Element extraction: LASTA, LASTB, CLASTA, CLASTB. The B forms take the last active element of a
// vector, the A forms the element behind it, or element 0 behind the vector's last. Where no
// element is active, LASTB takes the vector's last element, LASTA element 0, and CLASTA and CLASTB
// keep their destination, of which a scalar is cut to the element's width. No flag or status
// changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/permute/scalar_types.h"

// ---- Direct routines ----------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the size of the Z record.

// Xd = the element of Zn.T, zero-extended
SVE_ROUTINE sve_lastb_rpz(cpu_state *, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_z_reg zn);
// V register `vd` = the element of Zn.T; the rest of the Z row becomes 0
SVE_ROUTINE sve_lastb_vpz(cpu_state *, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn);
// Xdn = the element of Zm.T or the low bits of Xdn, zero-extended
SVE_ROUTINE sve_clastb_rpz(cpu_state *, aarch64_i_reg rdn, aarch64_p_reg pg, aarch64_z_reg zm);

// ---- Reference functions ------------------------------------------------------------------------

// The element in 64 bits
#define LAST(type, op) SVE_REFERENCE unsigned long Vec##type##op##V(PredV pg, VecT n, CpuContext *);
// The element of m, or the old value
#define CONDITIONAL(type, T, op)                                                                   \
    SVE_REFERENCE T Vec##type##op##SV(PredV pg, T old, VecT m, CpuContext *);
// The element of m in all elements, or Zdn
#define BROADCAST(type, op)                                                                        \
    SVE_REFERENCE VecT Vec##type##op##VV(PredV pg, VecT dn, VecT m, CpuContext *);

#define SCALAR(type, T)                                                                            \
    LAST(type, LastA)                                                                              \
    LAST(type, LastB) CONDITIONAL(type, T, CondXA) CONDITIONAL(type, T, CondXB)
#define VECTOR(type, T) BROADCAST(type, VCondXA) BROADCAST(type, VCondXB)
SVE_UNSIGNED_TYPES(SCALAR)
SVE_V_SCALAR_TYPES(SCALAR)
SVE_UNSIGNED_TYPES(VECTOR)
#undef LAST
#undef CONDITIONAL
#undef BROADCAST
#undef SCALAR
#undef VECTOR
