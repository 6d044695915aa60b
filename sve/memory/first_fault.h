#pragma once

// First-fault and non-fault loads, and the first-fault register FFR by which a program learns how far they
// came: LDFF1 (contiguous and gather), LDNF1; RDFFR, RDFFRS, WRFFR, SETFFR.
//
// These loads clear in FFR the elements that could not be loaded, all predicate bits of each, and set none. The
// first active element of a first-fault load is loaded, or faults as in an ordinary load; a non-fault load
// never faults. So a program that sets FFR, loads, works on the elements whose FFR bits are left, and goes on
// behind them makes progress. An element that reaches into a page that can't be read can't be read.
//
// The two tiers find out what can be read in different ways and stop at different places, both as the
// architecture allows:
//
// - A direct first-fault load asks about the page behind the first one, where the vector reaches it. If that
//   can't be read, it loads the elements whose bytes at the register's width fit before the page's end, and up
//   to the first active element in any case; the elements of Zt behind them keep their value.
// - A direct non-fault load judges each element by its own pages: an element that can't be read keeps its value
//   in Zt, and its own bits in FFR alone are cleared.
// - A reference function reads each element behind the first with a protected read, and stops at the first that
//   fails: from there on FFR is cleared and the result 0.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/memory/addresses.h"

// ---- The forms ------------------------------------------------------------------------------------

// clang-format off
// LDFF1 on the direct route: F(element type, operation, bytes, direct routine without its ending, key)
#define SVE_DIRECT_FIRST_FAULT_LOADS(F)                                                            \
    F(U8, CLoadFF, 1, ldff1b, 0x2903)                                                              \
    F(U16, CLoadFF, 1, ldff1b_h, 0x290b)                                                           \
    F(U32, CLoadFF, 1, ldff1b_s, 0x2913)                                                           \
    F(U32, CLoadFF, 4, ldff1w, 0x2953)                                                             \
    F(U64, CLoadFF, 1, ldff1b_d, 0x291b)                                                           \
    F(U64, CLoadFF, 4, ldff1w_d, 0x295b)                                                           \
    F(U64, CLoadFF, 8, ldff1d, 0x297b)

// LDFF1 on the reference route: F(element type, operation, bytes, key)
#define SVE_REFERENCE_FIRST_FAULT_LOADS(F)                                                         \
    F(U16, CLoadFF, 2, 0x292b)                                                                     \
    F(U32, CLoadFF, 2, 0x2933)                                                                     \
    F(U64, CLoadFF, 2, 0x293b)                                                                     \
    F(S16, CLoadFF, 1, 0x2973)                                                                     \
    F(S32, CLoadFF, 1, 0x296b)                                                                     \
    F(S32, CLoadFF, 2, 0x294b)                                                                     \
    F(S64, CLoadFF, 1, 0x2963)                                                                     \
    F(S64, CLoadFF, 2, 0x2943)                                                                     \
    F(S64, CLoadFF, 4, 0x2923)

// LDNF1: F(element type, operation, bytes, direct routine without its ending, key)
#define SVE_NON_FAULT_LOADS(F)                                                                     \
    F(U8, CLoadNF, 1, ldnf1b, 0x520d)                                                              \
    F(U16, CLoadNF, 1, ldnf1b_h, 0x521d)                                                           \
    F(U16, CLoadNF, 2, ldnf1h, 0x525d)                                                             \
    F(U32, CLoadNF, 1, ldnf1b_s, 0x522d)                                                           \
    F(U32, CLoadNF, 2, ldnf1h_s, 0x526d)                                                           \
    F(U32, CLoadNF, 4, ldnf1w, 0x52ad)                                                             \
    F(U64, CLoadNF, 1, ldnf1b_d, 0x523d)                                                           \
    F(U64, CLoadNF, 2, ldnf1h_d, 0x527d)                                                           \
    F(U64, CLoadNF, 4, ldnf1w_d, 0x52bd)                                                           \
    F(U64, CLoadNF, 8, ldnf1d, 0x52fd)                                                             \
    F(S16, CLoadNF, 1, ldnf1sb_h, 0x52ed)                                                          \
    F(S32, CLoadNF, 1, ldnf1sb_s, 0x52dd)                                                          \
    F(S32, CLoadNF, 2, ldnf1sh_s, 0x529d)                                                          \
    F(S64, CLoadNF, 1, ldnf1sb_d, 0x52cd)                                                          \
    F(S64, CLoadNF, 2, ldnf1sh_d, 0x528d)                                                          \
    F(S64, CLoadNF, 4, ldnf1sw_d, 0x524d)

