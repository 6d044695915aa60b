#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/estimates.h"
#include "sve/fp/estimates_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its direct routine
// or reference_route; shapes without that column take the reference route. All of a shape are in one map.

// Zd = op Zn
#define UNARY(type, op, key, size, routine, native)                                                \
    fp_row_to<routine, Vec##type##op##V, to_z, Zd<size>, Zn<size>>(                                \
        "Vec" #type #op "V", &decode_map__31_10, key, by<native>)
// Zd = Zn op Zm
#define BINARY(type, op, key, size, routine, native)                                               \
    fp_row_to<routine, Vec##type##op##VV, to_z, Zd<size>, Zn<size>, Zm<size>>(                     \
        "Vec" #type #op "VV", &decode_map__31_21__15_10, key, by<native>)
// Zd = op Zn where Pg is true
#define UNARY_PREDICATED(type, op, key, size, native)                                              \
    fp_row<reference_route, Vec##type##op##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                   \
        "Vec" #type #op "VM", &decode_map__31_13, key, by<native>)
// Zdn = Zdn op Zm where Pg is true
#define BINARY_PREDICATED(type, op, key, size, native)                                             \
    fp_row<reference_route, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>>(             \
        "Vec" #type #op "VVM", &decode_map__31_13, key, by<native>)
// Zdn = Zdn * Zm + the coefficient of an index
#define POLYNOMIAL(type, op, key, size, native)                                                    \
    fp_row<reference_route, Vec##type##op##VVI, to_z, Zdn<size>, Zm_9_5<size>, UImm<18, 16>>(      \
        "Vec" #type #op "VVI", &decode_map__31_19__15_10, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // FRECPE
    UNARY(F16, RecpE, 0x19538c, H, reference_route, native_frecpe_zz),
    UNARY(F32, RecpE, 0x19638c, S, sve_frecpe_zz, native_frecpe_zz),
    UNARY(D64, RecpE, 0x19738c, D, sve_frecpe_zz, native_frecpe_zz),
    // FRSQRTE
    UNARY(F16, RSqrtE, 0x1953cc, H, reference_route, native_frsqrte_zz),
    UNARY(F32, RSqrtE, 0x1963cc, S, reference_route, native_frsqrte_zz),
    UNARY(D64, RSqrtE, 0x1973cc, D, reference_route, native_frsqrte_zz),
    // FRECPS
    BINARY(F16, RecpS, 0xca86, H, reference_route, native_frecps_zzz),
    BINARY(F32, RecpS, 0xcb06, S, sve_frecps_zzz, native_frecps_zzz),
    BINARY(D64, RecpS, 0xcb86, D, sve_frecps_zzz, native_frecps_zzz),
    // FRSQRTS
    BINARY(F16, RSqrtS, 0xca87, H, reference_route, native_frsqrts_zzz),
    BINARY(F32, RSqrtS, 0xcb07, S, reference_route, native_frsqrts_zzz),
    BINARY(D64, RSqrtS, 0xcb87, D, reference_route, native_frsqrts_zzz),
    // FRECPX
    UNARY_PREDICATED(F16, RecpX, 0x32a65, H, native_frecpx_zpz),
    UNARY_PREDICATED(F32, RecpX, 0x32c65, S, native_frecpx_zpz),
    UNARY_PREDICATED(D64, RecpX, 0x32e65, D, native_frecpx_zpz),
    // FSCALE
    BINARY_PREDICATED(F16, Scale, 0x32a4c, H, native_fscale_zpz),
    BINARY_PREDICATED(F32, Scale, 0x32c4c, S, native_fscale_zpz),
    BINARY_PREDICATED(D64, Scale, 0x32e4c, D, native_fscale_zpz),
    // FEXPA
    UNARY(F16, EXPA, 0x1182e, H, reference_route, native_fexpa_zz),
    UNARY(F32, EXPA, 0x1282e, S, reference_route, native_fexpa_zz),
    UNARY(D64, EXPA, 0x1382e, D, reference_route, native_fexpa_zz),
    // FTMAD
    POLYNOMIAL(F16, TRIMADD, 0x32aa0, H, native_ftmad_zzi),
    POLYNOMIAL(F32, TRIMADD, 0x32ca0, S, native_ftmad_zzi),
    POLYNOMIAL(D64, TRIMADD, 0x32ea0, D, native_ftmad_zzi),
    // FTSMUL
    BINARY(F16, TRISMUL, 0xca83, H, reference_route, native_ftsmul_zzz),
    BINARY(F32, TRISMUL, 0xcb03, S, reference_route, native_ftsmul_zzz),
    BINARY(D64, TRISMUL, 0xcb83, D, reference_route, native_ftsmul_zzz),
    // FTSSEL
    BINARY(F16, TRISSEL, 0x8ec, H, reference_route, native_ftssel_zzz),
    BINARY(F32, TRISSEL, 0x96c, S, reference_route, native_ftssel_zzz),
    BINARY(D64, TRISSEL, 0x9ec, D, reference_route, native_ftssel_zzz),
};
// clang-format on

constinit const handler_rows sve::estimate_rows = rows;
