#pragma once

// Gather loads and scatter stores, whose addresses are made of a vector, and the prefetches, which do nothing.
//
// Elements are accessed in ascending order, one host access each; an inactive element touches no memory, and
// becomes 0 in a load. A fault finds the lower elements loaded, or stored. Of two elements stored at the same
// address the higher one stays.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/memory/addresses.h"

// ---- The forms ------------------------------------------------------------------------------------
//
// F(element type, operation, bytes and shape of the handler's name, direct routine, key). The shapes are types
// of addresses.h.

// clang-format off
#define SVE_DIRECT_GATHERS(F)                                                                      \
    F(U32, Load, 1, XVSZ, ld1b_s_sxtw_zpzr, 0x2112)                                                \
    F(U32, Load, 2, XVSZ, ld1h_s_sxtw_zpzr, 0x2132)                                                \
    F(U32, Load, 2, XSVZ, ld1h_s_sxtw_scaled_zprz, 0x213a)                                         \
    F(U32, Load, 4, XVSZ, ld1w_sxtw_zpzr, 0x2152)                                                  \
    F(U32, Load, 4, XSVZ, ld1w_sxtw_scaled_zprz, 0x215a)                                           \
    F(U64, Load, 1, VIZ, ld1b_d_zpzi, 0x310e)                                                      \
    F(U64, Load, 1, VSZ, ld1b_d_zpzr, 0x3116)                                                      \
    F(U64, Load, 1, XVSZ, ld1b_d_sxtw_zpzr, 0x3112)                                                \
    F(U64, Load, 2, VIZ, ld1h_d_zpzi, 0x312e)                                                      \
    F(U64, Load, 2, VSZ, ld1h_d_zpzr, 0x3136)                                                      \
    F(U64, Load, 2, SVZ, ld1h_d_scaled_zprz, 0x313e)                                               \
    F(U64, Load, 2, XSVZ, ld1h_d_sxtw_scaled_zprz, 0x313a)                                         \
    F(U64, Load, 4, VIZ, ld1w_d_zpzi, 0x314e)                                                      \
    F(U64, Load, 4, VSZ, ld1w_d_zpzr, 0x3156)                                                      \
    F(U64, Load, 4, SVZ, ld1w_d_scaled_zprz, 0x315e)                                               \
    F(U64, Load, 4, XSVZ, ld1w_d_sxtw_scaled_zprz, 0x315a)                                         \
    F(U64, Load, 8, VIZ, ld1d_zpzi, 0x316e)                                                        \
    F(U64, Load, 8, VSZ, ld1d_zpzr, 0x3176)                                                        \
    F(U64, Load, 8, SVZ, ld1d_scaled_zprz, 0x317e)                                                 \
    F(U64, Load, 8, XSVZ, ld1d_sxtw_scaled_zprz, 0x317a)                                           \
    F(U64, Load, 8, YSVZ, ld1d_uxtw_scaled_zprz, 0x316a)                                           \
    F(S32, Load, 1, XVSZ, ld1sb_s_sxtw_zpzr, 0x2110)                                               \
    F(S32, Load, 2, XVSZ, ld1sh_s_sxtw_zpzr, 0x2130)                                               \
    F(S32, Load, 2, XSVZ, ld1sh_s_sxtw_scaled_zprz, 0x2138)                                        \
    F(S64, Load, 1, VIZ, ld1sb_d_zpzi, 0x310c)                                                     \
    F(S64, Load, 1, VSZ, ld1sb_d_zpzr, 0x3114)                                                     \
    F(S64, Load, 1, XVSZ, ld1sb_d_sxtw_zpzr, 0x3110)                                               \
    F(S64, Load, 1, YVSZ, ld1sb_d_uxtw_zpzr, 0x3100)                                               \
    F(S64, Load, 2, VIZ, ld1sh_d_zpzi, 0x312c)                                                     \
    F(S64, Load, 2, VSZ, ld1sh_d_zpzr, 0x3134)                                                     \
    F(S64, Load, 2, SVZ, ld1sh_d_scaled_zprz, 0x313c)                                              \
    F(S64, Load, 2, XSVZ, ld1sh_d_sxtw_scaled_zprz, 0x3138)                                        \
    F(S64, Load, 2, YSVZ, ld1sh_d_uxtw_scaled_zprz, 0x3128)                                        \
    F(S64, Load, 4, VIZ, ld1sw_d_zpzi, 0x314c)                                                     \
    F(S64, Load, 4, VSZ, ld1sw_d_zpzr, 0x3154)                                                     \
    F(S64, Load, 4, SVZ, ld1sw_d_scaled_zprz, 0x315c)                                              \
    F(S64, Load, 4, XSVZ, ld1sw_d_sxtw_scaled_zprz, 0x3158)

