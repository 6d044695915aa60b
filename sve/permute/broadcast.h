#pragma once

// Broadcast, copy and select: DUP, DUPM, FDUP, CPY, FCPY, SEL and MOVPRFX, which is a move like any
// other: nothing ties it to the instruction behind it.
//
// A value is cut to the element. A floating-point constant is its bit image. No flag or status
// changes.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/permute/scalar_types.h"

// ---- Direct routines ----------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is zd.size. Zd may be any source.

// All elements of Zd.T = the value
SVE_ROUTINE sve_dup_zi(cpu_state *, aarch64_z_reg zd, int immediate);
SVE_ROUTINE sve_dup_zr(cpu_state *, aarch64_z_reg zd, aarch64_i_rsp_reg rn);
// The same for T = .H, .S and .D
SVE_ROUTINE sve_fdup_zi(cpu_state *, aarch64_z_reg zd, aarch64_sve_fp_dup_imm immediate);
// All doublewords of Zd = the mask
SVE_ROUTINE sve_dupm_zi(cpu_state *, aarch64_z_reg zd, aarch64_sve_logical64_imm immediate);
// All elements of Zd.T = Zn.T[index], or 0 for an index behind the vector; T may be .Q
SVE_ROUTINE sve_dup_zzi(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int index);

// Elements of Zd.T = the value where Pg is true, elsewhere unchanged, or 0 with Pg/Z
SVE_ROUTINE sve_cpy_zpi(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, int immediate);
// Elements of Zd.T = the value where Pg is true; `vn` is the number of a V register
SVE_ROUTINE sve_cpy_zpr(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_i_rsp_reg rn);
SVE_ROUTINE sve_cpy_zpv(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, unsigned int vn);

// Zd.T = Zn.T where Pg is true, Zm.T elsewhere
SVE_ROUTINE sve_sel_zpzz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                         aarch64_z_reg zm);
// Zd.T = Zn.T where Pg is true, elsewhere unchanged, or 0 with Pg/Z
SVE_ROUTINE sve_movprfx_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
// Zd = Zn
SVE_ROUTINE sve_movprfx_zz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn);

// ---- Reference functions ------------------------------------------------------------------------

// The value in all elements
#define DUP(type, T, shape) SVE_REFERENCE VecT Vec##type##Dup##shape(T value, CpuContext *);
// Element `index` of n in all elements, or 0 for an index behind the vector
#define DUP_INDEXED(type)                                                                          \
    SVE_REFERENCE VecT Vec##type##ExtDupVI(VecT n, unsigned index, CpuContext *);
// The value where Pg is true, elsewhere Zd; or 0
#define CPY(type, T, shape)                                                                        \
    SVE_REFERENCE VecT Vec##type##Dup##shape(VecT d, PredV pg, T value, CpuContext *);
#define CPY_Z(type, T) SVE_REFERENCE VecT Vec##type##DupIZ(PredV pg, T value, CpuContext *);
// Zn where Pg is true, elsewhere Zm, or Zd, or 0
#define SELECT(type)                                                                               \
    SVE_REFERENCE VecT Vec##type##SelVV(PredV pg, VecT n, VecT m, CpuContext *);                   \
    SVE_REFERENCE VecT Vec##type##MovePrefix1VM(VecT d, PredV pg, VecT n, CpuContext *);           \
    SVE_REFERENCE VecT Vec##type##MovePrefix1VZ(PredV pg, VecT n, CpuContext *);

#define SIGNED(S, T) DUP(S, T, I) CPY(S, T, IM) CPY_Z(S, T)
#define UNSIGNED(U, T) DUP(U, T, S) DUP_INDEXED(U) CPY(U, T, SM) SELECT(U)
#define FLOATING(F, T) DUP(F, T, I) CPY(F, T, IM)
#define SCALAR(V, T) CPY(V, T, SM)
SVE_SIGNED_TYPES(SIGNED)
SVE_UNSIGNED_TYPES(UNSIGNED)
FLOATING(F16, uint16_t)
FLOATING(F32, uint32_t)
FLOATING(D64, uint64_t)
SVE_V_SCALAR_TYPES(SCALAR)
DUP_INDEXED(U128)
// The mask in all doublewords
SVE_REFERENCE VecT VecS64DupMaskI(uint64_t mask, CpuContext *);
// Zn
SVE_REFERENCE VecT VecU32SpecialMoveV(VecT n, CpuContext *);
#undef DUP
#undef DUP_INDEXED
#undef CPY
#undef CPY_Z
#undef SELECT
#undef SIGNED
#undef UNSIGNED
#undef FLOATING
#undef SCALAR
