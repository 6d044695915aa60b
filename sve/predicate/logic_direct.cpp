#include "sve/core/lanes.h"
#include "sve/predicate/flags.h"
#include "sve/predicate/logic.h"

using namespace sve;

// Pd = op(Pn, Pm) by bytes, of which bit 0 counts.
template <class Op>
static aarch64_decode_rc combine(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,
                                 aarch64_p_reg pn, aarch64_p_reg pm, Op op) {
    const uint8_t merging = pg.size == sve_pred_zeroing ? 0 : 1;
    write_row<uint8_t>(state->p[pd.num], [&](unsigned i) {
        const auto row = [&](aarch64_p_reg p) { return load_chunk<uint8_t>(state->p[p.num], i); };
        return (op(row(pn), row(pm)) & row(pg) & 1) | (row(pd) & ~row(pg) & merging);
    });
    return AARCH64_DECODE_OK;
}

#define LOGIC(name, op)                                                                            \
    SVE_ROUTINE sve_##name##_pppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,            \
                                  aarch64_p_reg pn, aarch64_p_reg pm) {                            \
        return combine(state, pd, pg, pn, pm,                                                      \
                       [](chunk<uint8_t> n, chunk<uint8_t> m) { return op; });                     \
    }
LOGIC(and, n &m)
LOGIC(bic, n & ~m)
LOGIC(eor, n ^ m)
LOGIC(orr, n | m)
LOGIC(nor, ~(n | m))

SVE_ROUTINE sve_sel_pppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                         aarch64_p_reg pm) {
    write_row<uint8_t>(state->p[pd.num], [&](unsigned i) -> chunk<uint8_t> {
        return active_lanes<uint8_t>(state->p[pg.num], i)
                   ? load_chunk<uint8_t>(state->p[pn.num], i)
                   : load_chunk<uint8_t>(state->p[pm.num], i);
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_ptest_pp(cpu_state *state, aarch64_p_reg pg, aarch64_p_reg pn) {
    sve_ptest<signed char>(state, reinterpret_cast<const char *>(state->p[pg.num]),
                           reinterpret_cast<const char *>(state->p[pn.num]));
    return AARCH64_DECODE_OK;
}