#define SVE_DIRECT_SCATTERS(F)                                                                     \
    F(U32, Store, 1, XVSZ, st1b_s_sxtw_zpzr, 0x3916)                                               \
    F(U32, Store, 2, XVSZ, st1h_s_sxtw_zpzr, 0x3936)                                               \
    F(U32, Store, 2, XSVZ, st1h_s_sxtw_scaled_zprz, 0x393e)                                        \
    F(U32, Store, 4, XVSZ, st1w_sxtw_zpzr, 0x3956)                                                 \
    F(U32, Store, 4, XSVZ, st1w_sxtw_scaled_zprz, 0x395e)                                          \
    F(U64, Store, 1, VIZ, st1b_d_zpzi, 0x3915)                                                     \
    F(U64, Store, 1, VSZ, st1b_d_zpzr, 0x3905)                                                     \
    F(U64, Store, 1, XVSZ, st1b_d_sxtw_zpzr, 0x3906)                                               \
    F(U64, Store, 2, VIZ, st1h_d_zpzi, 0x3935)                                                     \
    F(U64, Store, 2, VSZ, st1h_d_zpzr, 0x3925)                                                     \
    F(U64, Store, 2, SVZ, st1h_d_scaled_zprz, 0x392d)                                              \
    F(U64, Store, 2, XSVZ, st1h_d_sxtw_scaled_zprz, 0x392e)                                        \
    F(U64, Store, 4, VIZ, st1w_d_zpzi, 0x3955)                                                     \
    F(U64, Store, 4, VSZ, st1w_d_zpzr, 0x3945)                                                     \
    F(U64, Store, 4, SVZ, st1w_d_scaled_zprz, 0x394d)                                              \
    F(U64, Store, 4, XSVZ, st1w_d_sxtw_scaled_zprz, 0x394e)                                        \
    F(U64, Store, 4, YSVZ, st1w_d_uxtw_scaled_zprz, 0x394c)                                        \
    F(U64, Store, 8, VIZ, st1d_zpzi, 0x3975)                                                       \
    F(U64, Store, 8, VSZ, st1d_zpzr, 0x3965)                                                       \
    F(U64, Store, 8, SVZ, st1d_scaled_zprz, 0x396d)                                                \
    F(U64, Store, 8, XSVZ, st1d_sxtw_scaled_zprz, 0x396e)                                          \
    F(U64, Store, 8, YSVZ, st1d_uxtw_scaled_zprz, 0x396c)

