#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/reductions.h"
#include "sve/fp/reductions_native.h"

using namespace sve;

// Vd = the active elements of Zn combined. Element type and operation of the handler, its key, the size code, and
// its direct routine or reference_route. All rows are in one map.
#define TREE(type, op, key, size, routine, native)                                                 \
    fp_row_to<routine, Vec##type##op##ReduceFV, to_v<size>, Vd, Pg<plain>, Zn<size>>(              \
        "Vec" #type #op "ReduceFV", &decode_map__31_13, key, by<native>)
// Vdn = Vdn and the active elements of Zm added up
#define ORDERED(type, key, size, native)                                                           \
    fp_row<reference_route, Vec##type##AddReduceAV, to_v<size>, Pg<plain>, ScalarDn<size>,         \
           Zm_9_5<size>>("Vec" #type "AddReduceAV", &decode_map__31_13, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // FADDV
    TREE(F16, Add, 0x32a01, H, reference_route, native_faddv_vpz),
    TREE(F32, Add, 0x32c01, S, reference_route, native_faddv_vpz),
    TREE(D64, Add, 0x32e01, D, reference_route, native_faddv_vpz),
    // FMAXV
    TREE(F16, Max, 0x32a31, H, reference_route, native_fmaxv_vpz),
    TREE(F32, Max, 0x32c31, S, reference_route, native_fmaxv_vpz),
    TREE(D64, Max, 0x32e31, D, reference_route, native_fmaxv_vpz),
    // FMINV
    TREE(F16, Min, 0x32a39, H, reference_route, native_fminv_vpz),
    TREE(F32, Min, 0x32c39, S, reference_route, native_fminv_vpz),
    TREE(D64, Min, 0x32e39, D, reference_route, native_fminv_vpz),
    // FMAXNMV
    TREE(F16, MaxNum, 0x32a21, H, reference_route, native_fmaxnmv_vpz),
    TREE(F32, MaxNum, 0x32c21, S, sve_fmaxnmv_vpz, native_fmaxnmv_vpz),
    TREE(D64, MaxNum, 0x32e21, D, sve_fmaxnmv_vpz, native_fmaxnmv_vpz),
    // FMINNMV
    TREE(F16, MinNum, 0x32a29, H, reference_route, native_fminnmv_vpz),
    TREE(F32, MinNum, 0x32c29, S, sve_fminnmv_vpz, native_fminnmv_vpz),
    TREE(D64, MinNum, 0x32e29, D, sve_fminnmv_vpz, native_fminnmv_vpz),
    // FADDA
    ORDERED(F16, 0x32ac1, H, native_fadda_vpz),
    ORDERED(F32, 0x32cc1, S, native_fadda_vpz),
    ORDERED(D64, 0x32ec1, D, native_fadda_vpz),
};
// clang-format on

constinit const handler_rows sve::fp_reduction_rows = rows;