// Gather LDFF1: F(element type, operation, bytes, shape, key)
#define SVE_FIRST_FAULT_GATHERS(F)                                                                 \
    F(U32, LoadFF, 1, VIZ, 0x210f)                                                                 \
    F(U32, LoadFF, 1, VSZ, 0x2103)                                                                 \
    F(U32, LoadFF, 1, XVSZ, 0x2113)                                                                \
    F(U32, LoadFF, 2, VIZ, 0x212f)                                                                 \
    F(U32, LoadFF, 2, VSZ, 0x2123)                                                                 \
    F(U32, LoadFF, 2, XVSZ, 0x2133)                                                                \
    F(U32, LoadFF, 2, SVZ, 0x212b)                                                                 \
    F(U32, LoadFF, 2, XSVZ, 0x213b)                                                                \
    F(U32, LoadFF, 4, VIZ, 0x214f)                                                                 \
    F(U32, LoadFF, 4, VSZ, 0x2143)                                                                 \
    F(U32, LoadFF, 4, XVSZ, 0x2153)                                                                \
    F(U32, LoadFF, 4, SVZ, 0x214b)                                                                 \
    F(U32, LoadFF, 4, XSVZ, 0x215b)                                                                \
    F(U64, LoadFF, 1, VIZ, 0x310f)                                                                 \
    F(U64, LoadFF, 1, VSZ, 0x3117)                                                                 \
    F(U64, LoadFF, 1, XVSZ, 0x3113)                                                                \
    F(U64, LoadFF, 1, YVSZ, 0x3103)                                                                \
    F(U64, LoadFF, 2, VIZ, 0x312f)                                                                 \
    F(U64, LoadFF, 2, VSZ, 0x3137)                                                                 \
    F(U64, LoadFF, 2, XVSZ, 0x3133)                                                                \
    F(U64, LoadFF, 2, YVSZ, 0x3123)                                                                \
    F(U64, LoadFF, 2, SVZ, 0x313f)                                                                 \
    F(U64, LoadFF, 2, XSVZ, 0x313b)                                                                \
    F(U64, LoadFF, 2, YSVZ, 0x312b)                                                                \
    F(U64, LoadFF, 4, VIZ, 0x314f)                                                                 \
    F(U64, LoadFF, 4, VSZ, 0x3157)                                                                 \
    F(U64, LoadFF, 4, XVSZ, 0x3153)                                                                \
    F(U64, LoadFF, 4, YVSZ, 0x3143)                                                                \
    F(U64, LoadFF, 4, SVZ, 0x315f)                                                                 \
    F(U64, LoadFF, 4, XSVZ, 0x315b)                                                                \
    F(U64, LoadFF, 4, YSVZ, 0x314b)                                                                \
    F(U64, LoadFF, 8, VIZ, 0x316f)                                                                 \
    F(U64, LoadFF, 8, VSZ, 0x3177)                                                                 \
    F(U64, LoadFF, 8, XVSZ, 0x3173)                                                                \
    F(U64, LoadFF, 8, YVSZ, 0x3163)                                                                \
    F(U64, LoadFF, 8, SVZ, 0x317f)                                                                 \
    F(U64, LoadFF, 8, XSVZ, 0x317b)                                                                \
    F(U64, LoadFF, 8, YSVZ, 0x316b)                                                                \
    F(S32, LoadFF, 1, VIZ, 0x210d)                                                                 \
    F(S32, LoadFF, 1, VSZ, 0x2101)                                                                 \
    F(S32, LoadFF, 1, XVSZ, 0x2111)                                                                \
    F(S32, LoadFF, 2, VIZ, 0x212d)                                                                 \
    F(S32, LoadFF, 2, VSZ, 0x2121)                                                                 \
    F(S32, LoadFF, 2, XVSZ, 0x2131)                                                                \
    F(S32, LoadFF, 2, SVZ, 0x2129)                                                                 \
    F(S32, LoadFF, 2, XSVZ, 0x2139)                                                                \
    F(S64, LoadFF, 1, VIZ, 0x310d)                                                                 \
    F(S64, LoadFF, 1, VSZ, 0x3115)                                                                 \
    F(S64, LoadFF, 1, XVSZ, 0x3111)                                                                \
    F(S64, LoadFF, 1, YVSZ, 0x3101)                                                                \
    F(S64, LoadFF, 2, VIZ, 0x312d)                                                                 \
    F(S64, LoadFF, 2, VSZ, 0x3135)                                                                 \
    F(S64, LoadFF, 2, XVSZ, 0x3131)                                                                \
    F(S64, LoadFF, 2, YVSZ, 0x3121)                                                                \
    F(S64, LoadFF, 2, SVZ, 0x313d)                                                                 \
    F(S64, LoadFF, 2, XSVZ, 0x3139)                                                                \
    F(S64, LoadFF, 2, YSVZ, 0x3129)                                                                \
    F(S64, LoadFF, 4, VIZ, 0x314d)                                                                 \
    F(S64, LoadFF, 4, VSZ, 0x3155)                                                                 \
    F(S64, LoadFF, 4, XVSZ, 0x3151)                                                                \
    F(S64, LoadFF, 4, YVSZ, 0x3141)                                                                \
    F(S64, LoadFF, 4, SVZ, 0x315d)                                                                 \
    F(S64, LoadFF, 4, XSVZ, 0x3159)                                                                \
    F(S64, LoadFF, 4, YSVZ, 0x3149)
