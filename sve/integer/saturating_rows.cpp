#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/saturating.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code. All take the
// reference route.

// Zd = Zn op Zm
#define VVX(type, op, key, size)                                                                   \
    row_to<reference_route, Vec##type##op##VVX, to_z, Zd<size>, Zn<size>, Zm<size>>(               \
        "Vec" #type #op "VVX", &decode_map__31_21__15_10, key)
// Zdn = Zdn op immediate
#define VIX(type, op, key, size)                                                                   \
    row<reference_route, Vec##type##op##VIX, to_z, Zdn<size>, UImm8Shifted>(                       \
        "Vec" #type #op "VIX", &decode_map__31_14, key)
// Zda = Zda + Zn · Zm
#define DOT(type, op, key, size)                                                                   \
    row<reference_route, Vec##type##op##VVVX, to_z, Zn<size>, Zm<size>, Zda<size>>(                \
        "Vec" #type #op "VVVX", &decode_map__31_21__15_10, key)
// The same with one group of Zm for each segment, by the index; a wider index leaves fewer bits for Zm
#define DOT_INDEXED(type, op, key, size, ZmLow, Index)                                             \
    row<reference_route, Vec##type##op##VVVIX, to_z, Zn<size>, ZmLow, Zda<size>, Index>(           \
        "Vec" #type #op "VVVIX", &decode_map__31_21__15_10, key)

// clang-format off
static constexpr handler_row rows[] = {
    // SQADD, UQADD (vectors)
    VVX(S8, QAdd, 0x844, B),
    VVX(S16, QAdd, 0x8c4, H),
    VVX(S32, QAdd, 0x944, S),
    VVX(S64, QAdd, 0x9c4, D),
    VVX(U8, QAdd, 0x845, B),
    VVX(U16, QAdd, 0x8c5, H),
    VVX(U32, QAdd, 0x945, S),
    VVX(U64, QAdd, 0x9c5, D),
    // SQSUB, UQSUB (vectors)
    VVX(S8, QSub, 0x846, B),
    VVX(S16, QSub, 0x8c6, H),
    VVX(S32, QSub, 0x946, S),
    VVX(S64, QSub, 0x9c6, D),
    VVX(U8, QSub, 0x847, B),
    VVX(U16, QSub, 0x8c7, H),
    VVX(U32, QSub, 0x947, S),
    VVX(U64, QSub, 0x9c7, D),
    // SQADD, UQADD (immediate)
    VIX(S8, QAdd, 0x9493, B),
    VIX(S16, QAdd, 0x9593, H),
    VIX(S32, QAdd, 0x9693, S),
    VIX(S64, QAdd, 0x9793, D),
    VIX(U8, QAdd, 0x9497, B),
    VIX(U16, QAdd, 0x9597, H),
    VIX(U32, QAdd, 0x9697, S),
    VIX(U64, QAdd, 0x9797, D),
    // SQSUB, UQSUB (immediate)
    VIX(S8, QSub, 0x949b, B),
    VIX(S16, QSub, 0x959b, H),
    VIX(S32, QSub, 0x969b, S),
    VIX(S64, QSub, 0x979b, D),
    VIX(U8, QSub, 0x949f, B),
    VIX(U16, QSub, 0x959f, H),
    VIX(U32, QSub, 0x969f, S),
    VIX(U64, QSub, 0x979f, D),
    // SDOT, UDOT (vectors)
    DOT(S32, Dot, 0x8900, S),
    DOT(S64, Dot, 0x8980, D),
    DOT(U32, Dot, 0x8901, S),
    DOT(U64, Dot, 0x8981, D),
    // SDOT, UDOT (indexed)
    DOT_INDEXED(S32, Dot, 0x8940, S, Zm_18_16<B>, Index_20_19),
    DOT_INDEXED(S64, Dot, 0x89c0, D, Zm_19_16<H>, Index_20),
    DOT_INDEXED(U32, Dot, 0x8941, S, Zm_18_16<B>, Index_20_19),
    DOT_INDEXED(U64, Dot, 0x89c1, D, Zm_19_16<H>, Index_20),
};
// clang-format on

constinit const handler_rows sve::integer_saturating_rows = rows;
