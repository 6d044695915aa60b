#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/permute/broadcast.h"
#include "sve/permute/broadcast_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its
// direct routine or reference_route, and its translation. All of a shape are in one map, but for
// DUP (indexed), whose rows name theirs.

// The floating-point constant coded in bits 12:5, as the bit image of one size: what a reference
// function takes, where a direct routine chooses between the images of all sizes.
namespace sve {
struct fp_image {
    uint64_t bits;
};
static uint64_t operand_value(const cpu_state *, fp_image image) {
    return image.bits;
}

template <unsigned size>
struct FpConstantImage {
    static constexpr fp_image read(uint32_t word) {
        const aarch64_sve_fp_dup_imm constant = FpConstant::read(word);
        return {size == D ? constant.dbl : size == S ? constant.single : constant.half};
    }
};
} // namespace sve

// Zd = the value
#define DUP(type, op, shape, key, size, routine, native, map, Value)                               \
    row_to<routine, Vec##type##op##shape, to_z, Zd<size>, Value>(                                  \
        "Vec" #type #op #shape, &decode_map__##map, key, by<native>)
#define DUP_I(type, op, key, size, routine, native)                                                \
    DUP(type, op, I, key, size, routine, native, 31_14, SImm8Shifted)
#define DUP_R(type, op, key, size, routine, native)                                                \
    DUP(type, op, S, key, size, routine, native, 31_10, RnSp<size>)
#define DUP_MASK(type, op, key, size, routine, native)                                             \
    DUP(type, op, I, key, size, routine, native, 31_18, LogicalMask)
#define DUP_FP(type, op, key, size, routine, native)                                               \
    row_of<Vec##type##op##I, to_z, FpConstantImage<size>>(                                         \
        "Vec" #type #op "I", &decode_map__31_13, key, direct<routine, Zd<size>, FpConstant>,       \
        translation_stub<native, Zd<size>, FpConstant>())
#define DUP_INDEXED(type, op, key, size, routine, native, map)                                     \
    row_to<routine, Vec##type##op##VI, to_z, Zd<size>, Zn<size>, DupIndex<size>>(                  \
        "Vec" #type #op "VI", &decode_map__##map, key, by<native>)
// Zd = the value where Pg is true: an immediate, a general register, a V register
#define CPY(type, op, shape, key, size, routine, native, map, Governing, Value)                    \
    row<routine, Vec##type##op##shape, to_z, Zd<size>, Governing<M>, Value>(                       \
        "Vec" #type #op #shape, &decode_map__##map, key, by<native>)
#define CPY_I(type, op, key, size, routine, native)                                                \
    CPY(type, op, IM, key, size, routine, native, 31_20__15_14, Pg_19_16, SImm8Shifted)
#define CPY_FP(type, op, key, size, routine, native)                                               \
    row_of<Vec##type##op##IM, to_z, Zd<size>, Pg_19_16<M>, FpConstantImage<size>>(                 \
        "Vec" #type #op "IM", &decode_map__31_20__15_13, key, routine,                             \
        translation_stub<native, Zd<size>, Pg_19_16<M>, FpConstant>())
#define CPY_R(type, op, key, size, routine, native)                                                \
    CPY(type, op, SM, key, size, routine, native, 31_13, Pg, RnSp<size>)
#define CPY_V(type, op, key, size, routine, native)                                                \
    row_of<Vec##type##op##SM, to_z, Zd<size>, Pg<M>, ScalarN<size>>(                               \
        "Vec" #type #op "SM", &decode_map__31_13, key, direct<routine, Zd<size>, Pg<M>, Vn>,       \
        translation_stub<native, Zd<size>, Pg<M>, Vn>())
// Zd = the immediate where Pg is true, else 0
#define CPY_Z(type, op, key, size, routine, native)                                                \
    row_to<routine, Vec##type##op##IZ, to_z, Zd<size>, Pg_19_16<Z>, SImm8Shifted>(                 \
        "Vec" #type #op "IZ", &decode_map__31_20__15_14, key, by<native>)
// Zd = Zn where Pg is true, else Zm, or Zd, or 0
#define SELECT(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##VV, to_z, Zd<size>, Pg_13_10<plain>, Zn<size>, Zm<size>>(       \
        "Vec" #type #op "VV", &decode_map__31_21__15_14, key, by<native>)
#define MOVE_M(type, op, key, size, routine, native)                                               \
    row<routine, Vec##type##op##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                              \
        "Vec" #type #op "VM", &decode_map__31_13, key, by<native>)
#define MOVE_Z(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##VZ, to_z, Zd<size>, Pg<Z>, Zn<size>>(                           \
        "Vec" #type #op "VZ", &decode_map__31_13, key, by<native>)
