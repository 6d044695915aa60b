#include "sve/predicate/generation_native.h"

#include "sve/native/predicates.h"
#include "sve/predicate/patterns.h"

using namespace sve;
using namespace sve::native;

// ---- From nothing -------------------------------------------------------------------------------

// The row whose first `count` elements of a size are true.
static void write_elements(code &c, unsigned row, unsigned size, unsigned count) {
    const unsigned limit = count << size;
    const auto half = [&](unsigned from) {
        uint64_t bytes = 0;
        for (unsigned at = from; at < from + 8 && at < limit; at += 1u << size)
            bytes |= uint64_t{1} << (at - from) * 8;
        return bytes;
    };
    c.scope([&] {
        uint64_t low = 0, high = 0;
        unsigned chunk = 0;
        for (unsigned i = 0; i < c.chunks(); i++) {
            const uint64_t next_low = half(i * chunk_bytes), next_high = half(i * chunk_bytes + 8);
            if (i == 0 || next_low != low || next_high != high) {
                low = next_low;
                high = next_high;
                chunk = c.constant(low, high);
            }
            c.store_v(chunk, row + i * chunk_bytes);
        }
    });
}

static unsigned elements_of_pattern(code &c, aarch64_p_reg pd, unsigned pattern) {
    const unsigned all = c.elements(pd.size), count = pattern_count(pattern, all);
    c.writes_p(pd.num, count == all);
    if (count == all)
        c.knows_all_true(pd.num, pd.size);
    write_elements(c, c.state().p(pd.num), pd.size, count);
    return count;
}

void sve::native_ptrue_pi(code &c, aarch64_p_reg pd, unsigned pattern) {
    elements_of_pattern(c, pd, pattern);
}

// The result governs its own flags.
void sve::native_ptrues_pi(code &c, aarch64_p_reg pd, unsigned pattern) {
    if (elements_of_pattern(c, pd, pattern))
        set_flags_of_all(c, c.x());
    else
        c.put(a64::subs, xzr, xzr, xzr);
}

void sve::native_pfalse_p(code &c, aarch64_p_reg pd) {
    c.writes_p(pd.num, false);
    write_elements(c, c.state().p(pd.num), sve_size_b, 0);
}

// ---- By searches ---------------------------------------------------------------------------------

// Predicates are numbers with a bit for each element: n - 1 has n's lowest bit and those below turned. Doubleword by doubleword, the
// borrow is in NZCV.
static void begin_subtraction_of_one(code &c) {
    c.put(a64::adds, xzr, xzr, xzr);
}
static void subtract_one(code &c, unsigned d, unsigned n) {
    c.put(a64::sbcs, d, n, xzr);
}

void sve::native_pfirst_p(code &c, aarch64_p_reg pg, aarch64_p_reg pdn) {
    const unsigned row = c.state().p(pdn.num);
    if (c.all_true(pg.num, sve_size_b)) {
        c.scope([&] {
            const unsigned address = c.address_in_state(row), one = c.x();
            c.set_x(one, 1);
            c.put(a64::load_store(false, 1, one, address, 0));
        });
    } else {
        begin_subtraction_of_one(c);
        for_each_doubleword(c, order::rising, [&](const doubleword &word) {
            const unsigned result = c.x(), active = c.x(), below = c.x();
            word.load(active, c.state().p(pg.num));
            word.load(result, row);
            subtract_one(c, below, active);
            c.put(a64::bic, active, active, below);
            c.put(a64::orr, result, result, active);
            word.store(result, row);
        });
    }
    set_flags(c, pg.num, pdn.num, sve_size_b);
    c.writes_p(pdn.num, false);
}

// What is active and behind the last true element goes to the spare row; the first of it is the result.
void sve::native_pnext_pp(code &c, aarch64_p_reg pdn, aarch64_p_reg pg) {
    const unsigned size = pdn.src_size, spare = c.state().spare();
    c.all_true(pg.num, size);
    c.scope([&] {
        const unsigned elements = c.x();
        c.set_x(elements, ~uint64_t{0} / (~uint64_t{0} >> (64 - (8u << size))));
        begin_subtraction_of_one(c);
        for_each_doubleword(c, order::falling, [&](const doubleword &word) {
            const unsigned last = c.x(), active = c.x(), behind = c.x();
            word.load(last, c.state().p(pdn.num));
            word.load(active, c.state().p(pg.num));
            c.put(a64::and_, last, last, elements);
            c.put(a64::and_, active, active, elements);
            c.put(a64::rbit, last, last);
            subtract_one(c, behind, last);
            c.put(a64::bic, behind, behind, last);
            c.put(a64::rbit, behind, behind);
            c.put(a64::and_, active, active, behind);
            word.store(active, spare);
        });
    });
    const bool governs_itself = pdn.num == pg.num;
    const unsigned row = governs_itself ? spare : c.state().p(pdn.num);
    begin_subtraction_of_one(c);
    for_each_doubleword(c, order::rising, [&](const doubleword &word) {
        const unsigned found = c.x(), below = c.x();
        word.load(found, spare);
        subtract_one(c, below, found);
        c.put(a64::bic, found, found, below);
        word.store(found, row);
    });
    set_flags_of_row(c, pg.num, row, size);
    if (governs_itself)
        copy_row(c, c.state().p(pdn.num), spare);
    c.writes_p(pdn.num, false);
}

// ---- From general registers ---------------------------------------------------------------------

// How WHILE compares: where Rn stands like this to Rm, no element is true.
struct relation {
    a64::condition fails;
    bool or_equal;
    a64::condition greatest; // after Rm + 1: Rm is the greatest number
};

