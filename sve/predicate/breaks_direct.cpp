#include "sve/core/lanes.h"
#include "sve/predicate/breaks.h"
#include "sve/predicate/flags.h"
#include "sve/predicate/predicate_rows.h"

using namespace sve;

// Active elements are true below byte `limit`. Inactive ones become 0, or keep their value.
static void write_break(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, unsigned limit) {
    uint8_t *d = state->p[pd.num];
    const uint8_t *g = state->p[pg.num];
    const bool zeroing = pg.size == sve_pred_zeroing;
    write_row<uint8_t>(d, [&](unsigned i) {
        const chunk<uint8_t> inactive = zeroing ? chunk<uint8_t>{} : load_chunk<uint8_t>(d, i);
        return active_lanes<uint8_t>(g, i) ? bytes_below(limit, i) & 1 : inactive;
    });
}

// Byte offset of the first active true element of a predicate, or sve_vector_bytes.
static unsigned first_active_true(const cpu_state *state, aarch64_p_reg pg, aarch64_p_reg p) {
    return find_first_true<uint8_t>(bytes_of_both(state->p[pg.num], state->p[p.num]));
}

// Whether Pn is true at the last active element.
static bool last_active_is_true(const cpu_state *state, aarch64_p_reg pg, aarch64_p_reg pn) {
    const unsigned last = find_last_true<uint8_t>(bytes_of(state->p[pg.num]));
    return last != sve_vector_bytes && state->p[pn.num][last] & 1;
}

SVE_ROUTINE sve_brka_ppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
    write_break(state, pd, pg, first_active_true(state, pg, pn) + 1);
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_brkb_ppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
    write_break(state, pd, pg, first_active_true(state, pg, pn));
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_brkn(cpu_state *state, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn,
                     bool set_flags) {
    uint8_t *dm = state->p[pdm.num];
    if (!last_active_is_true(state, pg, pn))
        std::memset(dm, 0, sve_vector_bytes);
    if (set_flags) {
        char all_true[sve_vector_bytes];
        std::memset(all_true, 1, sizeof all_true);
        sve_ptest<signed char>(state, all_true, reinterpret_cast<char *>(dm));
    }
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_brkn_ppp(cpu_state *state, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    return sve_brkn(state, pdm, pg, pn, false);
}
SVE_ROUTINE sve_brkns_ppp(cpu_state *state, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    return sve_brkn(state, pdm, pg, pn, true);
}

SVE_ROUTINE sve_brkpb(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                      aarch64_p_reg pm, bool set_flags) {
    const unsigned limit =
        last_active_is_true(state, pg, pn) ? first_active_true(state, pg, pm) : 0;
    uint8_t mask[sve_vector_bytes]; // Pd may be Pg, by which the flags are set
    std::memcpy(mask, state->p[pg.num], sve_vector_bytes);
    write_break(state, pd, pg, limit);
    if (set_flags)
        sve_ptest<signed char>(state, reinterpret_cast<char *>(mask),
                               reinterpret_cast<char *>(state->p[pd.num]));
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_brkpb_pppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                           aarch64_p_reg pm) {
    return sve_brkpb(state, pd, pg, pn, pm, false);
}
SVE_ROUTINE sve_brkpbs_pppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                            aarch64_p_reg pm) {
    return sve_brkpb(state, pd, pg, pn, pm, true);
}
