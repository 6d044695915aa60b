#pragma once

// Contiguous loads and stores: LD1 and ST1 in every width, with and without extension, the non-temporal
// LDNT1 and STNT1, which do the same, LD1R and LD1RQ, which replicate, and LDR and STR, which move whole
// registers.
//
// Memory element e lies at the address + e · bytes of an element in memory. Elements are accessed in
// ascending order, one host access each; an inactive element touches no memory, and becomes 0 in a load. A
// fault finds the lower elements loaded, or stored.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/memory/forms.h"

// ---- The forms ------------------------------------------------------------------------------------
//
// F(element type, operation and bytes of the handler's name, direct routine without its ending, key of
// the form with an immediate, key of the form with an index register)

// clang-format off
// LD1, LDNT1
#define SVE_CONTIGUOUS_LOADS(F)                                                                    \
    F(U8, CLoad, 1, ld1b, 0x5205, 0x2902)                                                          \
    F(U16, CLoad, 1, ld1b_h, 0x5215, 0x290a)                                                       \
    F(U16, CLoad, 2, ld1h, 0x5255, 0x292a)                                                         \
    F(U32, CLoad, 1, ld1b_s, 0x5225, 0x2912)                                                       \
    F(U32, CLoad, 2, ld1h_s, 0x5265, 0x2932)                                                       \
    F(U32, CLoad, 4, ld1w, 0x52a5, 0x2952)                                                         \
    F(U64, CLoad, 1, ld1b_d, 0x5235, 0x291a)                                                       \
    F(U64, CLoad, 2, ld1h_d, 0x5275, 0x293a)                                                       \
    F(U64, CLoad, 4, ld1w_d, 0x52b5, 0x295a)                                                       \
    F(U64, CLoad, 8, ld1d, 0x52f5, 0x297a)                                                         \
    F(S16, CLoad, 1, ld1sb_h, 0x52e5, 0x2972)                                                      \
    F(S32, CLoad, 1, ld1sb_s, 0x52d5, 0x296a)                                                      \
    F(S32, CLoad, 2, ld1sh_s, 0x5295, 0x294a)                                                      \
    F(S64, CLoad, 1, ld1sb_d, 0x52c5, 0x2962)                                                      \
    F(S64, CLoad, 2, ld1sh_d, 0x5285, 0x2942)                                                      \
    F(S64, CLoad, 4, ld1sw_d, 0x5245, 0x2922)                                                      \
    F(U8, CLoadNT, 1, ldnt1b, 0x5207, 0x2906)                                                      \
    F(U16, CLoadNT, 2, ldnt1h, 0x5247, 0x2926)                                                     \
    F(U32, CLoadNT, 4, ldnt1w, 0x5287, 0x2946)                                                     \
    F(U64, CLoadNT, 8, ldnt1d, 0x52c7, 0x2966)

// ST1, STNT1
#define SVE_CONTIGUOUS_STORES(F)                                                                   \
    F(U8, CStore, 1, st1b, 0x7207, 0x3902)                                                         \
    F(U16, CStore, 1, st1b_h, 0x7217, 0x390a)                                                      \
    F(U16, CStore, 2, st1h, 0x7257, 0x392a)                                                        \
    F(U32, CStore, 1, st1b_s, 0x7227, 0x3912)                                                      \
    F(U32, CStore, 2, st1h_s, 0x7267, 0x3932)                                                      \
    F(U32, CStore, 4, st1w, 0x72a7, 0x3952)                                                        \
    F(U64, CStore, 1, st1b_d, 0x7237, 0x391a)                                                      \
    F(U64, CStore, 2, st1h_d, 0x7277, 0x393a)                                                      \
    F(U64, CStore, 4, st1w_d, 0x72b7, 0x395a)                                                      \
    F(U64, CStore, 8, st1d, 0x72f7, 0x397a)                                                        \
    F(U8, CStoreNT, 1, stnt1b, 0x720f, 0x3903)                                                     \
    F(U16, CStoreNT, 2, stnt1h, 0x724f, 0x3923)                                                    \
    F(U32, CStoreNT, 4, stnt1w, 0x728f, 0x3943)                                                    \
    F(U64, CStoreNT, 8, stnt1d, 0x72cf, 0x3963)

