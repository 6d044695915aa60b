#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/permutes.h"
#include "sve/predicate/permutes_native.h"

using namespace sve;

// A row of each shape: element bits and operation of the handler, its key, the size code, and its direct
// routine or reference_route.
#define BINARY(bits, op, key, size, routine, native)                                               \
    row_to<routine, VecP##bits##op##PP, to_p, Pd<size>, Pn<size>, Pm<size>>(                       \
        "VecP" #bits #op "PP", &decode_map__31_20__15_9__4_4, key, by<native>)
#define REVERSE(bits, key, size, routine, native)                                                  \
    row_to<routine, VecP##bits##ReverseP, to_p, Pd<size>, Pn<size>>(                               \
        "VecP" #bits "ReverseP", &decode_map__31_9__4_4, key, by<native>)
#define UNPACK(op, key, routine, native)                                                           \
    row_to<routine, VecP##op, to_p, Pd<H>, Pn<B>>("VecP" #op, &decode_map__31_9__4_4, key,         \
                                                  by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // ZIP1
    BINARY(8, Zip1, 0x5240, B, sve_zip1_ppp, native_zip1_ppp),
    BINARY(16, Zip1, 0x5640, H, sve_zip1_ppp, native_zip1_ppp),
    BINARY(32, Zip1, 0x5a40, S, sve_zip1_ppp, native_zip1_ppp),
    BINARY(64, Zip1, 0x5e40, D, sve_zip1_ppp, native_zip1_ppp),
    // ZIP2
    BINARY(8, Zip2, 0x5244, B, sve_zip2_ppp, native_zip2_ppp),
    BINARY(16, Zip2, 0x5644, H, sve_zip2_ppp, native_zip2_ppp),
    BINARY(32, Zip2, 0x5a44, S, sve_zip2_ppp, native_zip2_ppp),
    BINARY(64, Zip2, 0x5e44, D, sve_zip2_ppp, native_zip2_ppp),
    // UZP1
    BINARY(8, Uzp1, 0x5248, B, sve_uzp1_ppp, native_uzp1_ppp),
    BINARY(16, Uzp1, 0x5648, H, sve_uzp1_ppp, native_uzp1_ppp),
    BINARY(32, Uzp1, 0x5a48, S, sve_uzp1_ppp, native_uzp1_ppp),
    BINARY(64, Uzp1, 0x5e48, D, sve_uzp1_ppp, native_uzp1_ppp),
    // UZP2
    BINARY(8, Uzp2, 0x524c, B, reference_route, native_uzp2_ppp),
    BINARY(16, Uzp2, 0x564c, H, reference_route, native_uzp2_ppp),
    BINARY(32, Uzp2, 0x5a4c, S, reference_route, native_uzp2_ppp),
    BINARY(64, Uzp2, 0x5e4c, D, reference_route, native_uzp2_ppp),
    // TRN1
    BINARY(8, Trn1, 0x5250, B, reference_route, native_trn1_ppp),
    BINARY(16, Trn1, 0x5650, H, reference_route, native_trn1_ppp),
    BINARY(32, Trn1, 0x5a50, S, reference_route, native_trn1_ppp),
    BINARY(64, Trn1, 0x5e50, D, reference_route, native_trn1_ppp),
    // TRN2
    BINARY(8, Trn2, 0x5254, B, reference_route, native_trn2_ppp),
    BINARY(16, Trn2, 0x5654, H, reference_route, native_trn2_ppp),
    BINARY(32, Trn2, 0x5a54, S, reference_route, native_trn2_ppp),
    BINARY(64, Trn2, 0x5e54, D, reference_route, native_trn2_ppp),
    // REV
    REVERSE(8, 0x53440, B, sve_rev_pp, native_rev_pp),
    REVERSE(16, 0x57440, H, sve_rev_pp, native_rev_pp),
    REVERSE(32, 0x5b440, S, sve_rev_pp, native_rev_pp),
    REVERSE(64, 0x5f440, D, sve_rev_pp, native_rev_pp),
    // PUNPKLO, PUNPKHI
    UNPACK(UnpackLoP, 0x53040, sve_punpklo_pp, native_punpklo_pp),
    UNPACK(UnpackHiP, 0x53140, sve_punpkhi_pp, native_punpkhi_pp),
};
// clang-format on

constinit const handler_rows sve::predicate_permute_rows = rows;
