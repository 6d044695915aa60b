#pragma once

// Interleave, table lookup and reordering: ZIP, UZP, TRN, TBL, REV, EXT, SPLICE, COMPACT, SUNPK,
// UUNPK, INSR. No flag or status changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/permute/scalar_types.h"

// ---- Direct routines ----------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the element size of the first record. Zd may be any source.

// Zd.T = the elements of the lower (1) or upper (2) halves of Zn.T and Zm.T in turn
SVE_ROUTINE sve_zip1_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_zip2_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zd.T = the even (1) or odd (2) elements of Zn.T, and behind them those of Zm.T
SVE_ROUTINE sve_uzp1_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_uzp2_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zd.T = the odd elements of Zn.T and of Zm.T in turn
SVE_ROUTINE sve_trn2_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zd.T[e] = Zn.T[Zm.T[e]], or 0 for an index behind the vector. Indices are unsigned.
SVE_ROUTINE sve_tbl_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
// Zd.T = Zn.T in reverse order
SVE_ROUTINE sve_rev_zz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn);
// Zdn = a vector's bytes from `offset` on of Zdn with Zm behind it. An offset of a vector's bytes
// or more counts as 0.
SVE_ROUTINE sve_ext_zzi(cpu_state *, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned int offset);

// Zd = the lower or upper half of Zn, widened: b2h from .B to .H, and so on
#define UNPACK(name) SVE_ROUTINE sve_##name##_zz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn);
UNPACK(uunpklo_b2h)
UNPACK(uunpkhi_b2h)
UNPACK(uunpklo_h2s)
UNPACK(uunpkhi_h2s)
UNPACK(uunpklo_s2d)
UNPACK(uunpkhi_s2d)
UNPACK(sunpklo_s2d)
UNPACK(sunpkhi_s2d)
#undef UNPACK

// ---- Reference functions ------------------------------------------------------------------------

// Results as of the direct routines; TRN1 takes the even elements where TRN2 takes the odd ones
#define VV(type, op) SVE_REFERENCE VecT Vec##type##op##VV(VecT n, VecT m, CpuContext *);
#define V(type, op) SVE_REFERENCE VecT Vec##type##op##V(VecT n, CpuContext *);
// Zdn from its first to its last active element, and behind it Zm
#define SPLICE(type)                                                                               \
    SVE_REFERENCE VecT Vec##type##SpliceVV(PredV pg, VecT dn, VecT m, CpuContext *);
// The active elements of Zn at the low end, zeros behind them
#define COMPACT(type) SVE_REFERENCE VecT Vec##type##CompressVV(PredV pg, VecT n, CpuContext *);
// The value, and behind it Zdn without its last element
#define INSERT(type, T) SVE_REFERENCE VecT Vec##type##InsertS(VecT dn, T value, CpuContext *);
// The lower and upper half of Zn, widened to the element type
#define UNPACK(type) V(type, UnpackLo) V(type, UnpackHi)

#define UNSIGNED(U, T)                                                                             \
    VV(U, Zip1)                                                                                    \
    VV(U, Zip2)                                                                                    \
    VV(U, Uzp1)                                                                                    \
    VV(U, Uzp2) VV(U, Trn1) VV(U, Trn2) VV(U, Tbl) V(U, Reverse) SPLICE(U) INSERT(U, T)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_V_SCALAR_TYPES(INSERT)
COMPACT(U32)
COMPACT(U64)
UNPACK(S16)
UNPACK(S32)
UNPACK(S64)
UNPACK(U16)
UNPACK(U32)
UNPACK(U64)
// As sve_ext_zzi
SVE_REFERENCE VecT VecU8SlideVI(VecT dn, VecT m, unsigned offset, CpuContext *);
#undef VV
#undef V
#undef SPLICE
#undef COMPACT
#undef INSERT
#undef UNPACK
#undef UNSIGNED
