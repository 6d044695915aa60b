#pragma once

// Operations on the bits of elements: AND, ORR, EOR, BIC, NOT, CNOT, RBIT, REVB, REVH, REVW, CLS, CLZ, CNT.
//
// No flag or status changes. Predicated forms merge: an inactive element keeps its value.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"

// ---- Direct routines ---------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is the element size of the first record.

// Zdn.T = Zdn.T op Zm.T where Pg is true. BIC is AND with the complement of Zm.
SVE_ROUTINE sve_and_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_orr_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_eor_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);
SVE_ROUTINE sve_bic_zpz(cpu_state *, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm);

// Zd = Zn op Zm, the whole register
SVE_ROUTINE sve_and_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_orr_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_eor_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
SVE_ROUTINE sve_bic_zzz(cpu_state *, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);

// Zdn = Zdn op mask, which is given to each doubleword
SVE_ROUTINE sve_and_zi(cpu_state *, aarch64_z_reg zdn, aarch64_sve_logical64_imm immediate);
SVE_ROUTINE sve_orr_zi(cpu_state *, aarch64_z_reg zdn, aarch64_sve_logical64_imm immediate);
SVE_ROUTINE sve_eor_zi(cpu_state *, aarch64_z_reg zdn, aarch64_sve_logical64_imm immediate);

// Zd.T = Zn.T with its bits in reverse order, where Pg is true
SVE_ROUTINE sve_rbit_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
// Zd.D = Zn.D with its words exchanged, where Pg is true
SVE_ROUTINE sve_revw_zpz(cpu_state *, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);

// ---- Reference functions -----------------------------------------------------------------------

// Zdn op Zm where Pg is true
#define VVM(type, op)                                                                              \
    SVE_REFERENCE VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *);
// op Zn where Pg is true, else Zd
#define VM(type, op) SVE_REFERENCE VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *);
// The same: Rev1, Rev2, Rev4 reverse units of 1, 2, 4 bytes
#define V(type, op) SVE_REFERENCE VecT Vec##type##op##V(VecT d, PredV pg, VecT n, CpuContext *);

#define UNSIGNED(U, T)                                                                             \
    VVM(U, And)                                                                                    \
    VVM(U, Or)                                                                                     \
    VVM(U, Xor) VVM(U, Bic) VM(U, Inv) VM(U, Not) VM(U, RBit) VM(U, Cls) VM(U, Clz) VM(U, Cnt)
SVE_UNSIGNED_TYPES(UNSIGNED)
V(U16, Rev1)
V(U32, Rev1)
V(U64, Rev1)
V(U32, Rev2)
V(U64, Rev2)
V(U64, Rev4)

// Zn op Zm; Zdn op mask
#define BITWISE(op)                                                                                \
    SVE_REFERENCE VecT VecU64##op##VVX(VecT n, VecT m, CpuContext *);                              \
    SVE_REFERENCE VecT VecU64##op##VIX(VecT dn, uint64_t mask, CpuContext *);
    BITWISE(And) BITWISE(Or) BITWISE(Xor) SVE_REFERENCE VecT
    VecU64BicVVX(VecT n, VecT m, CpuContext *);

#undef VVM
#undef VM
#undef V
#undef UNSIGNED
#undef BITWISE
