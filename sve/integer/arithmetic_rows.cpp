#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/arithmetic.h"
#include "sve/integer/arithmetic_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its
// direct routine or reference_route, and its translation or untranslated. All of a shape are in one map.

// Zd = Zn op Zm
#define VVX(type, op, key, size, routine, native)                                                  \
    row_to<routine, Vec##type##op##VVX, to_z, Zd<size>, Zn<size>, Zm<size>>(                       \
        "Vec" #type #op "VVX", &decode_map__31_21__15_10, key, by<native>)
// Zdn = Zdn op Zm where Pg is true
#define VVM(type, op, key, size, routine, native)                                                  \
    row<routine, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>>(                        \
        "Vec" #type #op "VVM", &decode_map__31_13, key, by<native>)
// Zd = op Zn where Pg is true
#define VM(type, op, key, size, routine, native)                                                   \
    row<routine, Vec##type##op##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                              \
        "Vec" #type #op "VM", &decode_map__31_13, key, by<native>)
// Zda = Zda ± Zn * Zm where Pg is true; and Zdn = Za ± Zdn * Zm, where Za has the place of Zn
#define ACCUMULATE(type, op, key, size, routine, native)                                           \
    row<routine, Vec##type##op##VVVM, to_z, Zda<size>, Pg<M>, Zn<size>, Zm<size>>(                 \
        "Vec" #type #op "VVVM", &decode_map__31_21__15_13, key, by<native>)
#define MULTIPLY(type, op, key, size, routine, native)                                             \
    row<routine, Vec##type##op##VVVM, to_z, Zdn<size>, Pg<M>, Zm<size>, Zn<size>>(                 \
        "Vec" #type #op "VVVM", &decode_map__31_21__15_13, key, by<native>)
// Zdn = Zdn op immediate: unsigned with an optional shift, or signed or unsigned without one
#define VIX(type, op, key, size, routine, native, map, Immediate)                                  \
    row<routine, Vec##type##op##VIX, to_z, Zdn<size>, Immediate>(                                  \
        "Vec" #type #op "VIX", &decode_map__##map, key, by<native>)
#define VI_SHIFTED(type, op, key, size, routine, native)                                           \
    VIX(type, op, key, size, routine, native, 31_14, UImm8Shifted)
#define VI_SIGNED(type, op, key, size, routine, native)                                            \
    VIX(type, op, key, size, routine, native, 31_13, IMM(SImm<12, 5>))
#define VI_UNSIGNED(type, op, key, size, routine, native)                                          \
    VIX(type, op, key, size, routine, native, 31_13, IMM(UImm<12, 5>))
#define IMM(...) __VA_ARGS__

// clang-format off
static constexpr handler_row rows[] = {
    // ADD (vectors, unpredicated)
    VVX(U8, Add, 0x840, B, sve_add_zzz, native_add_zzz),
    VVX(U16, Add, 0x8c0, H, sve_add_zzz, native_add_zzz),
    VVX(U32, Add, 0x940, S, sve_add_zzz, native_add_zzz),
    VVX(U64, Add, 0x9c0, D, sve_add_zzz, native_add_zzz),
    // SUB (vectors, unpredicated)
    VVX(U8, Sub, 0x841, B, sve_sub_zzz, native_sub_zzz),
    VVX(U16, Sub, 0x8c1, H, sve_sub_zzz, native_sub_zzz),
    VVX(U32, Sub, 0x941, S, sve_sub_zzz, native_sub_zzz),
    VVX(U64, Sub, 0x9c1, D, sve_sub_zzz, native_sub_zzz),
    // ADD (vectors, predicated)
    VVM(U8, Add, 0x2000, B, sve_add_zpz, native_add_zpz),
    VVM(U16, Add, 0x2200, H, sve_add_zpz, native_add_zpz),
    VVM(U32, Add, 0x2400, S, sve_add_zpz, native_add_zpz),
    VVM(U64, Add, 0x2600, D, sve_add_zpz, native_add_zpz),
    // SUB (vectors, predicated)
    VVM(U8, Sub, 0x2008, B, sve_sub_zpz, native_sub_zpz),
    VVM(U16, Sub, 0x2208, H, sve_sub_zpz, native_sub_zpz),
    VVM(U32, Sub, 0x2408, S, sve_sub_zpz, native_sub_zpz),
    VVM(U64, Sub, 0x2608, D, sve_sub_zpz, native_sub_zpz),
    // SUBR (vectors)
    VVM(U8, SubR, 0x2018, B, reference_route, native_subr_zpz),
    VVM(U16, SubR, 0x2218, H, reference_route, native_subr_zpz),
    VVM(U32, SubR, 0x2418, S, reference_route, native_subr_zpz),
    VVM(U64, SubR, 0x2618, D, reference_route, native_subr_zpz),
    // SABD, UABD
    VVM(S8, Abd, 0x2060, B, reference_route, native_sabd_zpz),
    VVM(S16, Abd, 0x2260, H, reference_route, native_sabd_zpz),
    VVM(S32, Abd, 0x2460, S, reference_route, native_sabd_zpz),
    VVM(S64, Abd, 0x2660, D, reference_route, native_sabd_zpz),
    VVM(U8, Abd, 0x2068, B, reference_route, native_uabd_zpz),
    VVM(U16, Abd, 0x2268, H, reference_route, native_uabd_zpz),
    VVM(U32, Abd, 0x2468, S, reference_route, native_uabd_zpz),
    VVM(U64, Abd, 0x2668, D, reference_route, native_uabd_zpz),
    // MUL (vectors, predicated)
    VVM(S8, Mul, 0x2080, B, sve_mul_zpz, native_mul_zpz),
    VVM(S16, Mul, 0x2280, H, sve_mul_zpz, native_mul_zpz),
    VVM(S32, Mul, 0x2480, S, sve_mul_zpz, native_mul_zpz),
    VVM(S64, Mul, 0x2680, D, sve_mul_zpz, native_mul_zpz),
    // SMULH, UMULH
    VVM(S8, MulH, 0x2090, B, reference_route, native_smulh_zpz),
    VVM(S16, MulH, 0x2290, H, reference_route, native_smulh_zpz),
    VVM(S32, MulH, 0x2490, S, reference_route, native_smulh_zpz),
    VVM(S64, MulH, 0x2690, D, reference_route, native_smulh_zpz),
    VVM(U8, MulH, 0x2098, B, reference_route, native_umulh_zpz),
    VVM(U16, MulH, 0x2298, H, reference_route, native_umulh_zpz),
    VVM(U32, MulH, 0x2498, S, reference_route, native_umulh_zpz),
    VVM(U64, MulH, 0x2698, D, reference_route, native_umulh_zpz),
    // SDIV, UDIV
    VVM(S32, Div, 0x24a0, S, sve_sdiv_zpz, native_sdiv_zpz),
    VVM(S64, Div, 0x26a0, D, sve_sdiv_zpz, native_sdiv_zpz),
    VVM(U32, Div, 0x24a8, S, sve_udiv_zpz, native_udiv_zpz),
    VVM(U64, Div, 0x26a8, D, sve_udiv_zpz, native_udiv_zpz),
    // SDIVR, UDIVR
    VVM(S32, DivR, 0x24b0, S, sve_sdivr_zpz, native_sdivr_zpz),
    VVM(S64, DivR, 0x26b0, D, sve_sdivr_zpz, native_sdivr_zpz),
    VVM(U32, DivR, 0x24b8, S, sve_udivr_zpz, native_udivr_zpz),
    VVM(U64, DivR, 0x26b8, D, sve_udivr_zpz, native_udivr_zpz),
    // SMAX, UMAX (vectors)
    VVM(S8, Max, 0x2040, B, sve_smax_zpz, native_smax_zpz),
    VVM(S16, Max, 0x2240, H, sve_smax_zpz, native_smax_zpz),
    VVM(S32, Max, 0x2440, S, sve_smax_zpz, native_smax_zpz),
    VVM(S64, Max, 0x2640, D, sve_smax_zpz, native_smax_zpz),
    VVM(U8, Max, 0x2048, B, sve_umax_zpz, native_umax_zpz),
    VVM(U16, Max, 0x2248, H, sve_umax_zpz, native_umax_zpz),
    VVM(U32, Max, 0x2448, S, sve_umax_zpz, native_umax_zpz),
    VVM(U64, Max, 0x2648, D, sve_umax_zpz, native_umax_zpz),
    // SMIN, UMIN (vectors)
    VVM(S8, Min, 0x2050, B, sve_smin_zpz, native_smin_zpz),
    VVM(S16, Min, 0x2250, H, sve_smin_zpz, native_smin_zpz),
    VVM(S32, Min, 0x2450, S, sve_smin_zpz, native_smin_zpz),
    VVM(S64, Min, 0x2650, D, sve_smin_zpz, native_smin_zpz),
    VVM(U8, Min, 0x2058, B, sve_umin_zpz, native_umin_zpz),
    VVM(U16, Min, 0x2258, H, sve_umin_zpz, native_umin_zpz),
    VVM(U32, Min, 0x2458, S, sve_umin_zpz, native_umin_zpz),
    VVM(U64, Min, 0x2658, D, sve_umin_zpz, native_umin_zpz),
    // ABS
    VM(S8, Abs, 0x20b5, B, reference_route, native_abs_zpz),
    VM(S16, Abs, 0x22b5, H, reference_route, native_abs_zpz),
    VM(S32, Abs, 0x24b5, S, reference_route, native_abs_zpz),
    VM(S64, Abs, 0x26b5, D, reference_route, native_abs_zpz),
    // NEG
    VM(S8, Neg, 0x20bd, B, sve_neg_zpz, native_neg_zpz),
    VM(S16, Neg, 0x22bd, H, sve_neg_zpz, native_neg_zpz),
    VM(S32, Neg, 0x24bd, S, sve_neg_zpz, native_neg_zpz),
    VM(S64, Neg, 0x26bd, D, sve_neg_zpz, native_neg_zpz),
    // SXTB, UXTB
    VM(S16, Extnd12, 0x2285, H, sve_sxtb_zpz, native_sxtb_zpz),
    VM(U16, Extnd12, 0x228d, H, reference_route, native_uxtb_zpz),
    // SXTB, UXTB
    VM(S32, Extnd14, 0x2485, S, sve_sxtb_zpz, native_sxtb_zpz),
    VM(U32, Extnd14, 0x248d, S, reference_route, native_uxtb_zpz),
    // SXTB, UXTB
    VM(S64, Extnd18, 0x2685, D, sve_sxtb_zpz, native_sxtb_zpz),
    VM(U64, Extnd18, 0x268d, D, reference_route, native_uxtb_zpz),
    // SXTH, UXTH
    VM(S32, Extnd24, 0x2495, S, sve_sxth_zpz, native_sxth_zpz),
    VM(U32, Extnd24, 0x249d, S, sve_uxth_zpz, native_uxth_zpz),
    // SXTH, UXTH
    VM(S64, Extnd28, 0x2695, D, sve_sxth_zpz, native_sxth_zpz),
    VM(U64, Extnd28, 0x269d, D, sve_uxth_zpz, native_uxth_zpz),
    // SXTW, UXTW
    VM(S64, Extnd48, 0x26a5, D, sve_sxtw_zpz, native_sxtw_zpz),
    VM(U64, Extnd48, 0x26ad, D, sve_uxtw_zpz, native_uxtw_zpz),
    // MLA
    ACCUMULATE(S8, MLA, 0x102, B, sve_mla_zpzz, native_mla_zpzz),
    ACCUMULATE(S16, MLA, 0x112, H, sve_mla_zpzz, native_mla_zpzz),
    ACCUMULATE(S32, MLA, 0x122, S, sve_mla_zpzz, native_mla_zpzz),
    ACCUMULATE(S64, MLA, 0x132, D, sve_mla_zpzz, native_mla_zpzz),
    // MLS
    ACCUMULATE(S8, MLS, 0x103, B, sve_mls_zpzz, native_mls_zpzz),
    ACCUMULATE(S16, MLS, 0x113, H, sve_mls_zpzz, native_mls_zpzz),
    ACCUMULATE(S32, MLS, 0x123, S, sve_mls_zpzz, native_mls_zpzz),
    ACCUMULATE(S64, MLS, 0x133, D, sve_mls_zpzz, native_mls_zpzz),
    // MAD
    MULTIPLY(S8, MADD, 0x106, B, sve_mad_zpzz, native_mad_zpzz),
    MULTIPLY(S16, MADD, 0x116, H, sve_mad_zpzz, native_mad_zpzz),
    MULTIPLY(S32, MADD, 0x126, S, sve_mad_zpzz, native_mad_zpzz),
    MULTIPLY(S64, MADD, 0x136, D, sve_mad_zpzz, native_mad_zpzz),
    // MSB
    MULTIPLY(S8, MSUB, 0x107, B, sve_msb_zpzz, native_msb_zpzz),
    MULTIPLY(S16, MSUB, 0x117, H, sve_msb_zpzz, native_msb_zpzz),
    MULTIPLY(S32, MSUB, 0x127, S, sve_msb_zpzz, native_msb_zpzz),
    MULTIPLY(S64, MSUB, 0x137, D, sve_msb_zpzz, native_msb_zpzz),
    // ADD (immediate)
    VI_SHIFTED(U8, Add, 0x9483, B, sve_add_zi, native_add_zi),
    VI_SHIFTED(U16, Add, 0x9583, H, sve_add_zi, native_add_zi),
    VI_SHIFTED(U32, Add, 0x9683, S, sve_add_zi, native_add_zi),
    VI_SHIFTED(U64, Add, 0x9783, D, sve_add_zi, native_add_zi),
    // SUB (immediate)
    VI_SHIFTED(U8, Sub, 0x9487, B, sve_sub_zi, native_sub_zi),
    VI_SHIFTED(U16, Sub, 0x9587, H, sve_sub_zi, native_sub_zi),
    VI_SHIFTED(U32, Sub, 0x9687, S, sve_sub_zi, native_sub_zi),
    VI_SHIFTED(U64, Sub, 0x9787, D, sve_sub_zi, native_sub_zi),
    // SUBR (immediate)
    VI_SHIFTED(U8, SubR, 0x948f, B, reference_route, native_subr_zi),
    VI_SHIFTED(U16, SubR, 0x958f, H, reference_route, native_subr_zi),
    VI_SHIFTED(U32, SubR, 0x968f, S, reference_route, native_subr_zi),
    VI_SHIFTED(U64, SubR, 0x978f, D, reference_route, native_subr_zi),
    // MUL (immediate)
    VI_SIGNED(S8, Mul, 0x12986, B, sve_mul_zi, native_mul_zi),
    VI_SIGNED(S16, Mul, 0x12b86, H, sve_mul_zi, native_mul_zi),
    VI_SIGNED(S32, Mul, 0x12d86, S, sve_mul_zi, native_mul_zi),
    VI_SIGNED(S64, Mul, 0x12f86, D, sve_mul_zi, native_mul_zi),
    // SMAX (immediate)
    VI_SIGNED(S8, Max, 0x12946, B, reference_route, native_smax_zi),
    VI_SIGNED(S16, Max, 0x12b46, H, reference_route, native_smax_zi),
    VI_SIGNED(S32, Max, 0x12d46, S, reference_route, native_smax_zi),
    VI_SIGNED(S64, Max, 0x12f46, D, reference_route, native_smax_zi),
    // SMIN (immediate)
    VI_SIGNED(S8, Min, 0x12956, B, reference_route, native_smin_zi),
    VI_SIGNED(S16, Min, 0x12b56, H, reference_route, native_smin_zi),
    VI_SIGNED(S32, Min, 0x12d56, S, reference_route, native_smin_zi),
    VI_SIGNED(S64, Min, 0x12f56, D, reference_route, native_smin_zi),
    // UMAX (immediate)
    VI_UNSIGNED(U8, Max, 0x1294e, B, reference_route, native_umax_zi),
    VI_UNSIGNED(U16, Max, 0x12b4e, H, reference_route, native_umax_zi),
    VI_UNSIGNED(U32, Max, 0x12d4e, S, reference_route, native_umax_zi),
    VI_UNSIGNED(U64, Max, 0x12f4e, D, reference_route, native_umax_zi),
    // UMIN (immediate)
    VI_UNSIGNED(U8, Min, 0x1295e, B, reference_route, native_umin_zi),
    VI_UNSIGNED(U16, Min, 0x12b5e, H, reference_route, native_umin_zi),
    VI_UNSIGNED(U32, Min, 0x12d5e, S, reference_route, native_umin_zi),
    VI_UNSIGNED(U64, Min, 0x12f5e, D, reference_route, native_umin_zi),
};
// clang-format on

constinit const handler_rows sve::integer_arithmetic_rows = rows;
