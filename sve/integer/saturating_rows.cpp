#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/saturating.h"
#include "sve/integer/saturating_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its
// translation. All take the reference route.

// Zd = Zn op Zm
#define VVX(type, op, key, size, native)                                                           \
    row_to<reference_route, Vec##type##op##VVX, to_z, Zd<size>, Zn<size>, Zm<size>>(               \
        "Vec" #type #op "VVX", &decode_map__31_21__15_10, key, by<native>)
// Zdn = Zdn op immediate
#define VIX(type, op, key, size, native)                                                           \
    row<reference_route, Vec##type##op##VIX, to_z, Zdn<size>, UImm8Shifted>(                       \
        "Vec" #type #op "VIX", &decode_map__31_14, key, by<native>)
// Zda = Zda + Zn · Zm
#define DOT(type, op, key, size, native)                                                           \
    row<reference_route, Vec##type##op##VVVX, to_z, Zn<size>, Zm<size>, Zda<size>>(                \
        "Vec" #type #op "VVVX", &decode_map__31_21__15_10, key, by<native>)
// The same with one group of Zm for each segment, by the index; a wider index leaves fewer bits for Zm
#define DOT_INDEXED(type, op, key, size, native, ZmLow, Index)                                     \
    row<reference_route, Vec##type##op##VVVIX, to_z, Zn<size>, ZmLow, Zda<size>, Index>(           \
        "Vec" #type #op "VVVIX", &decode_map__31_21__15_10, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // SQADD, UQADD (vectors)
    VVX(S8, QAdd, 0x844, B, native_sqadd_zzz),
    VVX(S16, QAdd, 0x8c4, H, native_sqadd_zzz),
    VVX(S32, QAdd, 0x944, S, native_sqadd_zzz),
    VVX(S64, QAdd, 0x9c4, D, native_sqadd_zzz),
    VVX(U8, QAdd, 0x845, B, native_uqadd_zzz),
    VVX(U16, QAdd, 0x8c5, H, native_uqadd_zzz),
    VVX(U32, QAdd, 0x945, S, native_uqadd_zzz),
    VVX(U64, QAdd, 0x9c5, D, native_uqadd_zzz),
    // SQSUB, UQSUB (vectors)
    VVX(S8, QSub, 0x846, B, native_sqsub_zzz),
    VVX(S16, QSub, 0x8c6, H, native_sqsub_zzz),
    VVX(S32, QSub, 0x946, S, native_sqsub_zzz),
    VVX(S64, QSub, 0x9c6, D, native_sqsub_zzz),
    VVX(U8, QSub, 0x847, B, native_uqsub_zzz),
    VVX(U16, QSub, 0x8c7, H, native_uqsub_zzz),
    VVX(U32, QSub, 0x947, S, native_uqsub_zzz),
    VVX(U64, QSub, 0x9c7, D, native_uqsub_zzz),
    // SQADD, UQADD (immediate)
    VIX(S8, QAdd, 0x9493, B, native_sqadd_zi),
    VIX(S16, QAdd, 0x9593, H, native_sqadd_zi),
    VIX(S32, QAdd, 0x9693, S, native_sqadd_zi),
    VIX(S64, QAdd, 0x9793, D, native_sqadd_zi),
    VIX(U8, QAdd, 0x9497, B, native_uqadd_zi),
    VIX(U16, QAdd, 0x9597, H, native_uqadd_zi),
    VIX(U32, QAdd, 0x9697, S, native_uqadd_zi),
    VIX(U64, QAdd, 0x9797, D, native_uqadd_zi),
    // SQSUB, UQSUB (immediate)
    VIX(S8, QSub, 0x949b, B, native_sqsub_zi),
    VIX(S16, QSub, 0x959b, H, native_sqsub_zi),
    VIX(S32, QSub, 0x969b, S, native_sqsub_zi),
    VIX(S64, QSub, 0x979b, D, native_sqsub_zi),
    VIX(U8, QSub, 0x949f, B, native_uqsub_zi),
    VIX(U16, QSub, 0x959f, H, native_uqsub_zi),
    VIX(U32, QSub, 0x969f, S, native_uqsub_zi),
    VIX(U64, QSub, 0x979f, D, native_uqsub_zi),
    // SDOT, UDOT (vectors)
    DOT(S32, Dot, 0x8900, S, native_sdot_zzz),
    DOT(S64, Dot, 0x8980, D, native_sdot_zzz),
    DOT(U32, Dot, 0x8901, S, native_udot_zzz),
    DOT(U64, Dot, 0x8981, D, native_udot_zzz),
    // SDOT, UDOT (indexed)
    DOT_INDEXED(S32, Dot, 0x8940, S, native_sdot_zzzi, Zm_18_16<B>, Index_20_19),
    DOT_INDEXED(S64, Dot, 0x89c0, D, native_sdot_zzzi, Zm_19_16<H>, Index_20),
    DOT_INDEXED(U32, Dot, 0x8941, S, native_udot_zzzi, Zm_18_16<B>, Index_20_19),
    DOT_INDEXED(U64, Dot, 0x89c1, D, native_udot_zzzi, Zm_19_16<H>, Index_20),
};
// clang-format on

constinit const handler_rows sve::integer_saturating_rows = rows;