// LD1R, which has no index
#define SVE_REPLICATING_LOADS(F)                                                                   \
    F(U8, LoadDup, 1, ld1rb, 0x108c)                                                               \
    F(U16, LoadDup, 1, ld1rb_h, 0x108d)                                                            \
    F(U16, LoadDup, 2, ld1rh, 0x109d)                                                              \
    F(U32, LoadDup, 1, ld1rb_s, 0x108e)                                                            \
    F(U32, LoadDup, 2, ld1rh_s, 0x109e)                                                            \
    F(U32, LoadDup, 4, ld1rw, 0x10ae)                                                              \
    F(U64, LoadDup, 1, ld1rb_d, 0x108f)                                                            \
    F(U64, LoadDup, 2, ld1rh_d, 0x109f)                                                            \
    F(U64, LoadDup, 4, ld1rw_d, 0x10af)                                                            \
    F(U64, LoadDup, 8, ld1rd, 0x10bf)                                                              \
    F(S16, LoadDup, 1, ld1rsb_h, 0x10be)                                                           \
    F(S32, LoadDup, 1, ld1rsb_s, 0x10bd)                                                           \
    F(S32, LoadDup, 2, ld1rsh_s, 0x10ad)                                                           \
    F(S64, LoadDup, 1, ld1rsb_d, 0x10bc)                                                           \
    F(S64, LoadDup, 2, ld1rsh_d, 0x10ac)                                                           \
    F(S64, LoadDup, 4, ld1rsw_d, 0x109c)

// LD1RQ: F(element type, operation, bytes, key of the immediate, key of the index)
#define SVE_QUADWORD_LOADS(F)                                                                      \
    F(U16, LoadDup, 2, 0x5241, 0x2920)                                                             \
    F(U32, LoadDup, 4, 0x5281, 0x2940)                                                             \
    F(U64, LoadDup, 8, 0x52c1, 0x2960)                                                             \
    F(U8, LoadDup, 1, 0x5201, 0x2900)
// clang-format on

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. The sizes of the records are not looked at.

// Address: base + immediate · elements of a vector · bytes in memory, or base + index · bytes in memory.
#define CONTIGUOUS(type, op, bytes, routine, ...)                                                  \
    SVE_ROUTINE sve_##routine##_zpri(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,              \
                                     aarch64_i_rsp_reg base, int immediate);                       \
    SVE_ROUTINE sve_##routine##_scaled_zprr(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,       \
                                            aarch64_i_rsp_reg base, aarch64_i_reg index);
SVE_CONTIGUOUS_LOADS(CONTIGUOUS)
SVE_CONTIGUOUS_STORES(CONTIGUOUS)
#undef CONTIGUOUS

// Address of the one element: base + immediate · bytes in memory
#define REPLICATING(type, op, bytes, routine, key)                                                 \
    SVE_ROUTINE sve_##routine##_zpri(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,              \
                                     aarch64_i_rsp_reg base, unsigned int immediate);
SVE_REPLICATING_LOADS(REPLICATING)
#undef REPLICATING

// Address: base + immediate · bytes of the register. A predicate is a string of bits in memory, the lowest
// first in each byte.
SVE_ROUTINE sve_ldr_zri(cpu_state *, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate);
SVE_ROUTINE sve_str_zri(cpu_state *, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate);
SVE_ROUTINE sve_ldr_pri(cpu_state *, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate);
SVE_ROUTINE sve_str_pri(cpu_state *, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate);

// ---- Reference functions --------------------------------------------------------------------------

#define LOAD(type, op, bytes, ...)                                                                 \
    SVE_REFERENCE VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate,      \
                                                 CpuContext *);                                    \
    SVE_REFERENCE VecT Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base,                    \
                                                  unsigned long index, CpuContext *);
SVE_CONTIGUOUS_LOADS(LOAD)
#undef LOAD

#define STORE(type, op, bytes, ...)                                                                \
    SVE_REFERENCE void Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate,      \
                                                 VecT source, CpuContext *);                       \
    SVE_REFERENCE void Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base,                    \
                                                  unsigned long index, VecT source, CpuContext *);
SVE_CONTIGUOUS_STORES(STORE)
#undef STORE

#define REPLICATING(type, op, bytes, ...)                                                          \
    SVE_REFERENCE VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, unsigned immediate, \
                                                 CpuContext *);
SVE_REPLICATING_LOADS(REPLICATING)
#undef REPLICATING

// A quadword of memory in each quadword of the vector, governed by the first quadword's predicate bits. The
// immediate counts quadwords.
#define QUADWORD(type, op, bytes, ...)                                                             \
    SVE_REFERENCE VecT Vec##type##op##bytes##QSIZ(PredV pg, unsigned long base, int immediate,     \
                                                  CpuContext *);                                   \
    SVE_REFERENCE VecT Vec##type##op##bytes##QSSZ(PredV pg, unsigned long base,                    \
                                                  unsigned long index, CpuContext *);
SVE_QUADWORD_LOADS(QUADWORD)
#undef QUADWORD

SVE_REFERENCE VecT VecU64FillSI(unsigned long base, int immediate, CpuContext *);
SVE_REFERENCE void VecU64SpillSI(unsigned long base, int immediate, VecT source, CpuContext *);
SVE_REFERENCE PredV VecPFillSI(unsigned long base, int immediate, CpuContext *);
SVE_REFERENCE void VecPSpillSI(unsigned long base, int immediate, PredV source, CpuContext *);
