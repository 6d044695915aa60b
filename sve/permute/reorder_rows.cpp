#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/permute/reorder.h"
#include "sve/permute/reorder_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its
// direct routine or reference_route, and its translation. All of a shape are in one map.

// Zd = op(Zn, Zm)
#define VV(type, op, key, size, routine, native)                                                   \
    row_to<routine, Vec##type##op##VV, to_z, Zd<size>, Zn<size>, Zm<size>>(                        \
        "Vec" #type #op "VV", &decode_map__31_21__15_10, key, by<native>)
// Zd = op(Zn); unpacking halves the elements of Zn
#define V(type, op, key, size, routine, native)                                                    \
    row_to<routine, Vec##type##op##V, to_z, Zd<size>, Zn<size>>(                                   \
        "Vec" #type #op "V", &decode_map__31_10, key, by<native>)
#define UNPACK(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##V, to_z, Zd<size>, Zn<size - 1>>(                               \
        "Vec" #type #op "V", &decode_map__31_10, key, by<native>)
// Zdn = the bytes of Zdn with Zm behind it from an offset on
#define SLIDE(type, op, key, size, routine, native)                                                \
    row<routine, Vec##type##op##VI, to_z, Zdn<size>, Zm_9_5<size>, UImm<20, 16, 12, 10>>(          \
        "Vec" #type #op "VI", &decode_map__31_21__15_13, key, by<native>)
// Zdn = the segment of Zdn that Pg marks, with Zm behind it
#define SPLICE(type, op, key, size, routine, native)                                               \
    row<routine, Vec##type##op##VV, to_z, Pg<plain>, Zdn<size>, Zm_9_5<size>>(                     \
        "Vec" #type #op "VV", &decode_map__31_13, key, by<native>)
// Zd = the active elements of Zn
#define COMPACT(type, op, key, size, routine, native)                                              \
    row_to<routine, Vec##type##op##VV, to_z, Zd<size>, Pg<plain>, Zn<size>>(                       \
        "Vec" #type #op "VV", &decode_map__31_13, key, by<native>)
// Zdn = a scalar with Zdn behind it; its register is where Rn and Vn are elsewhere
#define INSERT_R(type, op, key, size, routine, native)                                             \
    row<routine, Vec##type##op##S, to_z, Zdn<size>, Rn<size>>("Vec" #type #op "S",                 \
                                                              &decode_map__31_10, key, by<native>)
#define INSERT_V(type, op, key, size, routine, native)                                             \
    row_of<Vec##type##op##S, to_z, Zdn<size>, ScalarN<size>>(                                      \
        "Vec" #type #op "S", &decode_map__31_10, key, routine,                                     \
        translation_stub<native, Zdn<size>, Vn>())

