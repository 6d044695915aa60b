#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/counts.h"
#include "sve/predicate/counts_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code where elements
// are operands, and its direct routine or reference_route. A direct routine gets what a pattern's count is
// multiplied by, a reference function the field, which is one less.
using Imm4 = UImm<19, 16>;

// Xd = count of a pattern
#define CNT(type, op, key, routine, native)                                                        \
    row_of<Vec##type##op##VLSI, to_x, Pattern, Imm4>(                                              \
        "Vec" #type #op "VLSI", &decode_map__31_20__15_10, key,                                    \
        direct_stub<routine, Rd<X>, Pattern, Multiplier>(),                                        \
        translation_stub<native, Rd<X>, Pattern, Multiplier>())
// Rdn ± count of a pattern: all 64 bits, or saturated to 32 or 64
#define COUNTED(name, key, view, routine, native)                                                  \
    row_of<name, to_x, Rdn<view>, Pattern, Imm4>(                                                  \
        #name, &decode_map__31_20__15_10, key,                                                     \
        direct_stub<routine, Rdn<view>, Pattern, Multiplier>(),                                    \
        translation_stub<native, Rdn<view>, Pattern, Multiplier>())
#define VLSI(type, op, key, routine, native) COUNTED(Vec##type##op##VLSI, key, X, routine, native)
#define VL4SI(type, op, key, routine, native) COUNTED(Vec##type##op##VL4SI, key, W, routine, native)
#define VL8SI(type, op, key, routine, native) COUNTED(Vec##type##op##VL8SI, key, X, routine, native)
// Zdn ± count of a pattern
#define VLVI(type, op, key, size, routine, native)                                                 \
    row_of<Vec##type##op##VLVI, to_z, Zdn<size>, Pattern, Imm4>(                                   \
        "Vec" #type #op "VLVI", &decode_map__31_20__15_10, key,                                    \
        direct_stub<routine, Zdn<size>, Pattern, Multiplier>(),                                    \
        translation_stub<native, Zdn<size>, Pattern, Multiplier>())
// Xd = count of Pg and Pn
#define CNTP(type, op, key, size, routine, native)                                                 \
    row_to<routine, Vec##type##op, to_x, Rd<X>, Pg_13_10<plain>, Pn<size>>(                        \
        "Vec" #type #op, &decode_map__31_14__9_9, key, by<native>)
// Rdn ± count of Pn: all 64 bits, or saturated to 32 or 64
#define ACTIVE(name, key, view, size, routine, native)                                             \
    row_of<name, to_x, Pn<size>, Rdn<view>>(#name, &decode_map__31_9, key,                         \
                                            direct_stub<routine, Rdn<view>, Pn<size>>(),           \
                                            translation_stub<native, Rdn<view>, Pn<size>>())
