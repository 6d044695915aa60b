#include "sve/predicate/permutes_native.h"

#include "sve/native/predicates.h"

using namespace sve;
using namespace sve::native;

// ---- TRN, ZIP -----------------------------------------------------------------------------------

static void transpose(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm,
                      word_t instruction) {
    c.writes_p(pd.num, false);
    c.for_each_chunk([&](unsigned i) {
        const unsigned n = c.load_p(pn.num, i), m = c.load_p(pm.num, i);
        c.put(sized(instruction, pd.size), n, n, m);
        c.store_p(pd.num, i, n);
    });
}
void sve::native_trn1_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    transpose(c, pd, pn, pm, a64::v::trn1);
}
void sve::native_trn2_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    transpose(c, pd, pn, pm, a64::v::trn2);
}

// Of all elements of both interleaved, the lower or the upper half; and of one and zeros, if pm is null. Chunk i of all is made
// of chunks i / 2. The order is such that no chunk of a source is written before it has been read.
static void interleave(code &c, aarch64_p_reg pd, aarch64_p_reg pn, const aarch64_p_reg *pm,
                       unsigned size, bool upper) {
    c.writes_p(pd.num, false);
    unsigned zeros = 0;
    if (!pm) {
        zeros = c.v();
        c.put(a64::v::movi(sve_size_b, 0), zeros);
    }
    for (unsigned step = 0; step < c.chunks(); step++) {
        const unsigned to = upper ? step : c.chunks() - 1 - step;
        const unsigned from = upper ? c.chunks() + to : to;
        c.scope([&] {
            const unsigned n = c.load_p(pn.num, from / 2);
            const unsigned m = pm ? c.load_p(pm->num, from / 2) : zeros;
            c.put(sized(from % 2 ? a64::v::zip2 : a64::v::zip1, size), n, n, m);
            c.store_p(pd.num, to, n);
        });
    }
}
void sve::native_zip1_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    interleave(c, pd, pn, &pm, pd.size, false);
}
void sve::native_zip2_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    interleave(c, pd, pn, &pm, pd.size, true);
}
void sve::native_punpklo_pp(code &c, aarch64_p_reg pd, aarch64_p_reg pn) {
    interleave(c, pd, pn, nullptr, sve_size_b, false);
}
void sve::native_punpkhi_pp(code &c, aarch64_p_reg pd, aarch64_p_reg pn) {
    interleave(c, pd, pn, nullptr, sve_size_b, true);
}

// ---- UZP ----------------------------------------------------------------------------------------

// Chunk i of the result is made of chunks 2i and 2i + 1 of Pn with Pm behind it. From the first one on, no chunk of Pn is
// written before it has been read; from the last one on, none of Pm.
static void separate(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm,
                     word_t instruction) {
    const bool is_both = pd.num == pn.num && pd.num == pm.num, is_m = pd.num == pm.num;
    c.writes_p(pd.num, false);
    const unsigned row = is_both ? c.state().spare() : c.state().p(pd.num);
    const auto load = [&](unsigned i) {
        return i < c.chunks() ? c.load_p(pn.num, i) : c.load_p(pm.num, i - c.chunks());
    };
    for (unsigned step = 0; step < c.chunks(); step++) {
        const unsigned i = is_m ? c.chunks() - 1 - step : step;
        c.scope([&] {
            const unsigned low = load(2 * i), high = load(2 * i + 1);
            c.put(sized(instruction, pd.size), low, low, high);
            c.store_v(low, row + i * chunk_bytes);
        });
    }
    if (is_both)
        copy_row(c, c.state().p(pd.num), row);
}
void sve::native_uzp1_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    separate(c, pd, pn, pm, a64::v::uzp1);
}
void sve::native_uzp2_ppp(code &c, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
    separate(c, pd, pn, pm, a64::v::uzp2);
}

// ---- REV ----------------------------------------------------------------------------------------

void sve::native_rev_pp(code &c, aarch64_p_reg pd, aarch64_p_reg pn) {
    c.writes_p(pd.num, false);
    const auto reverse = [&](unsigned chunk) {
        if (pd.size != sve_size_d)
            c.put(sized(a64::v::rev64, pd.size), chunk, chunk);
        c.put(a64::v::ext(8), chunk, chunk, chunk);
    };
    const unsigned last = c.chunks() - 1;
    for (unsigned i = 0; 2 * i <= last; i++)
        c.scope([&] {
            const unsigned low = c.load_p(pn.num, i), high = c.load_p(pn.num, last - i);
            reverse(low);
            reverse(high);
            c.store_p(pd.num, last - i, low);
            c.store_p(pd.num, i, high);
        });
}
