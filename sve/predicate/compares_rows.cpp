#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/compares.h"
#include "sve/predicate/compares_native.h"

using namespace sve;

// A row of each shape: element type and relation of the handler, its key, the size code, its direct
// routine or reference_route, and its translation.

// Zn related to Zm, or to the wide elements of Zm
#define VVZ(type, relation, key, size, routine, native)                                            \
    row_to<routine, Vec##type##CmpFlg##relation##VVZ, to_p, Pd<size>, Pg<Z>, Zn<size>, Zm<size>>(  \
        "Vec" #type "CmpFlg" #relation "VVZ", &decode_map__31_21__15_13__4_4, key, by<native>)
#define VWZ(type, relation, key, size, routine, native)                                            \
    row_to<routine, Vec##type##CmpFlg##relation##VWZ, to_p, Pd<size>, Pg<Z>, Zn<size>, Zm<D>>(     \
        "Vec" #type "CmpFlg" #relation "VWZ", &decode_map__31_21__15_13__4_4, key, by<native>)
// Zn related to an immediate
#define VIZ_SIGNED(type, relation, key, size, routine, native)                                     \
    row_to<routine, Vec##type##CmpFlg##relation##VIZ, to_p, Pd<size>, Pg<Z>, Zn<size>,             \
           SImm<20, 16>>("Vec" #type "CmpFlg" #relation "VIZ", &decode_map__31_21__15_13__4_4,     \
                         key, by<native>)
