#include "sve/predicate/logic_native.h"

#include "sve/native/predicates.h"

#include <optional>

using namespace sve;
using namespace sve::native;

// What makes one of two V registers, perhaps of the complement of what it makes.
struct logic {
    word_t instruction;
    bool inverted;
};

static void combine(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm,
                    logic operation, bool sets_flags) {
    const bool is_mov =
        pn.num == pm.num && !operation.inverted &&
        (operation.instruction == a64::v::orr || operation.instruction == a64::v::and_);
    const bool is_copy = is_mov && pg.num == pn.num;
    const bool all =
        sets_flags ? c.all_true(pg.num, sve_size_b) : c.is_known_all_true(pg.num, sve_size_b);
    const bool makes_bits = !operation.inverted && operation.instruction != a64::v::orn;
    const bool needs_pg = !(makes_bits && (all || is_copy)); // which has bytes of 0 or 1
    std::optional<flags_of_result> flags;
    if (sets_flags)
        flags.emplace(c, sve_size_b, all);
    c.for_each_chunk([&](unsigned i) {
        const unsigned result = c.load_p(pn.num, i);
        if (!is_mov)
            c.put(operation.instruction, result, result,
                  pm.num == pn.num ? result : c.load_p(pm.num, i));
        unsigned active = 0;
        if (needs_pg || (flags && !all))
            active = c.load_p(pg.num, i);
        if (needs_pg)
            c.put(operation.inverted ? a64::v::bic : a64::v::and_, result, active, result);
        c.store_p(pd.num, i, result);
        if (flags)
            flags->take(i, result, active);
    });
    if (flags)
        flags->set(c.state().p(pd.num));
    c.writes_p(pd.num, is_copy);
}

#define LOGIC(name, instruction, inverted)                                                         \
    void sve::native_##name##_pppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,  \
                                   aarch64_p_reg pm) {                                             \
        combine(c, pd, pg, pn, pm, {instruction, inverted}, false);                                \
    }                                                                                              \
    void sve::native_##name##s_pppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, \
                                    aarch64_p_reg pm) {                                            \
        combine(c, pd, pg, pn, pm, {instruction, inverted}, true);                                 \
    }
LOGIC(and, a64::v::and_, false)
LOGIC(bic, a64::v::bic, false)
LOGIC(eor, a64::v::eor, false)
LOGIC(orr, a64::v::orr, false)
LOGIC(orn, a64::v::orn, false)
LOGIC(nand, a64::v::and_, true)
LOGIC(nor, a64::v::orr, true)

void sve::native_sel_pppp(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                          aarch64_p_reg pm) {
    c.writes_p(pd.num, false);
    c.for_each_chunk([&](unsigned i) {
        const unsigned result = c.mask(pg.num, sve_size_b, i);
        c.put(a64::v::bsl, result, c.load_p(pn.num, i), c.load_p(pm.num, i));
        c.store_p(pd.num, i, result);
    });
}

void sve::native_ptest_pp(code &c, aarch64_p_reg pg, aarch64_p_reg pn) {
    set_flags(c, pg.num, pn.num, sve_size_b);
}
