#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/fp/arithmetic.h"
#include "sve/fp/arithmetic_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its direct routine
// or reference_route. All of a shape are in one map.

// Zdn = Zdn op Zm where Pg is true
#define VVM(type, op, key, size, routine, native)                                                  \
    fp_row<routine, Vec##type##op##VVM, to_z, Zdn<size>, Pg<M>, Zm_9_5<size>>(                     \
        "Vec" #type #op "VVM", &decode_map__31_13, key, by<native>)
// Zdn = Zdn op one of two constants where Pg is true
#define VIM(type, op, key, size, routine, native)                                                  \
    fp_row<routine, Vec##type##op##VIM, to_z, Zdn<size>, Pg<M>, FpArithmeticImm>(                  \
        "Vec" #type #op "VIM", &decode_map__31_13__9_6, key, by<native>)
// Zd = Zn op Zm
#define VVX(type, op, key, size, routine, native)                                                  \
    fp_row_to<routine, Vec##type##op##VVX, to_z, Zd<size>, Zn<size>, Zm<size>>(                    \
        "Vec" #type #op "VVX", &decode_map__31_21__15_10, key, by<native>)
// Zd = op Zn where Pg is true
#define VM(type, op, key, size, routine, native)                                                   \
    fp_row<routine, Vec##type##op##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                           \
        "Vec" #type #op "VM", &decode_map__31_13, key, by<native>)
