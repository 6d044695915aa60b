#pragma once

// Shifts: LSL, LSR, ASR by vector, wide vector and immediate, their reversed forms, ASRD; and ADR, addresses
// from a vector of bases and one of scaled offsets.
//
// A count is unsigned and never taken modulo anything: at the element's width or above, LSL and LSR give 0
// and ASR gives copies of the sign. Predicated forms merge. No flag or status changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the element size of the first record.

// Zdn.T = Zdn.T shifted by Zm.T where Pg is true
SVE_ROUTINE sve_lsl_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_lsr_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_asr_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);

// Zdn.T = Zdn.T shifted by count where Pg is true. LSL by 0 to width - 1, ASR by 1 to width.
SVE_ROUTINE sve_lsl_zpi(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned int count);
SVE_ROUTINE sve_asr_zpi(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned int count);

// Zd.T = Zn.T shifted by count
SVE_ROUTINE sve_lsl_zzi(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int count);
SVE_ROUTINE sve_asr_zzi(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int count);

// Zd.D = Zn.D + (Zm.D << scale). The scale, 0 to 3, stands in bits 11:10 of the state's `insn`.
SVE_ROUTINE sve_adr_scaled_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);

// ---- Reference functions --------------------------------------------------------------------------

// Zdn shifted by Zm, or the reverse, where Pg is true; W: by the doubleword of Zm that the element lies in
#define VVM(type, op)                                                                              \
    SVE_REFERENCE VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *);
#define VWM(type, op)                                                                              \
    SVE_REFERENCE VecT Vec##type##op##VWM(VecT dn, PredV pg, VecT m, CpuContext *);
#define VWX(type, op) SVE_REFERENCE VecT Vec##type##op##VWX(VecT n, VecT m, CpuContext *);
// Zdn or Zn shifted by a count that fits the element
#define VIM(type, T, op)                                                                           \
    SVE_REFERENCE VecT Vec##type##op##VIM(VecT dn, PredV pg, T count, CpuContext *);
#define VIX(type, T, op) SVE_REFERENCE VecT Vec##type##op##VIX(VecT n, T count, CpuContext *);
#define ALL(type, T, op) VVM(type, op) VVM(type, op##R) VIM(type, T, op) VIX(type, T, op)
#define UNSIGNED(U, T) ALL(U, T, Shl) ALL(U, T, Shr)
#define SIGNED(S, T) ALL(S, T, Shr) VIM(S, T, ShrD)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)
#define WIDE(type, op) VWM(type, op) VWX(type, op)
WIDE(U8, Shl)
WIDE(U16, Shl)
WIDE(U32, Shl)
WIDE(U8, Shr)
WIDE(U16, Shr)
WIDE(U32, Shr)
WIDE(S8, Shr)
WIDE(S16, Shr)
WIDE(S32, Shr)

// Zn + Zm * scale; X and Y: the offset is the sign- or zero-extended low word of Zm
#define LEA(scale)                                                                                 \
    SVE_REFERENCE VecT VecU32LEA##scale##VV(VecT n, VecT m, CpuContext *);                         \
    SVE_REFERENCE VecT VecU64LEA##scale##VV(VecT n, VecT m, CpuContext *);                         \
    SVE_REFERENCE VecT VecU64LEA##scale##XVV(VecT n, VecT m, CpuContext *);                        \
    SVE_REFERENCE VecT VecU64LEA##scale##YVV(VecT n, VecT m, CpuContext *);
LEA(1)
LEA(2)
LEA(4)
LEA(8)

#undef VVM
#undef VWM
#undef VWX
#undef VIM
#undef VIX
#undef ALL
#undef UNSIGNED
#undef SIGNED
#undef WIDE
#undef LEA