#define VIZ_UNSIGNED(type, relation, key, size, routine, native)                                   \
    row_to<routine, Vec##type##CmpFlg##relation##VIZ, to_p, Pd<size>, Pg<Z>, Zn<size>,             \
           UImm<20, 14>>("Vec" #type "CmpFlg" #relation "VIZ", &decode_map__31_21__13_13__4_4,     \
                         key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // CMPEQ (vectors)
    VVZ(S8, EQ, 0x120a, B, sve_cmpeq_ppzz, native_cmpeq_ppzz),
    VVZ(S16, EQ, 0x122a, H, sve_cmpeq_ppzz, native_cmpeq_ppzz),
    VVZ(S32, EQ, 0x124a, S, sve_cmpeq_ppzz, native_cmpeq_ppzz),
    VVZ(S64, EQ, 0x126a, D, sve_cmpeq_ppzz, native_cmpeq_ppzz),
    // CMPNE (vectors)
    VVZ(S8, NE, 0x120b, B, sve_cmpne_ppzz, native_cmpne_ppzz),
    VVZ(S16, NE, 0x122b, H, sve_cmpne_ppzz, native_cmpne_ppzz),
    VVZ(S32, NE, 0x124b, S, sve_cmpne_ppzz, native_cmpne_ppzz),
    VVZ(S64, NE, 0x126b, D, sve_cmpne_ppzz, native_cmpne_ppzz),
    // CMPGE (vectors)
    VVZ(S8, GE, 0x1208, B, sve_cmpge_ppzz, native_cmpge_ppzz),
    VVZ(S16, GE, 0x1228, H, sve_cmpge_ppzz, native_cmpge_ppzz),
    VVZ(S32, GE, 0x1248, S, sve_cmpge_ppzz, native_cmpge_ppzz),
    VVZ(S64, GE, 0x1268, D, sve_cmpge_ppzz, native_cmpge_ppzz),
    // CMPHS (vectors)
    VVZ(U8, GE, 0x1200, B, sve_cmphs_ppzz, native_cmphs_ppzz),
    VVZ(U16, GE, 0x1220, H, sve_cmphs_ppzz, native_cmphs_ppzz),
    VVZ(U32, GE, 0x1240, S, sve_cmphs_ppzz, native_cmphs_ppzz),
    VVZ(U64, GE, 0x1260, D, sve_cmphs_ppzz, native_cmphs_ppzz),
    // CMPGT (vectors)
    VVZ(S8, GT, 0x1209, B, sve_cmpgt_ppzz, native_cmpgt_ppzz),
    VVZ(S16, GT, 0x1229, H, sve_cmpgt_ppzz, native_cmpgt_ppzz),
    VVZ(S32, GT, 0x1249, S, sve_cmpgt_ppzz, native_cmpgt_ppzz),
    VVZ(S64, GT, 0x1269, D, sve_cmpgt_ppzz, native_cmpgt_ppzz),
    // CMPHI (vectors)
    VVZ(U8, GT, 0x1201, B, sve_cmphi_ppzz, native_cmphi_ppzz),
    VVZ(U16, GT, 0x1221, H, sve_cmphi_ppzz, native_cmphi_ppzz),
    VVZ(U32, GT, 0x1241, S, sve_cmphi_ppzz, native_cmphi_ppzz),
    VVZ(U64, GT, 0x1261, D, sve_cmphi_ppzz, native_cmphi_ppzz),
    // CMPEQ (wide elements)
    VWZ(S8, EQ, 0x1202, B, reference_route, native_cmpeq_wide_ppzz),
    VWZ(S16, EQ, 0x1222, H, reference_route, native_cmpeq_wide_ppzz),
    VWZ(S32, EQ, 0x1242, S, reference_route, native_cmpeq_wide_ppzz),
    // CMPNE (wide elements)
    VWZ(S8, NE, 0x1203, B, reference_route, native_cmpne_wide_ppzz),
    VWZ(S16, NE, 0x1223, H, reference_route, native_cmpne_wide_ppzz),
    VWZ(S32, NE, 0x1243, S, reference_route, native_cmpne_wide_ppzz),
    // CMPGE (wide elements)
    VWZ(S8, GE, 0x1204, B, reference_route, native_cmpge_wide_ppzz),
    VWZ(S16, GE, 0x1224, H, reference_route, native_cmpge_wide_ppzz),
    VWZ(S32, GE, 0x1244, S, reference_route, native_cmpge_wide_ppzz),
    // CMPHS (wide elements)
    VWZ(U8, GE, 0x120c, B, reference_route, native_cmphs_wide_ppzz),
    VWZ(U16, GE, 0x122c, H, reference_route, native_cmphs_wide_ppzz),
    VWZ(U32, GE, 0x124c, S, reference_route, native_cmphs_wide_ppzz),
    // CMPGT (wide elements)
    VWZ(S8, GT, 0x1205, B, reference_route, native_cmpgt_wide_ppzz),
    VWZ(S16, GT, 0x1225, H, reference_route, native_cmpgt_wide_ppzz),
    VWZ(S32, GT, 0x1245, S, reference_route, native_cmpgt_wide_ppzz),
    // CMPHI (wide elements)
    VWZ(U8, GT, 0x120d, B, reference_route, native_cmphi_wide_ppzz),
    VWZ(U16, GT, 0x122d, H, reference_route, native_cmphi_wide_ppzz),
    VWZ(U32, GT, 0x124d, S, reference_route, native_cmphi_wide_ppzz),
    // CMPLE (wide elements)
    VWZ(S8, LE, 0x1207, B, reference_route, native_cmple_wide_ppzz),
    VWZ(S16, LE, 0x1227, H, reference_route, native_cmple_wide_ppzz),
    VWZ(S32, LE, 0x1247, S, reference_route, native_cmple_wide_ppzz),
    // CMPLS (wide elements)
    VWZ(U8, LE, 0x120f, B, reference_route, native_cmpls_wide_ppzz),
    VWZ(U16, LE, 0x122f, H, reference_route, native_cmpls_wide_ppzz),
    VWZ(U32, LE, 0x124f, S, reference_route, native_cmpls_wide_ppzz),
    // CMPLT (wide elements)
    VWZ(S8, LT, 0x1206, B, reference_route, native_cmplt_wide_ppzz),
    VWZ(S16, LT, 0x1226, H, reference_route, native_cmplt_wide_ppzz),
    VWZ(S32, LT, 0x1246, S, reference_route, native_cmplt_wide_ppzz),
    // CMPLO (wide elements)
    VWZ(U8, LT, 0x120e, B, reference_route, native_cmplo_wide_ppzz),
    VWZ(U16, LT, 0x122e, H, reference_route, native_cmplo_wide_ppzz),
    VWZ(U32, LT, 0x124e, S, reference_route, native_cmplo_wide_ppzz),
    // CMPEQ (immediate)
    VIZ_SIGNED(S8, EQ, 0x1288, B, sve_cmpeq_ppzi, native_cmpeq_ppzi),
    VIZ_SIGNED(S16, EQ, 0x12a8, H, sve_cmpeq_ppzi, native_cmpeq_ppzi),
    VIZ_SIGNED(S32, EQ, 0x12c8, S, sve_cmpeq_ppzi, native_cmpeq_ppzi),
    VIZ_SIGNED(S64, EQ, 0x12e8, D, sve_cmpeq_ppzi, native_cmpeq_ppzi),
    // CMPNE (immediate)
    VIZ_SIGNED(S8, NE, 0x1289, B, sve_cmpne_ppzi, native_cmpne_ppzi),
    VIZ_SIGNED(S16, NE, 0x12a9, H, sve_cmpne_ppzi, native_cmpne_ppzi),
    VIZ_SIGNED(S32, NE, 0x12c9, S, sve_cmpne_ppzi, native_cmpne_ppzi),
    VIZ_SIGNED(S64, NE, 0x12e9, D, sve_cmpne_ppzi, native_cmpne_ppzi),
    // CMPGE (immediate)
    VIZ_SIGNED(S8, GE, 0x1280, B, reference_route, native_cmpge_ppzi),
    VIZ_SIGNED(S16, GE, 0x12a0, H, reference_route, native_cmpge_ppzi),
    VIZ_SIGNED(S32, GE, 0x12c0, S, reference_route, native_cmpge_ppzi),
    VIZ_SIGNED(S64, GE, 0x12e0, D, reference_route, native_cmpge_ppzi),
    // CMPHS (immediate)
    VIZ_UNSIGNED(U8, GE, 0x484, B, reference_route, native_cmphs_ppzi),
    VIZ_UNSIGNED(U16, GE, 0x48c, H, reference_route, native_cmphs_ppzi),
    VIZ_UNSIGNED(U32, GE, 0x494, S, reference_route, native_cmphs_ppzi),
    VIZ_UNSIGNED(U64, GE, 0x49c, D, reference_route, native_cmphs_ppzi),
    // CMPGT (immediate)
    VIZ_SIGNED(S8, GT, 0x1281, B, sve_cmpgt_ppzi, native_cmpgt_ppzi),
    VIZ_SIGNED(S16, GT, 0x12a1, H, sve_cmpgt_ppzi, native_cmpgt_ppzi),
    VIZ_SIGNED(S32, GT, 0x12c1, S, sve_cmpgt_ppzi, native_cmpgt_ppzi),
    VIZ_SIGNED(S64, GT, 0x12e1, D, sve_cmpgt_ppzi, native_cmpgt_ppzi),
    // CMPHI (immediate)
    VIZ_UNSIGNED(U8, GT, 0x485, B, sve_cmphi_ppzi, native_cmphi_ppzi),
    VIZ_UNSIGNED(U16, GT, 0x48d, H, sve_cmphi_ppzi, native_cmphi_ppzi),
    VIZ_UNSIGNED(U32, GT, 0x495, S, sve_cmphi_ppzi, native_cmphi_ppzi),
    VIZ_UNSIGNED(U64, GT, 0x49d, D, sve_cmphi_ppzi, native_cmphi_ppzi),
    // CMPLE (immediate)
    VIZ_SIGNED(S8, LE, 0x1283, B, sve_cmple_ppzi, native_cmple_ppzi),
    VIZ_SIGNED(S16, LE, 0x12a3, H, sve_cmple_ppzi, native_cmple_ppzi),
    VIZ_SIGNED(S32, LE, 0x12c3, S, sve_cmple_ppzi, native_cmple_ppzi),
    VIZ_SIGNED(S64, LE, 0x12e3, D, sve_cmple_ppzi, native_cmple_ppzi),
    // CMPLS (immediate)
    VIZ_UNSIGNED(U8, LE, 0x487, B, reference_route, native_cmpls_ppzi),
    VIZ_UNSIGNED(U16, LE, 0x48f, H, reference_route, native_cmpls_ppzi),
    VIZ_UNSIGNED(U32, LE, 0x497, S, reference_route, native_cmpls_ppzi),
    VIZ_UNSIGNED(U64, LE, 0x49f, D, reference_route, native_cmpls_ppzi),
    // CMPLT (immediate)
    VIZ_SIGNED(S8, LT, 0x1282, B, sve_cmplt_ppzi, native_cmplt_ppzi),
    VIZ_SIGNED(S16, LT, 0x12a2, H, sve_cmplt_ppzi, native_cmplt_ppzi),
    VIZ_SIGNED(S32, LT, 0x12c2, S, sve_cmplt_ppzi, native_cmplt_ppzi),
    VIZ_SIGNED(S64, LT, 0x12e2, D, sve_cmplt_ppzi, native_cmplt_ppzi),
    // CMPLO (immediate)
    VIZ_UNSIGNED(U8, LT, 0x486, B, sve_cmplo_ppzi, native_cmplo_ppzi),
    VIZ_UNSIGNED(U16, LT, 0x48e, H, sve_cmplo_ppzi, native_cmplo_ppzi),
    VIZ_UNSIGNED(U32, LT, 0x496, S, sve_cmplo_ppzi, native_cmplo_ppzi),
    VIZ_UNSIGNED(U64, LT, 0x49e, D, sve_cmplo_ppzi, native_cmplo_ppzi),
};
// clang-format on

constinit const handler_rows sve::integer_compare_rows = rows;