static void write_while(code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm,
                        const relation &is) {
    const unsigned size = pd.size, all = c.elements(size);
    const word_t width = rn.size == sve_size_d ? a64::x : 0;
    const auto of_width = [&](word_t word) { return (word & ~a64::x) | width; };
    const label none = c.new_label(), some = c.new_label(), full = c.new_label(),
                done = c.new_label();
    const unsigned n = c.read_x(rn.num), m = c.read_x(rm.num), count = c.x();
    c.writes_p(pd.num, true);

    // The difference of two numbers in order is unsigned.
    c.put(of_width(a64::subs), xzr, n, m);
    c.b(is.fails, none);
    c.put(of_width(a64::sub), count, m, n);
    c.put(of_width(a64::subs_immediate) | (is.or_equal ? all - 1 : all) << 10, xzr, count);
    c.b(a64::cs, full);
    if (is.or_equal) {
        // Nothing exceeds the greatest number: the sum wraps around.
        if (m != xzr) {
            c.put(of_width(a64::adds_immediate) | 1 << 10, xzr, m);
            c.b(is.greatest, full);
        }
        c.put(a64::add_immediate | 1 << 10, count, count);
    }
    c.b(some);
    c.bind(none);
    c.set_x(count, 0);
    c.bind(some);
    c.scope([&] {
        const unsigned limit = c.v();
        c.put(a64::v::dup(size), limit, count);
        c.for_each_chunk([&](unsigned i) {
            const unsigned number = element_numbers(c, size, i);
            c.put(sized(a64::v::cmhi, size), number, limit, number);
            c.put(a64::v::ushr(size, (8u << size) - 1), number, number);
            c.store_p(pd.num, i, number);
        });
    });
    c.note_full(pd.num, code::not_full);
    // A negative number for some, zero for none; and the last is not true.
    c.put(a64::sub, count, xzr, count);
    c.put(a64::subs, xzr, count, xzr);
    c.b(done);

    c.bind(full);
    write_elements(c, c.state().p(pd.num), size, all);
    c.note_full(pd.num, size);
    set_flags_of_all(c, count);
    c.bind(done);
}

#define WHILE(name, ...)                                                                           \
    void sve::native_##name##_prr(code &c, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) { \
        write_while(c, pd, rn, rm, {__VA_ARGS__});                                                 \
    }
WHILE(whilelt, a64::ge, false, a64::vs)
WHILE(whilele, a64::gt, true, a64::vs)
WHILE(whilelo, a64::cs, false, a64::cs)
WHILE(whilels, a64::hi, true, a64::cs)

// If the condition holds: N = 1, V = 0; else N = 0, V = not C. Z and C stay.
static void terminate(code &c, aarch64_i_reg rn, aarch64_i_reg rm, a64::condition condition) {
    const unsigned flags = c.x(), changed = c.x(), n_flag = c.x();
    const unsigned n = c.read_x(rn.num), m = c.read_x(rm.num);
    c.put(a64::mrs | a64::nzcv, flags);
    c.put(rn.size == sve_size_d ? a64::subs : a64::subs & ~a64::x, xzr, n, m);
    c.set_x(changed, 0x60000000);
    c.put(a64::and_, flags, flags, changed);
    c.set_x(changed, 0x10000000);
    c.put(a64::bic | a64::by_lsr(1), changed, changed, flags);
    c.set_x(n_flag, 0x80000000);
    c.put(a64::csel | a64::when(condition), changed, n_flag, changed);
    c.put(a64::orr, flags, flags, changed);
    c.put(a64::msr | a64::nzcv, flags);
}
void sve::native_ctermeq_rr(code &c, aarch64_i_reg rn, aarch64_i_reg rm) {
    terminate(c, rn, rm, a64::eq);
}
void sve::native_ctermne_rr(code &c, aarch64_i_reg rn, aarch64_i_reg rm) {
    terminate(c, rn, rm, a64::ne);
}

// ---- The first-fault register -------------------------------------------------------------------

void sve::native_rdffr_p(code &c, aarch64_p_reg pd) {
    c.writes_p(pd.num, true);
    copy_row(c, c.state().p(pd.num), c.state().ffr());
}

static void read_under(code &c, aarch64_p_reg pd, aarch64_p_reg pg, bool all,
                       flags_of_result *flags) {
    c.for_each_chunk([&](unsigned i) {
        const unsigned result = c.v();
        unsigned active = 0;
        c.load_v(result, c.state().ffr() + i * chunk_bytes);
        if (!all) {
            active = c.load_p(pg.num, i);
            c.put(a64::v::and_, result, result, active);
        }
        c.store_p(pd.num, i, result);
        if (flags)
            flags->take(i, result, active);
    });
    c.writes_p(pd.num, true);
}
void sve::native_rdffr_pp(code &c, aarch64_p_reg pd, aarch64_p_reg pg) {
    read_under(c, pd, pg, c.is_known_all_true(pg.num, sve_size_b), nullptr);
}
void sve::native_rdffrs_pp(code &c, aarch64_p_reg pd, aarch64_p_reg pg) {
    const bool all = c.all_true(pg.num, sve_size_b);
    flags_of_result flags(c, sve_size_b, all);
    read_under(c, pd, pg, all, &flags);
    flags.set(c.state().p(pd.num));
}

void sve::native_wrffr_p(code &c, aarch64_p_reg pn) {
    copy_row(c, c.state().ffr(), c.state().p(pn.num));
}
void sve::native_setffr(code &c) {
    write_elements(c, c.state().ffr(), sve_size_b, c.vector_bytes());
}
