#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/generation.h"
#include "sve/predicate/generation_native.h"

using namespace sve;

// A row of each shape: type and operation of the handler, its key, the size code, the view of the general
// registers, and its direct routine or reference_route.

// Pd by a pattern
#define PATTERN(bits, op, key, size, routine, native)                                              \
    row_to<routine, VecP##bits##op, to_p, Pd<size>, Pattern>(                                      \
        "VecP" #bits #op, &decode_map__31_10__4_4, key, by<native>)
// Pdn by Pg and Pdn, which the tiers take in different orders
#define NEXT(bits, key, size)                                                                      \
    row_of<VecP##bits##GenNextP, to_p, Pg_8_5<plain>, Pdn<size>>(                                  \
        "VecP" #bits "GenNextP", &decode_map__31_9__4_4, key,                                      \
        direct<sve_pnext_pp, Pdn<size>, Pg_8_5<plain>>,                                            \
        translation_stub<native_pnext_pp, Pdn<size>, Pg_8_5<plain>>())
// Pd by Rn and Rm
#define WHILE(type, op, key, size, view, routine, native)                                          \
    row_to<routine, Vec##type##op##SS, to_p, Pd<size>, Rn<view>, Rm<view>>(                        \
        "Vec" #type #op "SS", &decode_map__31_21__15_10__4_4, key, by<native>)
// Flags by Rn and Rm
#define TERMINATE(type, op, key, view, native)                                                     \
    row<reference_route, Vec##type##op, to_none, Rn<view>, Rm<view>>(                              \
        "Vec" #type #op, &decode_map__31_21__15_10__4_0, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // PTRUE
    PATTERN(8, TrueI, 0x128c70, B, sve_ptrue_pi, native_ptrue_pi),
    PATTERN(16, TrueI, 0x12ac70, H, sve_ptrue_pi, native_ptrue_pi),
    PATTERN(32, TrueI, 0x12cc70, S, sve_ptrue_pi, native_ptrue_pi),
    PATTERN(64, TrueI, 0x12ec70, D, sve_ptrue_pi, native_ptrue_pi),
    // PTRUES
    PATTERN(8, TrueFlgI, 0x128cf0, B, reference_route, native_ptrues_pi),
    PATTERN(16, TrueFlgI, 0x12acf0, H, reference_route, native_ptrues_pi),
    PATTERN(32, TrueFlgI, 0x12ccf0, S, reference_route, native_ptrues_pi),
    PATTERN(64, TrueFlgI, 0x12ecf0, D, reference_route, native_ptrues_pi),
    // PNEXT
    NEXT(8, 0x2519c4, B),
    NEXT(16, 0x2559c4, H),
    NEXT(32, 0x2599c4, S),
    NEXT(64, 0x25d9c4, D),
    // PFALSE
    row_to<sve_pfalse_p, VecPFalse, to_p, Pd<B>>("VecPFalse", &decode_map__31_4, 0x2518e40, by<native_pfalse_p>),
    // PFIRST
    row<reference_route, VecPSetFirstActiveP, to_p, Pg_8_5<plain>, Pdn<B>>("VecPSetFirstActiveP", &decode_map__31_9__4_4, 0x2558c0, by<native_pfirst_p>),
    // WHILELT
    WHILE(S8, While4LT, 0x9482, B, W, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S8, While8LT, 0x948a, B, X, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S16, While4LT, 0x9582, H, W, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S16, While8LT, 0x958a, H, X, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S32, While4LT, 0x9682, S, W, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S32, While8LT, 0x968a, S, X, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S64, While4LT, 0x9782, D, W, sve_whilelt_prr, native_whilelt_prr),
    WHILE(S64, While8LT, 0x978a, D, X, sve_whilelt_prr, native_whilelt_prr),
    // WHILELE
    WHILE(S8, While4LE, 0x9483, B, W, reference_route, native_whilele_prr),
    WHILE(S8, While8LE, 0x948b, B, X, reference_route, native_whilele_prr),
    WHILE(S16, While4LE, 0x9583, H, W, reference_route, native_whilele_prr),
    WHILE(S16, While8LE, 0x958b, H, X, reference_route, native_whilele_prr),
    WHILE(S32, While4LE, 0x9683, S, W, reference_route, native_whilele_prr),
    WHILE(S32, While8LE, 0x968b, S, X, reference_route, native_whilele_prr),
    WHILE(S64, While4LE, 0x9783, D, W, reference_route, native_whilele_prr),
    WHILE(S64, While8LE, 0x978b, D, X, reference_route, native_whilele_prr),
    // WHILELO
    WHILE(U8, While4LT, 0x9486, B, W, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U8, While8LT, 0x948e, B, X, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U16, While4LT, 0x9586, H, W, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U16, While8LT, 0x958e, H, X, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U32, While4LT, 0x9686, S, W, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U32, While8LT, 0x968e, S, X, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U64, While4LT, 0x9786, D, W, sve_whilelo_prr, native_whilelo_prr),
    WHILE(U64, While8LT, 0x978e, D, X, sve_whilelo_prr, native_whilelo_prr),
    // WHILELS
    WHILE(U8, While4LE, 0x9487, B, W, sve_whilels_prr, native_whilels_prr),
    WHILE(U8, While8LE, 0x948f, B, X, sve_whilels_prr, native_whilels_prr),
    WHILE(U16, While4LE, 0x9587, H, W, sve_whilels_prr, native_whilels_prr),
    WHILE(U16, While8LE, 0x958f, H, X, sve_whilels_prr, native_whilels_prr),
    WHILE(U32, While4LE, 0x9687, S, W, sve_whilels_prr, native_whilels_prr),
    WHILE(U32, While8LE, 0x968f, S, X, sve_whilels_prr, native_whilels_prr),
    WHILE(U64, While4LE, 0x9787, D, W, sve_whilels_prr, native_whilels_prr),
    WHILE(U64, While8LE, 0x978f, D, X, sve_whilels_prr, native_whilels_prr),
    // CTERMEQ, CTERMNE
    TERMINATE(U32, CTermEQ, 0x96900, W, native_ctermeq_rr),
    TERMINATE(U64, CTermEQ, 0x97900, X, native_ctermeq_rr),
    TERMINATE(U32, CTermNE, 0x96910, W, native_ctermne_rr),
    TERMINATE(U64, CTermNE, 0x97910, X, native_ctermne_rr),
};
// clang-format on

constinit const handler_rows sve::predicate_generation_rows = rows;
