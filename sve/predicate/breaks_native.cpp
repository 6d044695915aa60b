#include "sve/predicate/breaks_native.h"

#include "sve/native/predicates.h"

using namespace sve;
using namespace sve::native;

// Whether the element at which a run ends still belongs to it.
enum class end_of_run { included, excluded };

// Writes a row: the active elements up to the first active true one of `stop` are true. Inactive ones become 0, or keep the value
// that they have there. NZCV is lost.
static void write_run(code &c, unsigned row, aarch64_p_reg pg, aarch64_p_reg stop, end_of_run end) {
    c.put(a64::adds, xzr, xzr, xzr); // a borrow for the first subtraction
    for_each_doubleword(c, order::rising, [&](const doubleword &word) {
        const unsigned active = c.x(), stops = c.x(), result = c.x();
        word.load(active, c.state().p(pg.num));
        word.load(stops, c.state().p(stop.num));
        c.put(a64::and_, stops, stops, active);
        // Of all doublewords as one number, the lowest bit and those below it turn.
        c.put(a64::sbcs, result, stops, xzr);
        c.put(end == end_of_run::included ? a64::eor : a64::bic, result, result, stops);
        c.put(a64::and_, result, result, active);
        if (pg.size != sve_pred_zeroing) {
            word.load(stops, row);
            c.put(a64::bic, stops, stops, active);
            c.put(a64::orr, result, result, stops);
        }
        word.store(result, row);
    });
}

static void write_zeros(code &c, unsigned row) {
    for_each_doubleword(c, order::rising, [&](const doubleword &word) { word.store(xzr, row); });
}

// An X register, 1 if Pn is true at the last active element, else 0.
static unsigned last_active_is_true(code &c, unsigned pg, unsigned pn, bool all) {
    const unsigned is_true = c.x();
    c.scope([&] {
        const unsigned row = c.address_in_state(c.state().p(pn));
        if (all) {
            c.put(a64::load_store(true, 1, is_true, row, c.vector_bytes() - 1));
            return;
        }
        const unsigned last = c.v();
        c.put(a64::v::movi(sve_size_b, 0), last);
        c.for_each_chunk([&](unsigned i) {
            const unsigned active = c.mask(pg, sve_size_b, i);
            c.put(a64::v::and_, active, active, element_numbers(c, sve_size_b, i));
            c.put(sized(a64::v::umax, sve_size_b), last, last, active);
        });
        c.put(sized(a64::v::umaxv, sve_size_b), last, last);
        const unsigned number = c.x(), mask_row = c.address_in_state(c.state().p(pg));
        c.put(a64::v::umov(sve_size_b, 0), number, last);
        c.put(a64::load_byte_at, is_true, row, number);
        c.put(a64::load_byte_at, number, mask_row, number); // none may be active
        c.put(a64::and_, is_true, is_true, number);
    });
    return is_true;
}

// NZCV is that of the result under Pg behind f(row), which writes the result; or as it was. The result is made in Pd, or in the
// spare row while Pg is needed.
template <class F>
static void write_result(code &c, unsigned pd, unsigned pg, bool sets_flags, F &&f) {
    const bool is_spare = sets_flags && pd == pg;
    const unsigned row = is_spare ? c.state().spare() : c.state().p(pd);
    if (sets_flags) {
        f(row);
        set_flags_of_row(c, pg, row, sve_size_b);
    } else {
        const unsigned flags = c.x();
        c.put(a64::mrs | a64::nzcv, flags);
        f(row);
        c.put(a64::msr | a64::nzcv, flags);
    }
    if (is_spare)
        copy_row(c, c.state().p(pd), row);
    c.writes_p(pd, false);
}

// ---- BRKA, BRKB ---------------------------------------------------------------------------------

static void write_break(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                        end_of_run end, bool sets_flags) {
    if (sets_flags)
        c.all_true(pg.num, sve_size_b);
    write_result(c, pd.num, pg.num, sets_flags,
                 [&](unsigned row) { write_run(c, row, pg, pn, end); });
}

// ---- BRKPA, BRKPB -------------------------------------------------------------------------------

static void write_break_previous(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                                 aarch64_p_reg pm, end_of_run end, bool sets_flags) {
    const bool all = c.all_true(pg.num, sve_size_b);
    const unsigned goes_on = last_active_is_true(c, pg.num, pn.num, all);
    write_result(c, pd.num, pg.num, sets_flags, [&](unsigned row) {
        const label is_empty = c.new_label(), done = c.new_label();
        c.cbz(goes_on, is_empty);
        write_run(c, row, pg, pm, end);
        c.b(done);
        c.bind(is_empty);
        write_zeros(c, row);
        c.bind(done);
    });
}

#define BREAKS(letter, end)                                                                        \
    void sve::native_brk##letter##_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg,                \
                                       aarch64_p_reg pn) {                                         \
        write_break(c, pd, pg, pn, end_of_run::end, false);                                        \
    }                                                                                              \
    void sve::native_brk##letter##s_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg,               \
                                        aarch64_p_reg pn) {                                        \
        write_break(c, pd, pg, pn, end_of_run::end, true);                                         \
    }                                                                                              \
    void sve::native_brkp##letter##_pppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg,              \
                                         aarch64_p_reg pn, aarch64_p_reg pm) {                     \
        write_break_previous(c, pd, pg, pn, pm, end_of_run::end, false);                           \
    }                                                                                              \
    void sve::native_brkp##letter##s_pppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg,             \
                                          aarch64_p_reg pn, aarch64_p_reg pm) {                    \
        write_break_previous(c, pd, pg, pn, pm, end_of_run::end, true);                            \
    }
BREAKS(a, included)
BREAKS(b, excluded)

// ---- BRKN ---------------------------------------------------------------------------------------

static void keep_or_clear(code &c, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    const bool all = c.all_true(pg.num, sve_size_b);
    const label done = c.new_label();
    c.scope([&] { c.cbnz(last_active_is_true(c, pg.num, pn.num, all), done); });
    write_zeros(c, c.state().p(pdm.num));
    c.bind(done);
    c.writes_p(pdm.num, false);
}

void sve::native_brkn_ppp(code &c, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    keep_or_clear(c, pdm, pg, pn);
}
// Flags by all elements
void sve::native_brkns_ppp(code &c, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    keep_or_clear(c, pdm, pg, pn);
    set_flags_of_row(c, std::nullopt, c.state().p(pdm.num), sve_size_b);
}