// clang-format off
static constexpr handler_row rows[] = {
    // ZIP1 (vectors)
    VV(U8, Zip1, 0xa58, B, sve_zip1_zzz, native_zip1_zzz),
    VV(U16, Zip1, 0xad8, H, sve_zip1_zzz, native_zip1_zzz),
    VV(U32, Zip1, 0xb58, S, sve_zip1_zzz, native_zip1_zzz),
    VV(U64, Zip1, 0xbd8, D, sve_zip1_zzz, native_zip1_zzz),
    // ZIP2 (vectors)
    VV(U8, Zip2, 0xa59, B, sve_zip2_zzz, native_zip2_zzz),
    VV(U16, Zip2, 0xad9, H, sve_zip2_zzz, native_zip2_zzz),
    VV(U32, Zip2, 0xb59, S, sve_zip2_zzz, native_zip2_zzz),
    VV(U64, Zip2, 0xbd9, D, sve_zip2_zzz, native_zip2_zzz),
    // UZP1 (vectors)
    VV(U8, Uzp1, 0xa5a, B, sve_uzp1_zzz, native_uzp1_zzz),
    VV(U16, Uzp1, 0xada, H, sve_uzp1_zzz, native_uzp1_zzz),
    VV(U32, Uzp1, 0xb5a, S, sve_uzp1_zzz, native_uzp1_zzz),
    VV(U64, Uzp1, 0xbda, D, sve_uzp1_zzz, native_uzp1_zzz),
    // UZP2 (vectors)
    VV(U8, Uzp2, 0xa5b, B, sve_uzp2_zzz, native_uzp2_zzz),
    VV(U16, Uzp2, 0xadb, H, sve_uzp2_zzz, native_uzp2_zzz),
    VV(U32, Uzp2, 0xb5b, S, sve_uzp2_zzz, native_uzp2_zzz),
    VV(U64, Uzp2, 0xbdb, D, sve_uzp2_zzz, native_uzp2_zzz),
    // TRN1 (vectors)
    VV(U8, Trn1, 0xa5c, B, reference_route, native_trn1_zzz),
    VV(U16, Trn1, 0xadc, H, reference_route, native_trn1_zzz),
    VV(U32, Trn1, 0xb5c, S, reference_route, native_trn1_zzz),
    VV(U64, Trn1, 0xbdc, D, reference_route, native_trn1_zzz),
    // TRN2 (vectors)
    VV(U8, Trn2, 0xa5d, B, sve_trn2_zzz, native_trn2_zzz),
    VV(U16, Trn2, 0xadd, H, sve_trn2_zzz, native_trn2_zzz),
    VV(U32, Trn2, 0xb5d, S, sve_trn2_zzz, native_trn2_zzz),
    VV(U64, Trn2, 0xbdd, D, sve_trn2_zzz, native_trn2_zzz),
    // TBL
    VV(U8, Tbl, 0xa4c, B, sve_tbl_zzz, native_tbl_zzz),
    VV(U16, Tbl, 0xacc, H, sve_tbl_zzz, native_tbl_zzz),
    VV(U32, Tbl, 0xb4c, S, sve_tbl_zzz, native_tbl_zzz),
    VV(U64, Tbl, 0xbcc, D, sve_tbl_zzz, native_tbl_zzz),
    // REV (vector)
    V(U8, Reverse, 0x14e0e, B, sve_rev_zz, native_rev_zz),
    V(U16, Reverse, 0x15e0e, H, sve_rev_zz, native_rev_zz),
    V(U32, Reverse, 0x16e0e, S, sve_rev_zz, native_rev_zz),
    V(U64, Reverse, 0x17e0e, D, sve_rev_zz, native_rev_zz),
    // EXT
    SLIDE(U8, Slide, 0x148, B, sve_ext_zzi, native_ext_zzi),
    // SPLICE
    SPLICE(U8, Splice, 0x2964, B, reference_route, native_splice_zpz),
    SPLICE(U16, Splice, 0x2b64, H, reference_route, native_splice_zpz),
    SPLICE(U32, Splice, 0x2d64, S, reference_route, native_splice_zpz),
    SPLICE(U64, Splice, 0x2f64, D, reference_route, native_splice_zpz),
    // COMPACT
    COMPACT(U32, Compress, 0x2d0c, S, reference_route, native_compact_zpz),
    COMPACT(U64, Compress, 0x2f0c, D, reference_route, native_compact_zpz),
    // SUNPKLO, UUNPKLO
    UNPACK(S16, UnpackLo, 0x15c0e, H, reference_route, native_sunpklo_zz),
    UNPACK(S32, UnpackLo, 0x16c0e, S, reference_route, native_sunpklo_zz),
    UNPACK(S64, UnpackLo, 0x17c0e, D, sve_sunpklo_s2d_zz, native_sunpklo_zz),
    UNPACK(U16, UnpackLo, 0x15c8e, H, sve_uunpklo_b2h_zz, native_uunpklo_zz),
    UNPACK(U32, UnpackLo, 0x16c8e, S, sve_uunpklo_h2s_zz, native_uunpklo_zz),
    UNPACK(U64, UnpackLo, 0x17c8e, D, sve_uunpklo_s2d_zz, native_uunpklo_zz),
    // SUNPKHI, UUNPKHI
    UNPACK(S16, UnpackHi, 0x15c4e, H, reference_route, native_sunpkhi_zz),
    UNPACK(S32, UnpackHi, 0x16c4e, S, reference_route, native_sunpkhi_zz),
    UNPACK(S64, UnpackHi, 0x17c4e, D, sve_sunpkhi_s2d_zz, native_sunpkhi_zz),
    UNPACK(U16, UnpackHi, 0x15cce, H, sve_uunpkhi_b2h_zz, native_uunpkhi_zz),
    UNPACK(U32, UnpackHi, 0x16cce, S, sve_uunpkhi_h2s_zz, native_uunpkhi_zz),
    UNPACK(U64, UnpackHi, 0x17cce, D, sve_uunpkhi_s2d_zz, native_uunpkhi_zz),
    // INSR (scalar)
    INSERT_R(U8, Insert, 0x1490e, B, reference_route, native_insr_zr),
    INSERT_R(U16, Insert, 0x1590e, H, reference_route, native_insr_zr),
    INSERT_R(U32, Insert, 0x1690e, S, reference_route, native_insr_zr),
    INSERT_R(U64, Insert, 0x1790e, D, reference_route, native_insr_zr),
    // INSR (SIMD&FP scalar)
    INSERT_V(B8, Insert, 0x14d0e, B, reference_route, native_insr_zv),
    INSERT_V(H16, Insert, 0x15d0e, H, reference_route, native_insr_zv),
    INSERT_V(F32, Insert, 0x16d0e, S, reference_route, native_insr_zv),
    INSERT_V(D64, Insert, 0x17d0e, D, reference_route, native_insr_zv),
};
// clang-format on

constinit const handler_rows sve::reorder_rows = rows;
