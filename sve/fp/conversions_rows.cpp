#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/conversions.h"
#include "sve/fp/conversions_native.h"

using namespace sve;

// Zd = Zn converted where Pg is true. The handler without VM, its key, the size code of the element, and its direct
// routine or reference_route. All rows are in one map.
#define CONVERT(name, key, size, routine, native)                                                  \
    fp_row<routine, Vec##name##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                               \
        "Vec" #name "VM", &decode_map__31_13, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // SCVTF
    CONVERT(D64FromS4, 0x32e85, D, sve_scvtf_s2d_zpz, native_scvtf_s2d_zpz),
    CONVERT(D64FromS8, 0x32eb5, D, sve_scvtf_d2d_zpz, native_scvtf_d2d_zpz),
    CONVERT(F16FromS2, 0x32a95, H, reference_route, native_scvtf_h2h_zpz),
    CONVERT(F16FromS4, 0x32aa5, S, reference_route, native_scvtf_s2h_zpz),
    CONVERT(F16FromS8, 0x32ab5, D, reference_route, native_scvtf_d2h_zpz),
    CONVERT(F32FromS4, 0x32ca5, S, sve_scvtf_s2s_zpz, native_scvtf_s2s_zpz),
    CONVERT(F64FromS8, 0x32ea5, D, sve_scvtf_d2s_zpz, native_scvtf_d2s_zpz),
    // UCVTF
    CONVERT(D64FromU4, 0x32e8d, D, sve_ucvtf_s2d_zpz, native_ucvtf_s2d_zpz),
    CONVERT(D64FromU8, 0x32ebd, D, sve_ucvtf_d2d_zpz, native_ucvtf_d2d_zpz),
    CONVERT(F16FromU2, 0x32a9d, H, reference_route, native_ucvtf_h2h_zpz),
    CONVERT(F16FromU4, 0x32aad, S, reference_route, native_ucvtf_s2h_zpz),
    CONVERT(F16FromU8, 0x32abd, D, reference_route, native_ucvtf_d2h_zpz),
    CONVERT(F32FromU4, 0x32cad, S, sve_ucvtf_s2s_zpz, native_ucvtf_s2s_zpz),
    CONVERT(F64FromU8, 0x32ead, D, reference_route, native_ucvtf_d2s_zpz),
    // FCVTZS
    CONVERT(S16_2FromH, 0x32ad5, H, reference_route, native_fcvtzs_h2h_zpz),
    CONVERT(S32_4FromF, 0x32ce5, S, reference_route, native_fcvtzs_s2s_zpz),
    CONVERT(S32_4FromH, 0x32ae5, S, reference_route, native_fcvtzs_h2s_zpz),
    CONVERT(S64_4FromD, 0x32ec5, D, reference_route, native_fcvtzs_d2s_zpz),
    CONVERT(S64_8FromD, 0x32ef5, D, reference_route, native_fcvtzs_d2d_zpz),
    CONVERT(S64_8FromF, 0x32ee5, D, reference_route, native_fcvtzs_s2d_zpz),
    CONVERT(S64_8FromH, 0x32af5, D, reference_route, native_fcvtzs_h2d_zpz),
    // FCVTZU
    CONVERT(U16_2FromH, 0x32add, H, reference_route, native_fcvtzu_h2h_zpz),
    CONVERT(U32_4FromF, 0x32ced, S, reference_route, native_fcvtzu_s2s_zpz),
    CONVERT(U32_4FromH, 0x32aed, S, reference_route, native_fcvtzu_h2s_zpz),
    CONVERT(U64_4FromD, 0x32ecd, D, reference_route, native_fcvtzu_d2s_zpz),
    CONVERT(U64_8FromD, 0x32efd, D, reference_route, native_fcvtzu_d2d_zpz),
    CONVERT(U64_8FromF, 0x32eed, D, reference_route, native_fcvtzu_s2d_zpz),
    CONVERT(U64_8FromH, 0x32afd, D, reference_route, native_fcvtzu_h2d_zpz),
    // FCVT
    CONVERT(D64ExtndF, 0x32e5d, D, reference_route, native_fcvt_s2d_zpz),
    CONVERT(D64ExtndH, 0x32e4d, D, reference_route, native_fcvt_h2d_zpz),
    CONVERT(F32ExtndH, 0x32c4d, S, reference_route, native_fcvt_h2s_zpz),
    CONVERT(F64TruncD, 0x32e55, D, reference_route, native_fcvt_d2s_zpz),
    CONVERT(H32TruncF, 0x32c45, S, reference_route, native_fcvt_s2h_zpz),
    CONVERT(H64TruncD, 0x32e45, D, reference_route, native_fcvt_d2h_zpz),
};
// clang-format on

constinit const handler_rows sve::fp_conversion_rows = rows;
