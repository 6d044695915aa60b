#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/logic.h"
#include "sve/integer/logic_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its direct routine or
// reference_route, and its translation. All of a shape are in one map.

// Zdn = Zdn op Zm where Pg is true
#define VVM(type, op, key, size, routine, native)                                                  \
    row<routine, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>>(                        \
        "Vec" #type #op "VVM", &decode_map__31_13, key, by<native>)
// Zd = op Zn where Pg is true
#define UNARY(type, op, key, size, routine, native)                                                \
    row<routine, Vec##type##op, to_z, Zd<size>, Pg<M>, Zn<size>>(                                  \
        "Vec" #type #op, &decode_map__31_13, key, by<native>)
// Zd = Zn op Zm
#define VVX(type, op, key, size, routine, native)                                                  \
    row_to<routine, Vec##type##op##VVX, to_z, Zd<size>, Zn<size>, Zm<size>>(                       \
        "Vec" #type #op "VVX", &decode_map__31_21__15_10, key, by<native>)
// Zdn = Zdn op mask
#define VIX(type, op, key, size, routine, native)                                                  \
    row<routine, Vec##type##op##VIX, to_z, Zdn<size>, LogicalMask>(                                \
        "Vec" #type #op "VIX", &decode_map__31_18, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // AND (predicated)
    VVM(U8, And, 0x20d0, B, sve_and_zpz, native_and_zpz),
    VVM(U16, And, 0x22d0, H, sve_and_zpz, native_and_zpz),
    VVM(U32, And, 0x24d0, S, sve_and_zpz, native_and_zpz),
    VVM(U64, And, 0x26d0, D, sve_and_zpz, native_and_zpz),
    // ORR (predicated)
    VVM(U8, Or, 0x20c0, B, sve_orr_zpz, native_orr_zpz),
    VVM(U16, Or, 0x22c0, H, sve_orr_zpz, native_orr_zpz),
    VVM(U32, Or, 0x24c0, S, sve_orr_zpz, native_orr_zpz),
    VVM(U64, Or, 0x26c0, D, sve_orr_zpz, native_orr_zpz),
    // EOR (predicated)
    VVM(U8, Xor, 0x20c8, B, sve_eor_zpz, native_eor_zpz),
    VVM(U16, Xor, 0x22c8, H, sve_eor_zpz, native_eor_zpz),
    VVM(U32, Xor, 0x24c8, S, sve_eor_zpz, native_eor_zpz),
    VVM(U64, Xor, 0x26c8, D, sve_eor_zpz, native_eor_zpz),
    // BIC (predicated)
    VVM(U8, Bic, 0x20d8, B, sve_bic_zpz, native_bic_zpz),
    VVM(U16, Bic, 0x22d8, H, sve_bic_zpz, native_bic_zpz),
    VVM(U32, Bic, 0x24d8, S, sve_bic_zpz, native_bic_zpz),
    VVM(U64, Bic, 0x26d8, D, sve_bic_zpz, native_bic_zpz),
    // AND (unpredicated)
    VVX(U64, And, 0x84c, D, sve_and_zzz, native_and_zzz),
    // ORR (unpredicated)
    VVX(U64, Or, 0x8cc, D, sve_orr_zzz, native_orr_zzz),
    // EOR (unpredicated)
    VVX(U64, Xor, 0x94c, D, sve_eor_zzz, native_eor_zzz),
    // BIC (unpredicated)
    VVX(U64, Bic, 0x9cc, D, sve_bic_zzz, native_bic_zzz),
    // AND (immediate)
    VIX(U64, And, 0x160, D, sve_and_zi, native_and_zi),
    // ORR (immediate)
    VIX(U64, Or, 0x140, D, sve_orr_zi, native_orr_zi),
    // EOR (immediate)
    VIX(U64, Xor, 0x150, D, sve_eor_zi, native_eor_zi),
    // NOT
    UNARY(U8, InvVM, 0x20f5, B, reference_route, native_not_zpz),
    UNARY(U16, InvVM, 0x22f5, H, reference_route, native_not_zpz),
    UNARY(U32, InvVM, 0x24f5, S, reference_route, native_not_zpz),
    UNARY(U64, InvVM, 0x26f5, D, reference_route, native_not_zpz),
    // CNOT
    UNARY(U8, NotVM, 0x20dd, B, reference_route, native_cnot_zpz),
    UNARY(U16, NotVM, 0x22dd, H, reference_route, native_cnot_zpz),
    UNARY(U32, NotVM, 0x24dd, S, reference_route, native_cnot_zpz),
    UNARY(U64, NotVM, 0x26dd, D, reference_route, native_cnot_zpz),
    // RBIT
    UNARY(U8, RBitVM, 0x293c, B, sve_rbit_zpz, native_rbit_zpz),
    UNARY(U16, RBitVM, 0x2b3c, H, sve_rbit_zpz, native_rbit_zpz),
    UNARY(U32, RBitVM, 0x2d3c, S, sve_rbit_zpz, native_rbit_zpz),
    UNARY(U64, RBitVM, 0x2f3c, D, sve_rbit_zpz, native_rbit_zpz),
    // CLS
    UNARY(U8, ClsVM, 0x20c5, B, reference_route, native_cls_zpz),
    UNARY(U16, ClsVM, 0x22c5, H, reference_route, native_cls_zpz),
    UNARY(U32, ClsVM, 0x24c5, S, reference_route, native_cls_zpz),
    UNARY(U64, ClsVM, 0x26c5, D, reference_route, native_cls_zpz),
    // CLZ
    UNARY(U8, ClzVM, 0x20cd, B, reference_route, native_clz_zpz),
    UNARY(U16, ClzVM, 0x22cd, H, reference_route, native_clz_zpz),
    UNARY(U32, ClzVM, 0x24cd, S, reference_route, native_clz_zpz),
    UNARY(U64, ClzVM, 0x26cd, D, reference_route, native_clz_zpz),
    // CNT
    UNARY(U8, CntVM, 0x20d5, B, reference_route, native_cnt_zpz),
    UNARY(U16, CntVM, 0x22d5, H, reference_route, native_cnt_zpz),
    UNARY(U32, CntVM, 0x24d5, S, reference_route, native_cnt_zpz),
    UNARY(U64, CntVM, 0x26d5, D, reference_route, native_cnt_zpz),
    // REVB
    UNARY(U16, Rev1V, 0x2b24, H, reference_route, native_revb_zpz),
    UNARY(U32, Rev1V, 0x2d24, S, reference_route, native_revb_zpz),
    UNARY(U64, Rev1V, 0x2f24, D, reference_route, native_revb_zpz),
    // REVH
    UNARY(U32, Rev2V, 0x2d2c, S, reference_route, native_revh_zpz),
    UNARY(U64, Rev2V, 0x2f2c, D, reference_route, native_revh_zpz),
    // REVW
    UNARY(U64, Rev4V, 0x2f34, D, sve_revw_zpz, native_revw_zpz),
};
// clang-format on

constinit const handler_rows sve::integer_logic_rows = rows;
