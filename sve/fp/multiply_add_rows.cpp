#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/multiply_add.h"
#include "sve/fp/multiply_add_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its direct routine
// or reference_route; shapes without that column take the reference route. All of a shape are in one map, but
// for the indexed ones: a wider index leaves fewer bits for Zm, and in half another map.

// Zda = ±Zda ± Zn * Zm where Pg is true
#define ACCUMULATE(type, op, key, size, routine, native)                                           \
    fp_row<routine, Vec##type##op##VVVM, to_z, Zda<size>, Pg<M>, Zn<size>, Zm<size>>(              \
        "Vec" #type #op "VVVM", &decode_map__31_21__15_13, key, by<native>)
// Zdn = ±Za ± Zdn * Zm where Pg is true: Za has the place that is Zm's elsewhere
#define MULTIPLY(type, op, key, size, native)                                                      \
    fp_row<reference_route, Vec##type##op##VVVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>, Za<size>>(  \
        "Vec" #type #op "VVVM", &decode_map__31_21__15_13, key, by<native>)
template <unsigned size>
using Za = Zm<size>;
// Zda = Zda ± Zn * Zm[index]
#define ACCUMULATE_INDEXED(type, op, key, size, ZmLow, Index, map, native)                         \
    fp_row<reference_route, Vec##type##op##VVVIX, to_z, Zda<size>, Zn<size>, ZmLow<size>, Index>(  \
        "Vec" #type #op "VVVIX", &decode_map__##map, key, by<native>)
// Zd = Zn * Zm[index]
#define INDEXED(type, op, key, size, ZmLow, Index, map, native)                                    \
    fp_row_to<reference_route, Vec##type##op##VVIX, to_z, Zd<size>, Zn<size>, ZmLow<size>, Index>( \
        "Vec" #type #op "VVIX", &decode_map__##map, key, by<native>)