// The rest takes the reference route: F(element type, operation, bytes, shape, key)
#define SVE_REFERENCE_GATHERS(F)                                                                   \
    F(U32, Load, 1, VIZ, 0x210e)                                                                   \
    F(U32, Load, 1, VSZ, 0x2102)                                                                   \
    F(U32, Load, 2, VIZ, 0x212e)                                                                   \
    F(U32, Load, 2, VSZ, 0x2122)                                                                   \
    F(U32, Load, 2, SVZ, 0x212a)                                                                   \
    F(U32, Load, 4, VIZ, 0x214e)                                                                   \
    F(U32, Load, 4, VSZ, 0x2142)                                                                   \
    F(U32, Load, 4, SVZ, 0x214a)                                                                   \
    F(U64, Load, 1, YVSZ, 0x3102)                                                                  \
    F(U64, Load, 2, XVSZ, 0x3132)                                                                  \
    F(U64, Load, 2, YVSZ, 0x3122)                                                                  \
    F(U64, Load, 2, YSVZ, 0x312a)                                                                  \
    F(U64, Load, 4, XVSZ, 0x3152)                                                                  \
    F(U64, Load, 4, YVSZ, 0x3142)                                                                  \
    F(U64, Load, 4, YSVZ, 0x314a)                                                                  \
    F(U64, Load, 8, XVSZ, 0x3172)                                                                  \
    F(U64, Load, 8, YVSZ, 0x3162)                                                                  \
    F(S32, Load, 1, VIZ, 0x210c)                                                                   \
    F(S32, Load, 1, VSZ, 0x2100)                                                                   \
    F(S32, Load, 2, VIZ, 0x212c)                                                                   \
    F(S32, Load, 2, VSZ, 0x2120)                                                                   \
    F(S32, Load, 2, SVZ, 0x2128)                                                                   \
    F(S64, Load, 2, XVSZ, 0x3130)                                                                  \
    F(S64, Load, 2, YVSZ, 0x3120)                                                                  \
    F(S64, Load, 4, XVSZ, 0x3150)                                                                  \
    F(S64, Load, 4, YVSZ, 0x3140)                                                                  \
    F(S64, Load, 4, YSVZ, 0x3148)

#define SVE_REFERENCE_SCATTERS(F)                                                                  \
    F(U32, Store, 1, VIZ, 0x391d)                                                                  \
    F(U32, Store, 1, VSZ, 0x3914)                                                                  \
    F(U32, Store, 2, VIZ, 0x393d)                                                                  \
    F(U32, Store, 2, VSZ, 0x3934)                                                                  \
    F(U32, Store, 2, SVZ, 0x393c)                                                                  \
    F(U32, Store, 4, VIZ, 0x395d)                                                                  \
    F(U32, Store, 4, VSZ, 0x3954)                                                                  \
    F(U32, Store, 4, SVZ, 0x395c)                                                                  \
    F(U64, Store, 1, YVSZ, 0x3904)                                                                 \
    F(U64, Store, 2, XVSZ, 0x3926)                                                                 \
    F(U64, Store, 2, YVSZ, 0x3924)                                                                 \
    F(U64, Store, 2, YSVZ, 0x392c)                                                                 \
    F(U64, Store, 4, XVSZ, 0x3946)                                                                 \
    F(U64, Store, 4, YVSZ, 0x3944)                                                                 \
    F(U64, Store, 8, XVSZ, 0x3966)                                                                 \
    F(U64, Store, 8, YVSZ, 0x3964)
// clang-format on

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. The sizes of the records are not looked at. `first` and `second` make the
// address.

#define GATHER(type, op, bytes, shape, routine, key)                                               \
    SVE_ROUTINE sve_##routine(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,                     \
                              sve::memory::shape::first_record first,                              \
                              sve::memory::shape::second_record second);
SVE_DIRECT_GATHERS(GATHER)
SVE_DIRECT_SCATTERS(GATHER)
#undef GATHER

// ---- Reference functions --------------------------------------------------------------------------

#define GATHER(type, op, bytes, shape, ...)                                                        \
    SVE_REFERENCE VecT Vec##type##op##bytes##shape(                                                \
        PredV pg, sve::memory::shape::first_value first, sve::memory::shape::second_value second,  \
        CpuContext *);
SVE_DIRECT_GATHERS(GATHER)
SVE_REFERENCE_GATHERS(GATHER)
#undef GATHER

#define SCATTER(type, op, bytes, shape, ...)                                                       \
    SVE_REFERENCE void Vec##type##op##bytes##shape(                                                \
        PredV pg, sve::memory::shape::first_value first, sve::memory::shape::second_value second,  \
        VecT source, CpuContext *);
SVE_DIRECT_SCATTERS(SCATTER)
SVE_REFERENCE_SCATTERS(SCATTER)
#undef SCATTER
