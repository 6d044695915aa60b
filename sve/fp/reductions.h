#pragma once

// Floating-point reductions to the low element of a V register, whose other bytes and the rest of the Z row become
// 0: FADDV, FMAXV, FMINV, FMAXNMV, FMINNMV, and FADDA.
//
// All but FADDA combine neighbours in a tree whose width is the number of lanes, made up to a power of two; the
// identity of the operation stands for inactive lanes and those behind the vector. Rounding and exceptions depend
// on that order, so it is part of the result. FADDA adds the active elements to its start value one after the
// other.

#include "sve/core/cpu_state.h"
#include "sve/fp/fp_elements.h"

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. T is zn.size, single or double.

SVE_ROUTINE sve_fmaxnmv_vpz(cpu_state *, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn);
SVE_ROUTINE sve_fminnmv_vpz(cpu_state *, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn);

// ---- Reference functions --------------------------------------------------------------------------

#define TREE(type, T, op) SVE_REFERENCE T Vec##type##op##ReduceFV(PredV pg, VecT n, CpuContext *);
#define FORMAT(type, T)                                                                            \
    TREE(type, T, Add)                                                                             \
    TREE(type, T, Max)                                                                             \
    TREE(type, T, Min)                                                                             \
    TREE(type, T, MaxNum)                                                                          \
    TREE(type, T, MinNum)                                                                          \
    SVE_REFERENCE T Vec##type##AddReduceAV(PredV pg, T start, VecT m, CpuContext *);
SVE_FP_TYPES(FORMAT)
#undef TREE
#undef FORMAT