// The same, of the bits alone: the host's status says nothing.
#define SIGN(type, op, key, size, routine, native)                                                 \
    row<routine, Vec##type##op##VM, to_z, Zd<size>, Pg<M>, Zn<size>>(                              \
        "Vec" #type #op "VM", &decode_map__31_13, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // FADD (vectors, predicated)
    VVM(F16, Add, 0x32a04, H, reference_route, native_fadd_zpz),
    VVM(F32, Add, 0x32c04, S, sve_fadd_zpz, native_fadd_zpz),
    VVM(D64, Add, 0x32e04, D, sve_fadd_zpz, native_fadd_zpz),
    // FADD (immediate)
    VIM(F16, Add, 0x32ac40, H, reference_route, native_fadd_zpi),
    VIM(F32, Add, 0x32cc40, S, sve_fadd_zpi, native_fadd_zpi),
    VIM(D64, Add, 0x32ec40, D, sve_fadd_zpi, native_fadd_zpi),
    // FADD (vectors, unpredicated)
    VVX(F16, Add, 0xca80, H, reference_route, native_fadd_zzz),
    VVX(F32, Add, 0xcb00, S, sve_fadd_zzz, native_fadd_zzz),
    VVX(D64, Add, 0xcb80, D, sve_fadd_zzz, native_fadd_zzz),
    // FSUB (vectors, predicated)
    VVM(F16, Sub, 0x32a0c, H, reference_route, native_fsub_zpz),
    VVM(F32, Sub, 0x32c0c, S, sve_fsub_zpz, native_fsub_zpz),
    VVM(D64, Sub, 0x32e0c, D, sve_fsub_zpz, native_fsub_zpz),
    // FSUB (immediate)
    VIM(F16, Sub, 0x32acc0, H, reference_route, native_fsub_zpi),
    VIM(F32, Sub, 0x32ccc0, S, sve_fsub_zpi, native_fsub_zpi),
    VIM(D64, Sub, 0x32ecc0, D, sve_fsub_zpi, native_fsub_zpi),
    // FSUB (vectors, unpredicated)
    VVX(F16, Sub, 0xca81, H, reference_route, native_fsub_zzz),
    VVX(F32, Sub, 0xcb01, S, sve_fsub_zzz, native_fsub_zzz),
    VVX(D64, Sub, 0xcb81, D, sve_fsub_zzz, native_fsub_zzz),
    // FSUBR (vectors, predicated)
    VVM(F16, SubR, 0x32a1c, H, reference_route, native_fsubr_zpz),
    VVM(F32, SubR, 0x32c1c, S, sve_fsubr_zpz, native_fsubr_zpz),
    VVM(D64, SubR, 0x32e1c, D, sve_fsubr_zpz, native_fsubr_zpz),
    // FSUBR (immediate)
    VIM(F16, SubR, 0x32adc0, H, reference_route, native_fsubr_zpi),
    VIM(F32, SubR, 0x32cdc0, S, sve_fsubr_zpi, native_fsubr_zpi),
    VIM(D64, SubR, 0x32edc0, D, sve_fsubr_zpi, native_fsubr_zpi),
    // FMUL (vectors, predicated)
    VVM(F16, Mul, 0x32a14, H, reference_route, native_fmul_zpz),
    VVM(F32, Mul, 0x32c14, S, sve_fmul_zpz, native_fmul_zpz),
    VVM(D64, Mul, 0x32e14, D, sve_fmul_zpz, native_fmul_zpz),
    // FMUL (immediate)
    VIM(F16, Mul, 0x32ad40, H, reference_route, native_fmul_zpi),
    VIM(F32, Mul, 0x32cd40, S, sve_fmul_zpi, native_fmul_zpi),
    VIM(D64, Mul, 0x32ed40, D, sve_fmul_zpi, native_fmul_zpi),
    // FMUL (vectors, unpredicated)
    VVX(F16, Mul, 0xca82, H, reference_route, native_fmul_zzz),
    VVX(F32, Mul, 0xcb02, S, sve_fmul_zzz, native_fmul_zzz),
    VVX(D64, Mul, 0xcb82, D, sve_fmul_zzz, native_fmul_zzz),
    // FMULX (vectors, predicated)
    VVM(F16, MulX, 0x32a54, H, reference_route, native_fmulx_zpz),
    VVM(F32, MulX, 0x32c54, S, reference_route, native_fmulx_zpz),
    VVM(D64, MulX, 0x32e54, D, reference_route, native_fmulx_zpz),
    // FDIV (vectors, predicated)
    VVM(F16, Div, 0x32a6c, H, reference_route, native_fdiv_zpz),
    VVM(F32, Div, 0x32c6c, S, sve_fdiv_zpz, native_fdiv_zpz),
    VVM(D64, Div, 0x32e6c, D, sve_fdiv_zpz, native_fdiv_zpz),
    // FDIVR (vectors, predicated)
    VVM(F16, DivR, 0x32a64, H, reference_route, native_fdivr_zpz),
    VVM(F32, DivR, 0x32c64, S, sve_fdivr_zpz, native_fdivr_zpz),
    VVM(D64, DivR, 0x32e64, D, sve_fdivr_zpz, native_fdivr_zpz),
    // FMAX (vectors, predicated)
    VVM(F16, Max, 0x32a34, H, reference_route, native_fmax_zpz),
    VVM(F32, Max, 0x32c34, S, sve_fmax_zpz, native_fmax_zpz),
    VVM(D64, Max, 0x32e34, D, sve_fmax_zpz, native_fmax_zpz),
    // FMAX (immediate)
    VIM(F16, Max, 0x32af40, H, reference_route, native_fmax_zpi),
    VIM(F32, Max, 0x32cf40, S, reference_route, native_fmax_zpi),
    VIM(D64, Max, 0x32ef40, D, reference_route, native_fmax_zpi),
    // FMIN (vectors, predicated)
    VVM(F16, Min, 0x32a3c, H, reference_route, native_fmin_zpz),
    VVM(F32, Min, 0x32c3c, S, reference_route, native_fmin_zpz),
    VVM(D64, Min, 0x32e3c, D, reference_route, native_fmin_zpz),
    // FMIN (immediate)
    VIM(F16, Min, 0x32afc0, H, reference_route, native_fmin_zpi),
    VIM(F32, Min, 0x32cfc0, S, reference_route, native_fmin_zpi),
    VIM(D64, Min, 0x32efc0, D, reference_route, native_fmin_zpi),
    // FMAXNM (vectors, predicated)
    VVM(F16, MaxNum, 0x32a24, H, reference_route, native_fmaxnm_zpz),
    VVM(F32, MaxNum, 0x32c24, S, sve_fmaxnm_zpz, native_fmaxnm_zpz),
    VVM(D64, MaxNum, 0x32e24, D, sve_fmaxnm_zpz, native_fmaxnm_zpz),
    // FMAXNM (immediate)
    VIM(F16, MaxNum, 0x32ae40, H, reference_route, native_fmaxnm_zpi),
    VIM(F32, MaxNum, 0x32ce40, S, reference_route, native_fmaxnm_zpi),
    VIM(D64, MaxNum, 0x32ee40, D, reference_route, native_fmaxnm_zpi),
    // FMINNM (vectors, predicated)
    VVM(F16, MinNum, 0x32a2c, H, reference_route, native_fminnm_zpz),
    VVM(F32, MinNum, 0x32c2c, S, sve_fminnm_zpz, native_fminnm_zpz),
    VVM(D64, MinNum, 0x32e2c, D, sve_fminnm_zpz, native_fminnm_zpz),
    // FMINNM (immediate)
    VIM(F16, MinNum, 0x32aec0, H, reference_route, native_fminnm_zpi),
    VIM(F32, MinNum, 0x32cec0, S, reference_route, native_fminnm_zpi),
    VIM(D64, MinNum, 0x32eec0, D, reference_route, native_fminnm_zpi),
    // FABD (vectors, predicated)
    VVM(F16, Abd, 0x32a44, H, reference_route, native_fabd_zpz),
    VVM(F32, Abd, 0x32c44, S, reference_route, native_fabd_zpz),
    VVM(D64, Abd, 0x32e44, D, reference_route, native_fabd_zpz),
    // FABS
    SIGN(F16, Abs, 0x22e5, H, reference_route, native_fabs_zpz),
    SIGN(F32, Abs, 0x24e5, S, reference_route, native_fabs_zpz),
    SIGN(D64, Abs, 0x26e5, D, reference_route, native_fabs_zpz),
    // FNEG
    SIGN(F16, Neg, 0x22ed, H, reference_route, native_fneg_zpz),
    SIGN(F32, Neg, 0x24ed, S, sve_fneg_zpz, native_fneg_zpz),
    SIGN(D64, Neg, 0x26ed, D, sve_fneg_zpz, native_fneg_zpz),
    // FSQRT
    VM(F16, Sqrt, 0x32a6d, H, reference_route, native_fsqrt_zpz),
    VM(F32, Sqrt, 0x32c6d, S, sve_fsqrt_zpz, native_fsqrt_zpz),
    VM(D64, Sqrt, 0x32e6d, D, sve_fsqrt_zpz, native_fsqrt_zpz),
    // FRINTN
    VM(F16, FRIntN, 0x32a05, H, reference_route, native_frintn_zpz),
    VM(F32, FRIntN, 0x32c05, S, reference_route, native_frintn_zpz),
    VM(D64, FRIntN, 0x32e05, D, reference_route, native_frintn_zpz),
    // FRINTP
    VM(F16, FRIntP, 0x32a0d, H, reference_route, native_frintp_zpz),
    VM(F32, FRIntP, 0x32c0d, S, reference_route, native_frintp_zpz),
    VM(D64, FRIntP, 0x32e0d, D, reference_route, native_frintp_zpz),
    // FRINTM
    VM(F16, FRIntM, 0x32a15, H, reference_route, native_frintm_zpz),
    VM(F32, FRIntM, 0x32c15, S, reference_route, native_frintm_zpz),
    VM(D64, FRIntM, 0x32e15, D, reference_route, native_frintm_zpz),
    // FRINTZ
    VM(F16, FRIntZ, 0x32a1d, H, reference_route, native_frintz_zpz),
    VM(F32, FRIntZ, 0x32c1d, S, reference_route, native_frintz_zpz),
    VM(D64, FRIntZ, 0x32e1d, D, reference_route, native_frintz_zpz),
    // FRINTA
    VM(F16, FRIntA, 0x32a25, H, reference_route, native_frinta_zpz),
    VM(F32, FRIntA, 0x32c25, S, sve_frinta_zpz, native_frinta_zpz),
    VM(D64, FRIntA, 0x32e25, D, sve_frinta_zpz, native_frinta_zpz),
    // FRINTI
    VM(F16, FRIntI, 0x32a3d, H, reference_route, native_frinti_zpz),
    VM(F32, FRIntI, 0x32c3d, S, reference_route, native_frinti_zpz),
    VM(D64, FRIntI, 0x32e3d, D, reference_route, native_frinti_zpz),
    // FRINTX
    VM(F16, FRIntX, 0x32a35, H, reference_route, native_frintx_zpz),
    VM(F32, FRIntX, 0x32c35, S, reference_route, native_frintx_zpz),
    VM(D64, FRIntX, 0x32e35, D, reference_route, native_frintx_zpz),
};
// clang-format on

constinit const handler_rows sve::fp_arithmetic_rows = rows;
