#include "sve/integer/reductions_native.h"

#include "sve/integer/lanes_native.h"
#include "sve/native/rows.h"

using namespace sve;
using namespace sve::native;

// A V register with all chunks of Zn folded into one by step(d, n, m), which makes d of two; where Pg is not true
// lanes are the identity. `alone` makes what step takes as n of the first chunk.
template <class Alone, class Step>
static unsigned fold_chunks(code &c, aarch64_p_reg pg, aarch64_z_reg zn, uint64_t identity,
                            const Alone &alone, const Step &step) {
    const bool all = c.all_true(pg.num, zn.size);
    const unsigned folded = c.v();
    c.scope([&] {
        const unsigned inactive = all ? 0 : broadcast(c, zn.size, identity);
        c.for_each_chunk([&](unsigned i) {
            unsigned lanes = c.load_z(zn.num, i);
            if (!all) {
                const unsigned active = c.mask(pg.num, zn.size, i);
                c.put(a64::v::bsl, active, lanes, inactive);
                lanes = active;
            }
            if (i == 0)
                alone(folded, lanes);
            else
                step(folded, folded, lanes);
        });
    });
    return folded;
}

// ---- Sums --------------------------------------------------------------------------------------

// Lanes of twice the size have room for the sums of all chunks.
static void put_sum(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn, word_t pairs,
                    word_t add_pairs, word_t across) {
    const unsigned size = zn.size, wide = size + 1;
    const bool is_widest = size == sve_size_d;
    const unsigned sum = fold_chunks(
        c, pg, zn, 0,
        [&](unsigned d, unsigned n) {
            c.put(is_widest ? a64::v::mov | n << 16 : sized(pairs, size), d, n);
        },
        [&](unsigned d, unsigned n, unsigned m) {
            if (is_widest)
                c.put(sized(a64::v::add, size), d, n, m);
            else
                c.put(sized(add_pairs, size), d, m);
        });
    if (size == sve_size_b)
        c.put(sized(pairs, wide), sum, sum);
    if (size <= sve_size_h)
        c.put(sized(across, sve_size_s), vd, sum);
    else
        c.put(a64::v::addp_scalar, vd, sum);
    clear_rest(c, vd);
}
void sve::native_saddv_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    put_sum(c, vd, pg, zn, a64::v::saddlp, a64::v::sadalp, a64::v::saddlv);
}
void sve::native_uaddv_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    put_sum(c, vd, pg, zn, a64::v::uaddlp, a64::v::uadalp, a64::v::uaddlv);
}

// ---- Others ------------------------------------------------------------------------------------

template <class Step>
static unsigned fold(code &c, aarch64_p_reg pg, aarch64_z_reg zn, uint64_t identity,
                     const Step &step) {
    const auto copy = [&](unsigned d, unsigned n) { c.put(a64::v::mov, d, n, n); };
    return fold_chunks(c, pg, zn, identity, copy, step);
}

// Down to eight bytes
template <class Step>
static void fold_halves(code &c, unsigned folded, const Step &step) {
    c.scope([&] {
        const unsigned upper = c.v();
        c.put(a64::v::ext(8), upper, folded, folded);
        step(folded, folded, upper);
    });
}

static void bitwise(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn, uint64_t identity,
                    word_t of_vectors, word_t of_x) {
    const auto step = [&](unsigned d, unsigned n, unsigned m) { c.put(of_vectors, d, n, m); };
    const unsigned folded = fold(c, pg, zn, identity, step), x = c.x();
    fold_halves(c, folded, step);
    c.put(a64::v::umov(sve_size_d, 0), x, folded);
    for (unsigned bits = 32; bits >= 8u << zn.size; bits /= 2)
        c.put(of_x | a64::by_lsr(bits), x, x, x);
    if (zn.size < sve_size_s)
        c.put(a64::keep_low(zn.size), x, x);
    c.put(zn.size == sve_size_d ? a64::v::fmov_d_x : a64::v::fmov_s_w, vd, x);
    clear_rest(c, vd);
}
#define BITWISE(name, identity, instruction)                                                       \
    void sve::native_##name##_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {      \
        bitwise(c, vd, pg, zn, identity, a64::v::instruction, a64::instruction);                   \
    }
BITWISE(andv, ~uint64_t{0}, and_)
BITWISE(orv, 0, orr)
BITWISE(eorv, 0, eor)

static void extremum(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn, uint64_t identity,
                     const extreme &which, word_t across) {
    const auto step = which.of(c, zn.size);
    const unsigned folded = fold(c, pg, zn, identity, step);
    if (zn.size == sve_size_d) {
        fold_halves(c, folded, step);
        c.put(a64::v::fmov_d, vd, folded);
    } else {
        c.put(sized(across, zn.size), vd, folded);
    }
    clear_rest(c, vd);
}

#define EXTREME(name, identity)                                                                    \
    void sve::native_##name##v_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {     \
        extremum(c, vd, pg, zn, identity, name, a64::v::name##v);                                  \
    }
EXTREME(smax, ~greatest_signed(zn.size))
EXTREME(smin, greatest_signed(zn.size))
EXTREME(umax, 0)
EXTREME(umin, ~uint64_t{0})
