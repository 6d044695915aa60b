#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/permute/extraction.h"
#include "sve/permute/extraction_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, its
// direct routine or reference_route, and its translation. All are in one map.

// Xd or Vd = an element of Zn
#define LAST_R(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##V, to_x, Rd<size>, Pg<plain>, Zn<size>>(                        \
        "Vec" #type #op "V", &decode_map__31_13, key, by<native>)
#define LAST_V(type, op, key, size, routine, native)                                               \
    row_to<routine, Vec##type##op##V, to_v<size>, Vd, Pg<plain>, Zn<size>>(                        \
        "Vec" #type #op "V", &decode_map__31_13, key, by<native>)
// Xdn, Vdn or all of Zdn = an element of Zm, if one is active. Direct routines and translations take Xdn, Vdn or Zdn first,
// reference functions behind Pg.
#define CONDITIONAL_R(type, op, key, size, routine, native)                                        \
    CONDITIONAL(type, op, SV, key, size, routine, native, to_x, Rdn<size>, Rdn<size>)
#define CONDITIONAL_V(type, op, key, size, routine, native)                                        \
    CONDITIONAL(type, op, SV, key, size, routine, native, to_v<size>, ScalarDn<size>, Vd)
#define CONDITIONAL_Z(type, op, key, size, routine, native)                                        \
    CONDITIONAL(type, op, VV, key, size, routine, native, to_z, Zdn<size>, Zdn<size>)
#define CONDITIONAL(type, op, shape, key, size, routine, native, destination, Value, Register)     \
    row_of<Vec##type##op##shape, destination, Pg<plain>, Value, Zm_9_5<size>>(                     \
        "Vec" #type #op #shape, &decode_map__31_13, key,                                           \
        direct_stub<routine, Register, Pg<plain>, Zm_9_5<size>>(),                                 \
        translation_stub<native, Register, Pg<plain>, Zm_9_5<size>>())

// clang-format off
static constexpr handler_row rows[] = {
    // LASTA (scalar)
    LAST_R(U8, LastA, 0x2905, B, reference_route, native_lasta_rpz),
    LAST_R(U16, LastA, 0x2b05, H, reference_route, native_lasta_rpz),
    LAST_R(U32, LastA, 0x2d05, S, reference_route, native_lasta_rpz),
    LAST_R(U64, LastA, 0x2f05, D, reference_route, native_lasta_rpz),
    // LASTA (SIMD&FP scalar)
    LAST_V(B8, LastA, 0x2914, B, reference_route, native_lasta_vpz),
    LAST_V(H16, LastA, 0x2b14, H, reference_route, native_lasta_vpz),
    LAST_V(F32, LastA, 0x2d14, S, reference_route, native_lasta_vpz),
    LAST_V(D64, LastA, 0x2f14, D, reference_route, native_lasta_vpz),
    // LASTB (scalar)
    LAST_R(U8, LastB, 0x290d, B, sve_lastb_rpz, native_lastb_rpz),
    LAST_R(U16, LastB, 0x2b0d, H, sve_lastb_rpz, native_lastb_rpz),
    LAST_R(U32, LastB, 0x2d0d, S, sve_lastb_rpz, native_lastb_rpz),
    LAST_R(U64, LastB, 0x2f0d, D, sve_lastb_rpz, native_lastb_rpz),
    // LASTB (SIMD&FP scalar)
    LAST_V(B8, LastB, 0x291c, B, sve_lastb_vpz, native_lastb_vpz),
    LAST_V(H16, LastB, 0x2b1c, H, sve_lastb_vpz, native_lastb_vpz),
    LAST_V(F32, LastB, 0x2d1c, S, sve_lastb_vpz, native_lastb_vpz),
    LAST_V(D64, LastB, 0x2f1c, D, sve_lastb_vpz, native_lastb_vpz),
    // CLASTA (scalar)
    CONDITIONAL_R(U8, CondXA, 0x2985, B, reference_route, native_clasta_rpz),
    CONDITIONAL_R(U16, CondXA, 0x2b85, H, reference_route, native_clasta_rpz),
    CONDITIONAL_R(U32, CondXA, 0x2d85, S, reference_route, native_clasta_rpz),
    CONDITIONAL_R(U64, CondXA, 0x2f85, D, reference_route, native_clasta_rpz),
    // CLASTA (SIMD&FP scalar)
    CONDITIONAL_V(B8, CondXA, 0x2954, B, reference_route, native_clasta_vpz),
    CONDITIONAL_V(H16, CondXA, 0x2b54, H, reference_route, native_clasta_vpz),
    CONDITIONAL_V(F32, CondXA, 0x2d54, S, reference_route, native_clasta_vpz),
    CONDITIONAL_V(D64, CondXA, 0x2f54, D, reference_route, native_clasta_vpz),
    // CLASTA (vectors)
    CONDITIONAL_Z(U8, VCondXA, 0x2944, B, reference_route, native_clasta_zpz),
    CONDITIONAL_Z(U16, VCondXA, 0x2b44, H, reference_route, native_clasta_zpz),
    CONDITIONAL_Z(U32, VCondXA, 0x2d44, S, reference_route, native_clasta_zpz),
    CONDITIONAL_Z(U64, VCondXA, 0x2f44, D, reference_route, native_clasta_zpz),
    // CLASTB (scalar)
    CONDITIONAL_R(U8, CondXB, 0x298d, B, sve_clastb_rpz, native_clastb_rpz),
    CONDITIONAL_R(U16, CondXB, 0x2b8d, H, sve_clastb_rpz, native_clastb_rpz),
    CONDITIONAL_R(U32, CondXB, 0x2d8d, S, sve_clastb_rpz, native_clastb_rpz),
    CONDITIONAL_R(U64, CondXB, 0x2f8d, D, sve_clastb_rpz, native_clastb_rpz),
    // CLASTB (SIMD&FP scalar)
    CONDITIONAL_V(B8, CondXB, 0x295c, B, reference_route, native_clastb_vpz),
    CONDITIONAL_V(H16, CondXB, 0x2b5c, H, reference_route, native_clastb_vpz),
    CONDITIONAL_V(F32, CondXB, 0x2d5c, S, reference_route, native_clastb_vpz),
    CONDITIONAL_V(D64, CondXB, 0x2f5c, D, reference_route, native_clastb_vpz),
    // CLASTB (vectors)
    CONDITIONAL_Z(U8, VCondXB, 0x294c, B, reference_route, native_clastb_zpz),
    CONDITIONAL_Z(U16, VCondXB, 0x2b4c, H, reference_route, native_clastb_zpz),
    CONDITIONAL_Z(U32, VCondXB, 0x2d4c, S, reference_route, native_clastb_zpz),
    CONDITIONAL_Z(U64, VCondXB, 0x2f4c, D, reference_route, native_clastb_zpz),
};
// clang-format on

constinit const handler_rows sve::extraction_rows = rows;