// Zdn = Zdn + Zm turned, where Pg is true
#define COMPLEX_ADD(type, op, key, size, native)                                                   \
    fp_row<reference_route, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>,              \
           Rotation_16>("Vec" #type #op "VVM", &decode_map__31_17__15_13, key, by<native>)
// Zda = Zda + part of Zn * Zm turned, where Pg is true; and with one pair of Zm for each segment
#define COMPLEX_MLA(type, op, key, size, native)                                                   \
    fp_row<reference_route, Vec##type##op##VVVM, to_z, Zda<size>, Pg<M>, Zn<size>, Zm<size>,       \
           Rotation_14_13>("Vec" #type #op "VVVM", &decode_map__31_21__15_15, key, by<native>)
#define COMPLEX_MLA_INDEXED(type, op, key, size, ZmLow, Index, native)                             \
    fp_row<reference_route, Vec##type##op##VVVIX, to_z, Zda<size>, Zn<size>, ZmLow<size>, Index,   \
           Rotation_11_10>("Vec" #type #op "VVVIX", &decode_map__31_21__15_12, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // FMLA (vectors)
    ACCUMULATE(F16, FMA, 0x1958, H, reference_route, native_fmla_zpzz),
    ACCUMULATE(F32, FMA, 0x1968, S, reference_route, native_fmla_zpzz),
    ACCUMULATE(D64, FMA, 0x1978, D, reference_route, native_fmla_zpzz),
    // FMLS (vectors)
    ACCUMULATE(F16, FMS, 0x1959, H, reference_route, native_fmls_zpzz),
    ACCUMULATE(F32, FMS, 0x1969, S, reference_route, native_fmls_zpzz),
    ACCUMULATE(D64, FMS, 0x1979, D, reference_route, native_fmls_zpzz),
    // FNMLA
    ACCUMULATE(F16, FNMA, 0x195a, H, reference_route, native_fnmla_zpzz),
    ACCUMULATE(F32, FNMA, 0x196a, S, sve_fnmla_zpzz, native_fnmla_zpzz),
    ACCUMULATE(D64, FNMA, 0x197a, D, sve_fnmla_zpzz, native_fnmla_zpzz),
    // FNMLS
    ACCUMULATE(F16, FNMS, 0x195b, H, reference_route, native_fnmls_zpzz),
    ACCUMULATE(F32, FNMS, 0x196b, S, reference_route, native_fnmls_zpzz),
    ACCUMULATE(D64, FNMS, 0x197b, D, reference_route, native_fnmls_zpzz),
    // FMAD
    MULTIPLY(F16, FMADD, 0x195c, H, native_fmad_zpzz),
    MULTIPLY(F32, FMADD, 0x196c, S, native_fmad_zpzz),
    MULTIPLY(D64, FMADD, 0x197c, D, native_fmad_zpzz),
    // FMSB
    MULTIPLY(F16, FMSUB, 0x195d, H, native_fmsb_zpzz),
    MULTIPLY(F32, FMSUB, 0x196d, S, native_fmsb_zpzz),
    MULTIPLY(D64, FMSUB, 0x197d, D, native_fmsb_zpzz),
    // FNMAD
    MULTIPLY(F16, FNMADD, 0x195e, H, native_fnmad_zpzz),
    MULTIPLY(F32, FNMADD, 0x196e, S, native_fnmad_zpzz),
    MULTIPLY(D64, FNMADD, 0x197e, D, native_fnmad_zpzz),
    // FNMSB
    MULTIPLY(F16, FNMSUB, 0x195f, H, native_fnmsb_zpzz),
    MULTIPLY(F32, FNMSUB, 0x196f, S, native_fnmsb_zpzz),
    MULTIPLY(D64, FNMSUB, 0x197f, D, native_fnmsb_zpzz),
    // FMLA (indexed)
    ACCUMULATE_INDEXED(F16, FMA, 0x6440, H, Zm_18_16, Index_22_20_19, 31_23__21_21__15_10, native_fmla_zzzi),
    ACCUMULATE_INDEXED(F32, FMA, 0xc940, S, Zm_18_16, Index_20_19, 31_21__15_10, native_fmla_zzzi),
    ACCUMULATE_INDEXED(D64, FMA, 0xc9c0, D, Zm_19_16, Index_20, 31_21__15_10, native_fmla_zzzi),
    // FMLS (indexed)
    ACCUMULATE_INDEXED(F16, FMS, 0x6441, H, Zm_18_16, Index_22_20_19, 31_23__21_21__15_10, native_fmls_zzzi),
    ACCUMULATE_INDEXED(F32, FMS, 0xc941, S, Zm_18_16, Index_20_19, 31_21__15_10, native_fmls_zzzi),
    ACCUMULATE_INDEXED(D64, FMS, 0xc9c1, D, Zm_19_16, Index_20, 31_21__15_10, native_fmls_zzzi),
    // FMUL (indexed)
    INDEXED(F16, Mul, 0x6448, H, Zm_18_16, Index_22_20_19, 31_23__21_21__15_10, native_fmul_zzzi),
    INDEXED(F32, Mul, 0xc948, S, Zm_18_16, Index_20_19, 31_21__15_10, native_fmul_zzzi),
    INDEXED(D64, Mul, 0xc9c8, D, Zm_19_16, Index_20, 31_21__15_10, native_fmul_zzzi),
    // FCADD
    COMPLEX_ADD(F16, FCADD, 0x19104, H, native_fcadd_zpz),
    COMPLEX_ADD(F32, FCADD, 0x19204, S, native_fcadd_zpz),
    COMPLEX_ADD(D64, FCADD, 0x19304, D, native_fcadd_zpz),
    // FCMLA (vectors)
    COMPLEX_MLA(F16, FCMLA, 0x644, H, native_fcmla_zpzz),
    COMPLEX_MLA(F32, FCMLA, 0x648, S, native_fcmla_zpzz),
    COMPLEX_MLA(D64, FCMLA, 0x64c, D, native_fcmla_zpzz),
    // FCMLA (indexed)
    COMPLEX_MLA_INDEXED(F16, FCMLA, 0x3251, H, Zm_18_16, Index_20_19, native_fcmla_zzzi),
    COMPLEX_MLA_INDEXED(F32, FCMLA, 0x3271, S, Zm_19_16, Index_20, native_fcmla_zzzi),
};
// clang-format on

constinit const handler_rows sve::multiply_add_rows = rows;
