#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/logic.h"
#include "sve/predicate/logic_native.h"

using namespace sve;

// A row of each shape: element type and operation of the handler, its key, the size code, and its
// direct routine or reference_route.

// Pd = Pn op Pm where Pg is true, else 0
#define PPZ(type, op, key, size, routine, native)                                                  \
    row_to<routine, Vec##type##op##PPZ, to_p, Pd<size>, Pg_13_10<Z>, Pn<size>, Pm<size>>(          \
        "Vec" #type #op "PPZ", &decode_map__31_20__15_14__9_9__4_4, key, by<native>)
// Pd = Pn where Pg is true, else Pm
#define PP(type, op, key, size, routine, native)                                                   \
    row_to<routine, Vec##type##op##PP, to_p, Pd<size>, Pg_13_10<plain>, Pn<size>, Pm<size>>(       \
        "Vec" #type #op "PP", &decode_map__31_20__15_14__9_9__4_4, key, by<native>)
// The flags of Pn under Pg
#define PZ(type, op, key, size, routine, native)                                                   \
    row<routine, Vec##type##op##PZ, to_none, Pg_13_10<plain>, Pn<size>>(                           \
        "Vec" #type #op "PZ", &decode_map__31_14__9_9__4_0, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // AND, ANDS
    PPZ(P, And, 0x2504, B, sve_and_pppp, native_and_pppp),
    PPZ(P, AndFlg, 0x2544, B, reference_route, native_ands_pppp),
    // BIC, BICS
    PPZ(P, Bic, 0x2505, B, sve_bic_pppp, native_bic_pppp),
    PPZ(P, BicFlg, 0x2545, B, reference_route, native_bics_pppp),
    // EOR, EORS
    PPZ(P, Xor, 0x2506, B, sve_eor_pppp, native_eor_pppp),
    PPZ(P, XorFlg, 0x2546, B, reference_route, native_eors_pppp),
    // ORR, ORRS
    PPZ(P, Or, 0x2584, B, sve_orr_pppp, native_orr_pppp),
    PPZ(P, OrFlg, 0x25c4, B, reference_route, native_orrs_pppp),
    // ORN, ORNS
    PPZ(P, OrN, 0x2585, B, reference_route, native_orn_pppp),
    PPZ(P, OrNFlg, 0x25c5, B, reference_route, native_orns_pppp),
    // NAND, NANDS
    PPZ(P, Nand, 0x2587, B, reference_route, native_nand_pppp),
    PPZ(P, NandFlg, 0x25c7, B, reference_route, native_nands_pppp),
    // NOR, NORS
    PPZ(P, Nor, 0x2586, B, sve_nor_pppp, native_nor_pppp),
    PPZ(P, NorFlg, 0x25c6, B, reference_route, native_nors_pppp),
    // SEL
    PP(P, Sel, 0x2507, B, sve_sel_pppp, native_sel_pppp),
    // PTEST
    PZ(P, Test, 0x2550c0, B, sve_ptest_pp, native_ptest_pp),
};
// clang-format on

constinit const handler_rows sve::predicate_logic_rows = rows;