#define COUNT_PS(type, op, key, size, routine, native)                                             \
    ACTIVE(Vec##type##op##SCountPS, key, X, size, routine, native)
#define COUNT_4PS(type, op, key, size, routine, native)                                            \
    ACTIVE(Vec##type##op##SCount4PS, key, W, size, routine, native)
#define COUNT_8PS(type, op, key, size, routine, native)                                            \
    ACTIVE(Vec##type##op##SCount8PS, key, X, size, routine, native)
// Zdn ± count of Pn
#define COUNT_PV(type, op, key, size, routine, native)                                             \
    row_of<Vec##type##op##CountPV, to_z, Pn<size>, Zdn<size>>(                                     \
        "Vec" #type #op "CountPV", &decode_map__31_9, key,                                         \
        direct_stub<routine, Zdn<size>, Pn<size>>(),                                               \
        translation_stub<native, Zdn<size>, Pn<size>>())

// clang-format off
static constexpr handler_row rows[] = {
    // CNTB, CNTH, CNTW, CNTD
    CNT(U8, Count, 0x10b8, reference_route, native_cntb_rii),
    CNT(U16, Count, 0x11b8, reference_route, native_cnth_rii),
    CNT(U32, Count, 0x12b8, reference_route, native_cntw_rii),
    CNT(U64, Count, 0x13b8, reference_route, native_cntd_rii),
    // INCB, INCH, INCW, INCD (scalar)
    VLSI(U8, Incr, 0x10f8, sve_incb_rii, native_incb_rii),
    VLSI(U16, Incr, 0x11f8, sve_inch_rii, native_inch_rii),
    VLSI(U32, Incr, 0x12f8, sve_incw_rii, native_incw_rii),
    VLSI(U64, Incr, 0x13f8, sve_incd_rii, native_incd_rii),
    // DECB, DECH, DECW, DECD (scalar)
    VLSI(U8, Decr, 0x10f9, sve_decb_rii, native_decb_rii),
    VLSI(U16, Decr, 0x11f9, sve_dech_rii, native_dech_rii),
    VLSI(U32, Decr, 0x12f9, sve_decw_rii, native_decw_rii),
    VLSI(U64, Decr, 0x13f9, sve_decd_rii, native_decd_rii),
    // INCH, INCW, INCD (vector)
    VLVI(U16, Incr, 0x11f0, H, sve_inch_zii, native_inch_zii),
    VLVI(U32, Incr, 0x12f0, S, sve_incw_zii, native_incw_zii),
    VLVI(U64, Incr, 0x13f0, D, sve_incd_zii, native_incd_zii),
    // DECH, DECW, DECD (vector)
    VLVI(U16, Decr, 0x11f1, H, sve_dech_zii, native_dech_zii),
    VLVI(U32, Decr, 0x12f1, S, sve_decw_zii, native_decw_zii),
    VLVI(U64, Decr, 0x13f1, D, sve_decd_zii, native_decd_zii),
    // SQINCB to SQINCD, UQINCB to UQINCD (scalar, 32 bits)
    VL4SI(S8, QIncr, 0x10bc, reference_route, native_sqincb_rii),
    VL4SI(S16, QIncr, 0x11bc, reference_route, native_sqinch_rii),
    VL4SI(S32, QIncr, 0x12bc, reference_route, native_sqincw_rii),
    VL4SI(S64, QIncr, 0x13bc, reference_route, native_sqincd_rii),
    VL4SI(U8, QIncr, 0x10bd, reference_route, native_uqincb_rii),
    VL4SI(U16, QIncr, 0x11bd, reference_route, native_uqinch_rii),
    VL4SI(U32, QIncr, 0x12bd, reference_route, native_uqincw_rii),
    VL4SI(U64, QIncr, 0x13bd, reference_route, native_uqincd_rii),
    // SQINCB to SQINCD, UQINCB to UQINCD (scalar, 64 bits)
    VL8SI(S8, QIncr, 0x10fc, reference_route, native_sqincb_rii),
    VL8SI(S16, QIncr, 0x11fc, reference_route, native_sqinch_rii),
    VL8SI(S32, QIncr, 0x12fc, reference_route, native_sqincw_rii),
    VL8SI(S64, QIncr, 0x13fc, reference_route, native_sqincd_rii),
    VL8SI(U8, QIncr, 0x10fd, reference_route, native_uqincb_rii),
    VL8SI(U16, QIncr, 0x11fd, reference_route, native_uqinch_rii),
    VL8SI(U32, QIncr, 0x12fd, reference_route, native_uqincw_rii),
    VL8SI(U64, QIncr, 0x13fd, reference_route, native_uqincd_rii),
    // SQDECB to SQDECD, UQDECB to UQDECD (scalar, 32 bits)
    VL4SI(S8, QDecr, 0x10be, reference_route, native_sqdecb_rii),
    VL4SI(S16, QDecr, 0x11be, reference_route, native_sqdech_rii),
    VL4SI(S32, QDecr, 0x12be, reference_route, native_sqdecw_rii),
    VL4SI(S64, QDecr, 0x13be, reference_route, native_sqdecd_rii),
    VL4SI(U8, QDecr, 0x10bf, sve_uqdecb_rii, native_uqdecb_rii),
    VL4SI(U16, QDecr, 0x11bf, reference_route, native_uqdech_rii),
    VL4SI(U32, QDecr, 0x12bf, reference_route, native_uqdecw_rii),
    VL4SI(U64, QDecr, 0x13bf, reference_route, native_uqdecd_rii),
    // SQDECB to SQDECD, UQDECB to UQDECD (scalar, 64 bits)
    VL8SI(S8, QDecr, 0x10fe, reference_route, native_sqdecb_rii),
    VL8SI(S16, QDecr, 0x11fe, reference_route, native_sqdech_rii),
    VL8SI(S32, QDecr, 0x12fe, reference_route, native_sqdecw_rii),
    VL8SI(S64, QDecr, 0x13fe, reference_route, native_sqdecd_rii),
    VL8SI(U8, QDecr, 0x10ff, sve_uqdecb_rii, native_uqdecb_rii),
    VL8SI(U16, QDecr, 0x11ff, reference_route, native_uqdech_rii),
    VL8SI(U32, QDecr, 0x12ff, reference_route, native_uqdecw_rii),
    VL8SI(U64, QDecr, 0x13ff, reference_route, native_uqdecd_rii),
    // SQINCH to SQINCD, UQINCH to UQINCD (vector)
    VLVI(S16, QIncr, 0x11b0, H, reference_route, native_sqinch_zii),
    VLVI(S32, QIncr, 0x12b0, S, reference_route, native_sqincw_zii),
    VLVI(S64, QIncr, 0x13b0, D, reference_route, native_sqincd_zii),
    VLVI(U16, QIncr, 0x11b1, H, reference_route, native_uqinch_zii),
    VLVI(U32, QIncr, 0x12b1, S, reference_route, native_uqincw_zii),
    VLVI(U64, QIncr, 0x13b1, D, reference_route, native_uqincd_zii),
    // SQDECH to SQDECD, UQDECH to UQDECD (vector)
    VLVI(S16, QDecr, 0x11b2, H, reference_route, native_sqdech_zii),
    VLVI(S32, QDecr, 0x12b2, S, reference_route, native_sqdecw_zii),
    VLVI(S64, QDecr, 0x13b2, D, reference_route, native_sqdecd_zii),
    VLVI(U16, QDecr, 0x11b3, H, reference_route, native_uqdech_zii),
    VLVI(U32, QDecr, 0x12b3, S, reference_route, native_uqdecw_zii),
    VLVI(U64, QDecr, 0x13b3, D, reference_route, native_uqdecd_zii),
    // CNTP
    CNTP(U8, SCountP, 0x12904, B, sve_cntp_rpp, native_cntp_rpp),
    CNTP(U16, SCountP, 0x12b04, H, sve_cntp_rpp, native_cntp_rpp),
    CNTP(U32, SCountP, 0x12d04, S, sve_cntp_rpp, native_cntp_rpp),
    CNTP(U64, SCountP, 0x12f04, D, sve_cntp_rpp, native_cntp_rpp),
    // INCP (scalar)
    COUNT_PS(U8, Incr, 0x129644, B, sve_incp_rp, native_incp_rp),
    COUNT_PS(U16, Incr, 0x12b644, H, sve_incp_rp, native_incp_rp),
    COUNT_PS(U32, Incr, 0x12d644, S, sve_incp_rp, native_incp_rp),
    COUNT_PS(U64, Incr, 0x12f644, D, sve_incp_rp, native_incp_rp),
    // DECP (scalar)
    COUNT_PS(U8, Decr, 0x1296c4, B, reference_route, native_decp_rp),
    COUNT_PS(U16, Decr, 0x12b6c4, H, reference_route, native_decp_rp),
    COUNT_PS(U32, Decr, 0x12d6c4, S, reference_route, native_decp_rp),
    COUNT_PS(U64, Decr, 0x12f6c4, D, reference_route, native_decp_rp),
    // INCP (vector)
    COUNT_PV(U16, Incr, 0x12b640, H, reference_route, native_incp_zp),
    COUNT_PV(U32, Incr, 0x12d640, S, reference_route, native_incp_zp),
    COUNT_PV(U64, Incr, 0x12f640, D, reference_route, native_incp_zp),
    // DECP (vector)
    COUNT_PV(U16, Decr, 0x12b6c0, H, reference_route, native_decp_zp),
    COUNT_PV(U32, Decr, 0x12d6c0, S, reference_route, native_decp_zp),
    COUNT_PV(U64, Decr, 0x12f6c0, D, reference_route, native_decp_zp),
    // SQINCP, UQINCP (scalar, 32 bits)
    COUNT_4PS(S8, QIncr, 0x129444, B, reference_route, native_sqincp_rp),
    COUNT_4PS(S16, QIncr, 0x12b444, H, reference_route, native_sqincp_rp),
    COUNT_4PS(S32, QIncr, 0x12d444, S, reference_route, native_sqincp_rp),
    COUNT_4PS(S64, QIncr, 0x12f444, D, reference_route, native_sqincp_rp),
    COUNT_4PS(U8, QIncr, 0x1294c4, B, reference_route, native_uqincp_rp),
    COUNT_4PS(U16, QIncr, 0x12b4c4, H, reference_route, native_uqincp_rp),
    COUNT_4PS(U32, QIncr, 0x12d4c4, S, reference_route, native_uqincp_rp),
    COUNT_4PS(U64, QIncr, 0x12f4c4, D, reference_route, native_uqincp_rp),
    // SQINCP, UQINCP (scalar, 64 bits)
    COUNT_8PS(S8, QIncr, 0x129446, B, reference_route, native_sqincp_rp),
    COUNT_8PS(S16, QIncr, 0x12b446, H, reference_route, native_sqincp_rp),
    COUNT_8PS(S32, QIncr, 0x12d446, S, reference_route, native_sqincp_rp),
    COUNT_8PS(S64, QIncr, 0x12f446, D, reference_route, native_sqincp_rp),
    COUNT_8PS(U8, QIncr, 0x1294c6, B, reference_route, native_uqincp_rp),
    COUNT_8PS(U16, QIncr, 0x12b4c6, H, reference_route, native_uqincp_rp),
    COUNT_8PS(U32, QIncr, 0x12d4c6, S, reference_route, native_uqincp_rp),
    COUNT_8PS(U64, QIncr, 0x12f4c6, D, reference_route, native_uqincp_rp),
    // SQDECP, UQDECP (scalar, 32 bits)
    COUNT_4PS(S8, QDecr, 0x129544, B, reference_route, native_sqdecp_rp),
    COUNT_4PS(S16, QDecr, 0x12b544, H, reference_route, native_sqdecp_rp),
    COUNT_4PS(S32, QDecr, 0x12d544, S, reference_route, native_sqdecp_rp),
    COUNT_4PS(S64, QDecr, 0x12f544, D, reference_route, native_sqdecp_rp),
    COUNT_4PS(U8, QDecr, 0x1295c4, B, reference_route, native_uqdecp_rp),
    COUNT_4PS(U16, QDecr, 0x12b5c4, H, reference_route, native_uqdecp_rp),
    COUNT_4PS(U32, QDecr, 0x12d5c4, S, reference_route, native_uqdecp_rp),
    COUNT_4PS(U64, QDecr, 0x12f5c4, D, reference_route, native_uqdecp_rp),
    // SQDECP, UQDECP (scalar, 64 bits)
    COUNT_8PS(S8, QDecr, 0x129546, B, reference_route, native_sqdecp_rp),
    COUNT_8PS(S16, QDecr, 0x12b546, H, reference_route, native_sqdecp_rp),
    COUNT_8PS(S32, QDecr, 0x12d546, S, reference_route, native_sqdecp_rp),
    COUNT_8PS(S64, QDecr, 0x12f546, D, reference_route, native_sqdecp_rp),
    COUNT_8PS(U8, QDecr, 0x1295c6, B, reference_route, native_uqdecp_rp),
    COUNT_8PS(U16, QDecr, 0x12b5c6, H, reference_route, native_uqdecp_rp),
    COUNT_8PS(U32, QDecr, 0x12d5c6, S, reference_route, native_uqdecp_rp),
    COUNT_8PS(U64, QDecr, 0x12f5c6, D, reference_route, native_uqdecp_rp),
    // SQINCP, UQINCP (vector)
    COUNT_PV(S16, QIncr, 0x12b440, H, reference_route, native_sqincp_zp),
    COUNT_PV(S32, QIncr, 0x12d440, S, reference_route, native_sqincp_zp),
    COUNT_PV(S64, QIncr, 0x12f440, D, reference_route, native_sqincp_zp),
    COUNT_PV(U16, QIncr, 0x12b4c0, H, reference_route, native_uqincp_zp),
    COUNT_PV(U32, QIncr, 0x12d4c0, S, reference_route, native_uqincp_zp),
    COUNT_PV(U64, QIncr, 0x12f4c0, D, reference_route, native_uqincp_zp),
    // SQDECP, UQDECP (vector)
    COUNT_PV(S16, QDecr, 0x12b540, H, reference_route, native_sqdecp_zp),
    COUNT_PV(S32, QDecr, 0x12d540, S, reference_route, native_sqdecp_zp),
    COUNT_PV(S64, QDecr, 0x12f540, D, reference_route, native_sqdecp_zp),
    COUNT_PV(U16, QDecr, 0x12b5c0, H, reference_route, native_uqdecp_zp),
    COUNT_PV(U32, QDecr, 0x12d5c0, S, reference_route, native_uqdecp_zp),
    COUNT_PV(U64, QDecr, 0x12f5c0, D, reference_route, native_uqdecp_zp),
};
// clang-format on

constinit const handler_rows sve::element_count_rows = rows;
