#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/breaks.h"
#include "sve/predicate/breaks_native.h"

using namespace sve;

// A row of each shape: the operation of the handler, its key, and its direct routine or reference_route.

// Pd by Pg/M and Pn; by Pg/Z and Pn
#define MERGING(op, key, routine, native)                                                          \
    row<routine, VecP##op, to_p, Pd<B>, Pg_13_10<M>, Pn<B>>(                                       \
        "VecP" #op, &decode_map__31_14__9_9__4_4, key, by<native>)
#define ZEROING(op, key, routine, native)                                                          \
    row_to<routine, VecP##op, to_p, Pd<B>, Pg_13_10<Z>, Pn<B>>(                                    \
        "VecP" #op, &decode_map__31_14__9_9__4_4, key, by<native>)
// Pdm by Pg/Z, Pn and Pdm
#define NEXT(op, key, routine, native)                                                             \
    row_of<VecP##op, to_p, Pg_13_10<Z>, Pn<B>, Pdn<B>>(                                            \
        "VecP" #op, &decode_map__31_14__9_9__4_4, key,                                             \
        direct<routine, Pdn<B>, Pg_13_10<Z>, Pn<B>>,                                               \
        translation_stub<native, Pdn<B>, Pg_13_10<Z>, Pn<B>>())
// Pd by Pg/Z, Pn and Pm
#define PREVIOUS(op, key, routine, native)                                                         \
    row_to<routine, VecP##op, to_p, Pd<B>, Pg_13_10<Z>, Pn<B>, Pm<B>>(                             \
        "VecP" #op, &decode_map__31_20__15_14__9_9__4_4, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // BRKA, BRKB
    MERGING(BreakAPM, 0x25105, sve_brka_ppp, native_brka_ppp),
    ZEROING(BreakAPZ, 0x25104, sve_brka_ppp, native_brka_ppp),
    ZEROING(BreakAFlgPZ, 0x25504, reference_route, native_brkas_ppp),
    MERGING(BreakBPM, 0x25905, sve_brkb_ppp, native_brkb_ppp),
    ZEROING(BreakBPZ, 0x25904, sve_brkb_ppp, native_brkb_ppp),
    ZEROING(BreakBFlgPZ, 0x25d04, reference_route, native_brkbs_ppp),
    // BRKN
    NEXT(BreakNextPZ, 0x25184, sve_brkn_ppp, native_brkn_ppp),
    NEXT(BreakNextFlgPZ, 0x25584, sve_brkns_ppp, native_brkns_ppp),
    // BRKPA, BRKPB
    PREVIOUS(BreakPrevAPZ, 0x250c, reference_route, native_brkpa_pppp),
    PREVIOUS(BreakPrevAFlgPZ, 0x254c, reference_route, native_brkpas_pppp),
    PREVIOUS(BreakPrevBPZ, 0x250d, sve_brkpb_pppp, native_brkpb_pppp),
    PREVIOUS(BreakPrevBFlgPZ, 0x254d, sve_brkpbs_pppp, native_brkpbs_pppp),
};
// clang-format on

constinit const handler_rows sve::predicate_break_rows = rows;