// clang-format on

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. The sizes of the records are not looked at.

// Address: base + index · bytes in memory
#define FIRST_FAULT(type, op, bytes, routine, key)                                                 \
    SVE_ROUTINE sve_##routine##_scaled_zprr(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,       \
                                            aarch64_i_rsp_reg base, aarch64_i_reg index);
SVE_DIRECT_FIRST_FAULT_LOADS(FIRST_FAULT)
#undef FIRST_FAULT

// Address: base + immediate · elements of a vector · bytes in memory
#define NON_FAULT(type, op, bytes, routine, key)                                                   \
    SVE_ROUTINE sve_##routine##_zpri(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,              \
                                     aarch64_i_rsp_reg base, int immediate);
SVE_NON_FAULT_LOADS(NON_FAULT)
#undef NON_FAULT

// RDFFR Pd = FFR; RDFFR Pd = FFR and Pg; WRFFR FFR = Pn; SETFFR FFR = all true. No flags.
SVE_ROUTINE sve_rdffr_p(cpu_state *, aarch64_p_reg pd);
SVE_ROUTINE sve_rdffr_pp(cpu_state *, aarch64_p_reg pd, aarch64_p_reg pg);
SVE_ROUTINE sve_wrffr_p(cpu_state *, aarch64_p_reg pn);
SVE_ROUTINE sve_setffr(cpu_state *);

// ---- Reference functions --------------------------------------------------------------------------
//
// FFR is the context's.

#define FIRST_FAULT(type, op, bytes, ...)                                                          \
    SVE_REFERENCE VecT Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base,                    \
                                                  unsigned long index, CpuContext *);
SVE_DIRECT_FIRST_FAULT_LOADS(FIRST_FAULT)
SVE_REFERENCE_FIRST_FAULT_LOADS(FIRST_FAULT)
#undef FIRST_FAULT

#define NON_FAULT(type, op, bytes, ...)                                                            \
    SVE_REFERENCE VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate,      \
                                                 CpuContext *);
SVE_NON_FAULT_LOADS(NON_FAULT)
#undef NON_FAULT

#define GATHER(type, op, bytes, shape, key)                                                        \
    SVE_REFERENCE VecT Vec##type##op##bytes##shape(                                                \
        PredV pg, sve::memory::shape::first_value first, sve::memory::shape::second_value second,  \
        CpuContext *);
SVE_FIRST_FAULT_GATHERS(GATHER)
#undef GATHER

SVE_REFERENCE PredV VecPReadFFSRP(CpuContext *);
SVE_REFERENCE PredV VecPActualP(PredV pg, CpuContext *);
// Flags by Pg.
SVE_REFERENCE PredV VecPActualFlgP(PredV pg, CpuContext *);
SVE_REFERENCE void VecPWriteFFSRP(PredV n, CpuContext *);
SVE_REFERENCE void VecPClearFFSR(CpuContext *);
