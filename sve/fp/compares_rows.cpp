#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/compares.h"
#include "sve/fp/compares_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its direct routine
// or reference_route. All of a shape are in one map.

// Pd = Zn relation Zm
#define VVZ(type, op, key, size, routine, native)                                                  \
    fp_row_to<routine, Vec##type##op##VVZ, to_p, Pd<size>, Pg<Z>, Zn<size>, Zm<size>>(             \
        "Vec" #type #op "VVZ", &decode_map__31_21__15_13__4_4, key, by<native>)
// Pd = Zn relation 0.0
#define V0Z(type, op, key, size, routine, native)                                                  \
    fp_row_to<routine, Vec##type##op##V0Z, to_p, Pd<size>, Pg<Z>, Zn<size>>(                       \
        "Vec" #type #op "V0Z", &decode_map__31_13__4_4, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // FCMEQ (vectors)
    VVZ(F16, CmpEQ, 0x32a6, H, reference_route, native_fcmeq_ppzz),
    VVZ(F32, CmpEQ, 0x32c6, S, sve_fcmeq_ppzz, native_fcmeq_ppzz),
    VVZ(D64, CmpEQ, 0x32e6, D, sve_fcmeq_ppzz, native_fcmeq_ppzz),
    // FCMGE (vectors)
    VVZ(F16, CmpGE, 0x32a4, H, reference_route, native_fcmge_ppzz),
    VVZ(F32, CmpGE, 0x32c4, S, sve_fcmge_ppzz, native_fcmge_ppzz),
    VVZ(D64, CmpGE, 0x32e4, D, sve_fcmge_ppzz, native_fcmge_ppzz),
    // FCMGT (vectors)
    VVZ(F16, CmpGT, 0x32a5, H, reference_route, native_fcmgt_ppzz),
    VVZ(F32, CmpGT, 0x32c5, S, sve_fcmgt_ppzz, native_fcmgt_ppzz),
    VVZ(D64, CmpGT, 0x32e5, D, sve_fcmgt_ppzz, native_fcmgt_ppzz),
    // FCMNE (vectors)
    VVZ(F16, CmpNE, 0x32a7, H, reference_route, native_fcmne_ppzz),
    VVZ(F32, CmpNE, 0x32c7, S, sve_fcmne_ppzz, native_fcmne_ppzz),
    VVZ(D64, CmpNE, 0x32e7, D, sve_fcmne_ppzz, native_fcmne_ppzz),
    // FCMUO (vectors)
    VVZ(F16, CmpUN, 0x32ac, H, reference_route, native_fcmuo_ppzz),
    VVZ(F32, CmpUN, 0x32cc, S, sve_fcmuo_ppzz, native_fcmuo_ppzz),
    VVZ(D64, CmpUN, 0x32ec, D, sve_fcmuo_ppzz, native_fcmuo_ppzz),
    // FACGE (vectors)
    VVZ(F16, AcGE, 0x32ad, H, reference_route, native_facge_ppzz),
    VVZ(F32, AcGE, 0x32cd, S, reference_route, native_facge_ppzz),
    VVZ(D64, AcGE, 0x32ed, D, reference_route, native_facge_ppzz),
    // FACGT (vectors)
    VVZ(F16, AcGT, 0x32af, H, reference_route, native_facgt_ppzz),
    VVZ(F32, AcGT, 0x32cf, S, reference_route, native_facgt_ppzz),
    VVZ(D64, AcGT, 0x32ef, D, reference_route, native_facgt_ppzz),
    // FCMEQ (zero)
    V0Z(F16, CmpEQ, 0x65522, H, reference_route, native_fcmeq_ppz),
    V0Z(F32, CmpEQ, 0x65922, S, sve_fcmeq_ppz, native_fcmeq_ppz),
    V0Z(D64, CmpEQ, 0x65d22, D, sve_fcmeq_ppz, native_fcmeq_ppz),
    // FCMGE (zero)
    V0Z(F16, CmpGE, 0x65502, H, reference_route, native_fcmge_ppz),
    V0Z(F32, CmpGE, 0x65902, S, sve_fcmge_ppz, native_fcmge_ppz),
    V0Z(D64, CmpGE, 0x65d02, D, sve_fcmge_ppz, native_fcmge_ppz),
    // FCMGT (zero)
    V0Z(F16, CmpGT, 0x65503, H, reference_route, native_fcmgt_ppz),
    V0Z(F32, CmpGT, 0x65903, S, sve_fcmgt_ppz, native_fcmgt_ppz),
    V0Z(D64, CmpGT, 0x65d03, D, sve_fcmgt_ppz, native_fcmgt_ppz),
    // FCMLE (zero)
    V0Z(F16, CmpLE, 0x65513, H, reference_route, native_fcmle_ppz),
    V0Z(F32, CmpLE, 0x65913, S, sve_fcmle_ppz, native_fcmle_ppz),
    V0Z(D64, CmpLE, 0x65d13, D, sve_fcmle_ppz, native_fcmle_ppz),
    // FCMLT (zero)
    V0Z(F16, CmpLT, 0x65512, H, reference_route, native_fcmlt_ppz),
    V0Z(F32, CmpLT, 0x65912, S, sve_fcmlt_ppz, native_fcmlt_ppz),
    V0Z(D64, CmpLT, 0x65d12, D, sve_fcmlt_ppz, native_fcmlt_ppz),
    // FCMNE (zero)
    V0Z(F16, CmpNE, 0x65532, H, reference_route, native_fcmne_ppz),
    V0Z(F32, CmpNE, 0x65932, S, reference_route, native_fcmne_ppz),
    V0Z(D64, CmpNE, 0x65d32, D, reference_route, native_fcmne_ppz),
};
// clang-format on

constinit const handler_rows sve::fp_compare_rows = rows;
