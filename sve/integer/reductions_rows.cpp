#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/integer/reductions.h"
#include "sve/integer/reductions_native.h"

using namespace sve;

// A row: element type and operation of the handler, its key, the size code of the elements, its direct routine or
// reference_route, and its translation. A result has the width of the element, a sum 64 bits.
#define REDUCE(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##ReduceV, to_v<size>, Vd, Pg<plain>, Zn<size>>(                  \
        "Vec" #type #op "ReduceV", &decode_map__31_13, key, by<native>)
#define SUM(type, op, key, size, routine, native)                                                  \
    row_to<routine, Vec##type##op##ReduceV, to_v<D>, Vd, Pg<plain>, Zn<size>>(                     \
        "Vec" #type #op "ReduceV", &decode_map__31_13, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // SADDV, UADDV
    SUM(S8, Add, 0x2001, B, reference_route, native_saddv_vpz),
    SUM(S16, Add, 0x2201, H, reference_route, native_saddv_vpz),
    SUM(S32, Add, 0x2401, S, reference_route, native_saddv_vpz),
    SUM(U8, Add, 0x2009, B, sve_uaddv_vpz, native_uaddv_vpz),
    SUM(U16, Add, 0x2209, H, sve_uaddv_vpz, native_uaddv_vpz),
    SUM(U32, Add, 0x2409, S, sve_uaddv_vpz, native_uaddv_vpz),
    SUM(U64, Add, 0x2609, D, sve_uaddv_vpz, native_uaddv_vpz),
    // ANDV
    REDUCE(U8, And, 0x20d1, B, sve_andv_vpz, native_andv_vpz),
    REDUCE(U16, And, 0x22d1, H, sve_andv_vpz, native_andv_vpz),
    REDUCE(U32, And, 0x24d1, S, sve_andv_vpz, native_andv_vpz),
    REDUCE(U64, And, 0x26d1, D, sve_andv_vpz, native_andv_vpz),
    // ORV
    REDUCE(U8, Or, 0x20c1, B, sve_orv_vpz, native_orv_vpz),
    REDUCE(U16, Or, 0x22c1, H, sve_orv_vpz, native_orv_vpz),
    REDUCE(U32, Or, 0x24c1, S, sve_orv_vpz, native_orv_vpz),
    REDUCE(U64, Or, 0x26c1, D, sve_orv_vpz, native_orv_vpz),
    // EORV
    REDUCE(U8, Xor, 0x20c9, B, sve_eorv_vpz, native_eorv_vpz),
    REDUCE(U16, Xor, 0x22c9, H, sve_eorv_vpz, native_eorv_vpz),
    REDUCE(U32, Xor, 0x24c9, S, sve_eorv_vpz, native_eorv_vpz),
    REDUCE(U64, Xor, 0x26c9, D, sve_eorv_vpz, native_eorv_vpz),
    // SMAXV, UMAXV
    REDUCE(S8, Max, 0x2041, B, sve_smaxv_vpz, native_smaxv_vpz),
    REDUCE(S16, Max, 0x2241, H, sve_smaxv_vpz, native_smaxv_vpz),
    REDUCE(S32, Max, 0x2441, S, sve_smaxv_vpz, native_smaxv_vpz),
    REDUCE(S64, Max, 0x2641, D, sve_smaxv_vpz, native_smaxv_vpz),
    REDUCE(U8, Max, 0x2049, B, sve_umaxv_vpz, native_umaxv_vpz),
    REDUCE(U16, Max, 0x2249, H, sve_umaxv_vpz, native_umaxv_vpz),
    REDUCE(U32, Max, 0x2449, S, sve_umaxv_vpz, native_umaxv_vpz),
    REDUCE(U64, Max, 0x2649, D, sve_umaxv_vpz, native_umaxv_vpz),
    // SMINV, UMINV
    REDUCE(S8, Min, 0x2051, B, sve_sminv_vpz, native_sminv_vpz),
    REDUCE(S16, Min, 0x2251, H, sve_sminv_vpz, native_sminv_vpz),
    REDUCE(S32, Min, 0x2451, S, sve_sminv_vpz, native_sminv_vpz),
    REDUCE(S64, Min, 0x2651, D, sve_sminv_vpz, native_sminv_vpz),
    REDUCE(U8, Min, 0x2059, B, sve_uminv_vpz, native_uminv_vpz),
    REDUCE(U16, Min, 0x2259, H, sve_uminv_vpz, native_uminv_vpz),
    REDUCE(U32, Min, 0x2459, S, sve_uminv_vpz, native_uminv_vpz),
    REDUCE(U64, Min, 0x2659, D, sve_uminv_vpz, native_uminv_vpz),
};
// clang-format on

constinit const handler_rows sve::integer_reduction_rows = rows;
