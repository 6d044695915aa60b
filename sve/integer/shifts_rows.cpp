#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/shifts.h"
#include "sve/integer/shifts_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its direct
// routine or reference_route, its translation, and the map where a shape has several.

// Zdn shifted by Zm, or by the wide elements of Zm, where Pg is true
#define VVM(type, op, key, size, routine, native)                                                  \
    row<routine, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>>(                        \
        "Vec" #type #op "VVM", &decode_map__31_13, key, by<native>)
#define VWM(type, op, key, size, routine, native)                                                  \
    row<routine, Vec##type##op##VWM, to_z, Zdn<size>, Pg<M>, Zm_9_5<D>>(                           \
        "Vec" #type #op "VWM", &decode_map__31_13, key, by<native>)
// Zn shifted by the wide elements of Zm
#define VWX(type, op, key, size, routine, native)                                                  \
    row_to<routine, Vec##type##op##VWX, to_z, Zd<size>, Zn<size>, Zm<D>>(                          \
        "Vec" #type #op "VWX", &decode_map__31_21__15_10, key, by<native>)
// Zdn shifted by a count where Pg is true; Zn shifted by a count
#define VIM(type, op, key, size, routine, native, map, Count)                                      \
    row<routine, Vec##type##op##VIM, to_z, Zdn<size>, Pg<M>, Count##Predicated<size>>(             \
        "Vec" #type #op "VIM", &decode_map__##map, key, by<native>)
#define VIX(type, op, key, size, routine, native, map, Count)                                      \
    row_to<routine, Vec##type##op##VIX, to_z, Zd<size>, Zn<size>, Count<size>>(                    \
        "Vec" #type #op "VIX", &decode_map__##map, key, by<native>)
// Zn + Zm << scale
#define LEA(type, form, key, size, routine, native)                                                \
    row_to<routine, Vec##type##LEA##form##VV, to_z, Zd<size>, Zn<size>, Zm<size>>(                 \
        "Vec" #type "LEA" #form "VV", &decode_map__31_21__15_10, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // LSL (vectors)
    VVM(U8, Shl, 0x209c, B, sve_lsl_zpz, native_lsl_zpz),
    VVM(U16, Shl, 0x229c, H, sve_lsl_zpz, native_lsl_zpz),
    VVM(U32, Shl, 0x249c, S, sve_lsl_zpz, native_lsl_zpz),
    VVM(U64, Shl, 0x269c, D, sve_lsl_zpz, native_lsl_zpz),
    // LSLR
    VVM(U8, ShlR, 0x20bc, B, reference_route, native_lslr_zpz),
    VVM(U16, ShlR, 0x22bc, H, reference_route, native_lslr_zpz),
    VVM(U32, ShlR, 0x24bc, S, reference_route, native_lslr_zpz),
    VVM(U64, ShlR, 0x26bc, D, reference_route, native_lslr_zpz),
    // ASR, LSR (vectors)
    VVM(S8, Shr, 0x2084, B, sve_asr_zpz, native_asr_zpz),
    VVM(S16, Shr, 0x2284, H, sve_asr_zpz, native_asr_zpz),
    VVM(S32, Shr, 0x2484, S, sve_asr_zpz, native_asr_zpz),
    VVM(S64, Shr, 0x2684, D, sve_asr_zpz, native_asr_zpz),
    VVM(U8, Shr, 0x208c, B, sve_lsr_zpz, native_lsr_zpz),
    VVM(U16, Shr, 0x228c, H, sve_lsr_zpz, native_lsr_zpz),
    VVM(U32, Shr, 0x248c, S, sve_lsr_zpz, native_lsr_zpz),
    VVM(U64, Shr, 0x268c, D, sve_lsr_zpz, native_lsr_zpz),
    // ASRR, LSRR
    VVM(S8, ShrR, 0x20a4, B, reference_route, native_asrr_zpz),
    VVM(S16, ShrR, 0x22a4, H, reference_route, native_asrr_zpz),
    VVM(S32, ShrR, 0x24a4, S, reference_route, native_asrr_zpz),
    VVM(S64, ShrR, 0x26a4, D, reference_route, native_asrr_zpz),
    VVM(U8, ShrR, 0x20ac, B, reference_route, native_lsrr_zpz),
    VVM(U16, ShrR, 0x22ac, H, reference_route, native_lsrr_zpz),
    VVM(U32, ShrR, 0x24ac, S, reference_route, native_lsrr_zpz),
    VVM(U64, ShrR, 0x26ac, D, reference_route, native_lsrr_zpz),
    // LSL (wide elements, predicated)
    VWM(U8, Shl, 0x20dc, B, reference_route, native_lsl_wide_zpz),
    VWM(U16, Shl, 0x22dc, H, reference_route, native_lsl_wide_zpz),
    VWM(U32, Shl, 0x24dc, S, reference_route, native_lsl_wide_zpz),
    // ASR, LSR (wide elements, predicated)
    VWM(S8, Shr, 0x20c4, B, reference_route, native_asr_wide_zpz),
    VWM(S16, Shr, 0x22c4, H, reference_route, native_asr_wide_zpz),
    VWM(S32, Shr, 0x24c4, S, reference_route, native_asr_wide_zpz),
    VWM(U8, Shr, 0x20cc, B, reference_route, native_lsr_wide_zpz),
    VWM(U16, Shr, 0x22cc, H, reference_route, native_lsr_wide_zpz),
    VWM(U32, Shr, 0x24cc, S, reference_route, native_lsr_wide_zpz),
    // LSL (wide elements, unpredicated)
    VWX(U8, Shl, 0x863, B, reference_route, native_lsl_wide_zzz),
    VWX(U16, Shl, 0x8e3, H, reference_route, native_lsl_wide_zzz),
    VWX(U32, Shl, 0x963, S, reference_route, native_lsl_wide_zzz),
    // ASR, LSR (wide elements, unpredicated)
    VWX(S8, Shr, 0x860, B, reference_route, native_asr_wide_zzz),
    VWX(S16, Shr, 0x8e0, H, reference_route, native_asr_wide_zzz),
    VWX(S32, Shr, 0x960, S, reference_route, native_asr_wide_zzz),
    VWX(U8, Shr, 0x861, B, reference_route, native_lsr_wide_zzz),
    VWX(U16, Shr, 0x8e1, H, reference_route, native_lsr_wide_zzz),
    VWX(U32, Shr, 0x961, S, reference_route, native_lsr_wide_zzz),
    // LSL (immediate, predicated)
    VIM(U8, Shl, 0x8071, B, sve_lsl_zpi, native_lsl_zpi, 31_13__9_8, ShiftLeft),
    VIM(U16, Shl, 0x4039, H, sve_lsl_zpi, native_lsl_zpi, 31_13__9_9, ShiftLeft),
    VIM(U32, Shl, 0x221c, S, sve_lsl_zpi, native_lsl_zpi, 31_13, ShiftLeft),
    VIM(U64, Shl, 0x121c, D, sve_lsl_zpi, native_lsl_zpi, 31_23__21_13, ShiftLeft),
    // ASR, LSR (immediate, predicated)
    VIM(S8, Shr, 0x8011, B, sve_asr_zpi, native_asr_zpi, 31_13__9_8, ShiftRight),
    VIM(S16, Shr, 0x4009, H, sve_asr_zpi, native_asr_zpi, 31_13__9_9, ShiftRight),
    VIM(S32, Shr, 0x2204, S, sve_asr_zpi, native_asr_zpi, 31_13, ShiftRight),
    VIM(S64, Shr, 0x1204, D, sve_asr_zpi, native_asr_zpi, 31_23__21_13, ShiftRight),
    VIM(U8, Shr, 0x8031, B, reference_route, native_lsr_zpi, 31_13__9_8, ShiftRight),
    VIM(U16, Shr, 0x4019, H, reference_route, native_lsr_zpi, 31_13__9_9, ShiftRight),
    VIM(U32, Shr, 0x220c, S, reference_route, native_lsr_zpi, 31_13, ShiftRight),
    VIM(U64, Shr, 0x120c, D, reference_route, native_lsr_zpi, 31_23__21_13, ShiftRight),
    // ASRD
    VIM(S8, ShrD, 0x8091, B, reference_route, native_asrd_zpi, 31_13__9_8, ShiftRight),
    VIM(S16, ShrD, 0x4049, H, reference_route, native_asrd_zpi, 31_13__9_9, ShiftRight),
    VIM(S32, ShrD, 0x2224, S, reference_route, native_asrd_zpi, 31_13, ShiftRight),
    VIM(S64, ShrD, 0x1224, D, reference_route, native_asrd_zpi, 31_23__21_13, ShiftRight),
    // LSL (immediate, unpredicated)
    VIX(U8, Shl, 0x2167, B, sve_lsl_zzi, native_lsl_zzi, 31_19__15_10, ShiftLeft),
    VIX(U16, Shl, 0x10e7, H, sve_lsl_zzi, native_lsl_zzi, 31_20__15_10, ShiftLeft),
    VIX(U32, Shl, 0x8e7, S, sve_lsl_zzi, native_lsl_zzi, 31_21__15_10, ShiftLeft),
    VIX(U64, Shl, 0x4e7, D, sve_lsl_zzi, native_lsl_zzi, 31_23__21_21__15_10, ShiftLeft),
    // ASR, LSR (immediate, unpredicated)
    VIX(S8, Shr, 0x2164, B, sve_asr_zzi, native_asr_zzi, 31_19__15_10, ShiftRight),
    VIX(S16, Shr, 0x10e4, H, sve_asr_zzi, native_asr_zzi, 31_20__15_10, ShiftRight),
    VIX(S32, Shr, 0x8e4, S, sve_asr_zzi, native_asr_zzi, 31_21__15_10, ShiftRight),
    VIX(S64, Shr, 0x4e4, D, sve_asr_zzi, native_asr_zzi, 31_23__21_21__15_10, ShiftRight),
    VIX(U8, Shr, 0x2165, B, reference_route, native_lsr_zzi, 31_19__15_10, ShiftRight),
    VIX(U16, Shr, 0x10e5, H, reference_route, native_lsr_zzi, 31_20__15_10, ShiftRight),
    VIX(U32, Shr, 0x8e5, S, reference_route, native_lsr_zzi, 31_21__15_10, ShiftRight),
    VIX(U64, Shr, 0x4e5, D, reference_route, native_lsr_zzi, 31_23__21_21__15_10, ShiftRight),
    // ADR (packed offsets)
    LEA(U32, 1, 0x968, S, reference_route, native_adr_scaled<0>),
    LEA(U32, 2, 0x969, S, reference_route, native_adr_scaled<1>),
    LEA(U32, 4, 0x96a, S, reference_route, native_adr_scaled<2>),
    LEA(U32, 8, 0x96b, S, reference_route, native_adr_scaled<3>),
    LEA(U64, 1, 0x9e8, D, sve_adr_scaled_zzz, native_adr_scaled<0>),
    LEA(U64, 2, 0x9e9, D, sve_adr_scaled_zzz, native_adr_scaled<1>),
    LEA(U64, 4, 0x9ea, D, sve_adr_scaled_zzz, native_adr_scaled<2>),
    LEA(U64, 8, 0x9eb, D, sve_adr_scaled_zzz, native_adr_scaled<3>),
    // ADR (SXTW)
    LEA(U64, 1X, 0x868, D, reference_route, native_adr_sxtw<0>),
    LEA(U64, 2X, 0x869, D, reference_route, native_adr_sxtw<1>),
    LEA(U64, 4X, 0x86a, D, reference_route, native_adr_sxtw<2>),
    LEA(U64, 8X, 0x86b, D, reference_route, native_adr_sxtw<3>),
    // ADR (UXTW)
    LEA(U64, 1Y, 0x8e8, D, reference_route, native_adr_uxtw<0>),
    LEA(U64, 2Y, 0x8e9, D, reference_route, native_adr_uxtw<1>),
    LEA(U64, 4Y, 0x8ea, D, reference_route, native_adr_uxtw<2>),
    LEA(U64, 8Y, 0x8eb, D, reference_route, native_adr_uxtw<3>),
};
// clang-format on

constinit const handler_rows sve::integer_shift_rows = rows;