// Zd = Zn
#define MOVE(type, op, key, size, routine, native)                                                 \
    row_to<routine, Vec##type##op##V, to_z, Zd<size>, Zn<size>>(                                   \
        "Vec" #type #op "V", &decode_map__31_10, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // DUP (immediate)
    DUP_I(S8, Dup, 0x94e3, B, sve_dup_zi, native_dup_zi),
    DUP_I(S16, Dup, 0x95e3, H, sve_dup_zi, native_dup_zi),
    DUP_I(S32, Dup, 0x96e3, S, sve_dup_zi, native_dup_zi),
    DUP_I(S64, Dup, 0x97e3, D, sve_dup_zi, native_dup_zi),
    // FDUP
    DUP_FP(F16, Dup, 0x12bce, H, sve_fdup_zi, native_fdup_zi),
    DUP_FP(F32, Dup, 0x12dce, S, sve_fdup_zi, native_fdup_zi),
    DUP_FP(D64, Dup, 0x12fce, D, sve_fdup_zi, native_fdup_zi),
    // DUPM
    DUP_MASK(S64, DupMask, 0x170, D, sve_dupm_zi, native_dupm_zi),
    // DUP (scalar)
    DUP_R(U8, Dup, 0x1480e, B, sve_dup_zr, native_dup_zr),
    DUP_R(U16, Dup, 0x1580e, H, sve_dup_zr, native_dup_zr),
    DUP_R(U32, Dup, 0x1680e, S, sve_dup_zr, native_dup_zr),
    DUP_R(U64, Dup, 0x1780e, D, sve_dup_zr, native_dup_zr),
    // DUP (indexed): each size has its map
    DUP_INDEXED(U8, ExtDup, 0x5c8, B, sve_dup_zzi, native_dup_zzi, 31_24__21_21__16_10),
    DUP_INDEXED(U16, ExtDup, 0xb88, H, sve_dup_zzi, native_dup_zzi, 31_24__21_21__17_10),
    DUP_INDEXED(U32, ExtDup, 0x1708, S, sve_dup_zzi, native_dup_zzi, 31_24__21_21__18_10),
    DUP_INDEXED(U64, ExtDup, 0x2e08, D, sve_dup_zzi, native_dup_zzi, 31_24__21_21__19_10),
    DUP_INDEXED(U128, ExtDup, 0x5c08, Q, sve_dup_zzi, native_dup_zzi, 31_24__21_10),
    // CPY (immediate), merging
    CPY_I(S8, Dup, 0x145, B, sve_cpy_zpi, native_cpy_zpi),
    CPY_I(S16, Dup, 0x155, H, sve_cpy_zpi, native_cpy_zpi),
    CPY_I(S32, Dup, 0x165, S, sve_cpy_zpi, native_cpy_zpi),
    CPY_I(S64, Dup, 0x175, D, sve_cpy_zpi, native_cpy_zpi),
    // CPY (immediate), zeroing
    CPY_Z(S8, Dup, 0x144, B, sve_cpy_zpi, native_cpy_zpi),
    CPY_Z(S16, Dup, 0x154, H, sve_cpy_zpi, native_cpy_zpi),
    CPY_Z(S32, Dup, 0x164, S, sve_cpy_zpi, native_cpy_zpi),
    CPY_Z(S64, Dup, 0x174, D, sve_cpy_zpi, native_cpy_zpi),
    // FCPY
    CPY_FP(F16, Dup, 0x2ae, H, reference_route, native_fcpy_zpi),
    CPY_FP(F32, Dup, 0x2ce, S, reference_route, native_fcpy_zpi),
    CPY_FP(D64, Dup, 0x2ee, D, reference_route, native_fcpy_zpi),
    // CPY (scalar)
    CPY_R(U8, Dup, 0x2945, B, sve_cpy_zpr, native_cpy_zpr),
    CPY_R(U16, Dup, 0x2b45, H, sve_cpy_zpr, native_cpy_zpr),
    CPY_R(U32, Dup, 0x2d45, S, sve_cpy_zpr, native_cpy_zpr),
    CPY_R(U64, Dup, 0x2f45, D, sve_cpy_zpr, native_cpy_zpr),
    // CPY (SIMD&FP scalar)
    CPY_V(B8, Dup, 0x2904, B, sve_cpy_zpv, native_cpy_zpv),
    CPY_V(H16, Dup, 0x2b04, H, sve_cpy_zpv, native_cpy_zpv),
    CPY_V(F32, Dup, 0x2d04, S, sve_cpy_zpv, native_cpy_zpv),
    CPY_V(D64, Dup, 0x2f04, D, sve_cpy_zpv, native_cpy_zpv),
    // SEL (vectors)
    SELECT(U8, Sel, 0xa7, B, sve_sel_zpzz, native_sel_zpzz),
    SELECT(U16, Sel, 0xaf, H, sve_sel_zpzz, native_sel_zpzz),
    SELECT(U32, Sel, 0xb7, S, sve_sel_zpzz, native_sel_zpzz),
    SELECT(U64, Sel, 0xbf, D, sve_sel_zpzz, native_sel_zpzz),
    // MOVPRFX (predicated), merging
    MOVE_M(U8, MovePrefix1, 0x2089, B, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_M(U16, MovePrefix1, 0x2289, H, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_M(U32, MovePrefix1, 0x2489, S, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_M(U64, MovePrefix1, 0x2689, D, sve_movprfx_zpz, native_movprfx_zpz),
    // MOVPRFX (predicated), zeroing
    MOVE_Z(U8, MovePrefix1, 0x2081, B, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_Z(U16, MovePrefix1, 0x2281, H, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_Z(U32, MovePrefix1, 0x2481, S, sve_movprfx_zpz, native_movprfx_zpz),
    MOVE_Z(U64, MovePrefix1, 0x2681, D, sve_movprfx_zpz, native_movprfx_zpz),
    // MOVPRFX (unpredicated)
    MOVE(U32, SpecialMove, 0x1082f, S, sve_movprfx_zz, native_movprfx_zz),
};
// clang-format on

constinit const handler_rows sve::broadcast_rows = rows;
