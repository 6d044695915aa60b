#include "sve/predicate/compares_native.h"

#include "sve/integer/lanes_native.h"
#include "sve/native/predicates.h"

using namespace sve;
using namespace sve::native;

namespace {

// n related to m. `beyond` is what it is if m is greater than all that lanes hold; if m is less, the contrary, but for
// equality.
struct relation {
    word_t instruction;
    bool swaps, inverts, has_sign, beyond;

    void put(code &c, unsigned size, unsigned d, unsigned n, unsigned m) const {
        c.put(sized(instruction, size), d, swaps ? m : n, swaps ? n : m);
        if (inverts)
            c.put(a64::v::not_, d, d);
    }
    bool is_ordered() const { return instruction != a64::v::cmeq; }
};
constexpr relation eq = {a64::v::cmeq, false, false, true, false},
                   ne = {a64::v::cmeq, false, true, true, true},
                   ge = {a64::v::cmge, false, false, true, false},
                   gt = {a64::v::cmgt, false, false, true, false},
                   le = {a64::v::cmge, true, false, true, true},
                   lt = {a64::v::cmgt, true, false, true, true},
                   hs = {a64::v::cmhs, false, false, false, false},
                   hi = {a64::v::cmhi, false, false, false, false},
                   ls = {a64::v::cmhs, true, false, false, true},
                   lo = {a64::v::cmhi, true, false, false, true};

} // namespace

static void with_vector(code &c, const relation &holds, aarch64_p_reg pd, aarch64_p_reg pg,
                        aarch64_z_reg zn, aarch64_z_reg zm) {
    write_compare(c, pd.num, pg.num, pd.size, [&](unsigned i) {
        const unsigned result = c.v();
        holds.put(c, pd.size, result, c.load_z(zn.num, i), c.load_z(zm.num, i));
        return result;
    });
}

static void with_immediate(code &c, const relation &holds, aarch64_p_reg pd, aarch64_p_reg pg,
                           aarch64_z_reg zn, int64_t immediate) {
    // Different from zero: the most frequent of all, and one instruction.
    const bool is_not_zero = immediate == 0 && holds.inverts;
    const unsigned m = is_not_zero ? 0 : broadcast(c, pd.size, static_cast<uint64_t>(immediate));
    write_compare(c, pd.num, pg.num, pd.size, [&](unsigned i) {
        const unsigned result = c.v(), n = c.load_z(zn.num, i);
        if (is_not_zero)
            c.put(sized(a64::v::cmtst, pd.size), result, n, n);
        else
            holds.put(c, pd.size, result, n, m);
        return result;
    });
}

// With the doubleword of zm that the element lies in: with its low end where it fits a lane, and else it is beyond all.
static void with_wide(code &c, const relation &holds, aarch64_p_reg pd, aarch64_p_reg pg,
                      aarch64_z_reg zn, aarch64_z_reg zm) {
    const unsigned size = pd.size, width = 8u << size, above = 64 - width;
    // The bytes of the low ends
    const uint64_t low_end = size == sve_size_b   ? 0
                             : size == sve_size_h ? 0x0100010001000100
                                                  : 0x0302010003020100;
    const unsigned low_ends = c.constant(low_end, low_end + 0x0808080808080808);
    write_compare(c, pd.num, pg.num, size, [&](unsigned i) {
        const unsigned m = c.load_z(zm.num, i), result = c.v(), fits = c.v();
        c.put(a64::v::tbl, result, m, low_ends);
        c.scope([&] { holds.put(c, size, result, c.load_z(zn.num, i), result); });
        if (holds.has_sign) {
            c.put(a64::v::shl(sve_size_d, above), fits, m);
            c.put(a64::v::sshr(sve_size_d, above), fits, fits);
            c.put(sized(a64::v::cmeq, sve_size_d), fits, fits, m);
        } else {
            c.put(a64::v::ushr(sve_size_d, width), fits, m);
            c.put(sized(a64::v::cmeq_zero, sve_size_d), fits, fits);
        }
        if (holds.has_sign && holds.is_ordered()) {
            const unsigned other = c.v();
            c.put(sized(holds.beyond ? a64::v::cmge_zero : a64::v::cmlt_zero, sve_size_d), other,
                  m);
            c.put(a64::v::bif, result, other, fits);
        } else {
            c.put(holds.beyond ? a64::v::orn : a64::v::and_, result, result, fits);
        }
        return result;
    });
}

#define RELATION(name, Immediate)                                                                  \
    void sve::native_cmp##name##_ppzz(code &c, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                                      aarch64_z_reg zn, aarch64_z_reg zm) {                        \
        with_vector(c, name, pd, pg, zn, zm);                                                      \
    }                                                                                              \
    void sve::native_cmp##name##_wide_ppzz(code &c, aarch64_p_reg pd, aarch64_p_reg pg,            \
                                           aarch64_z_reg zn, aarch64_z_reg zm) {                   \
        with_wide(c, name, pd, pg, zn, zm);                                                        \
    }                                                                                              \
    void sve::native_cmp##name##_ppzi(code &c, aarch64_p_reg pd, aarch64_p_reg pg,                 \
                                      aarch64_z_reg zn, Immediate immediate) {                     \
        with_immediate(c, name, pd, pg, zn, immediate);                                            \
    }
RELATION(eq, int)
RELATION(ne, int)
RELATION(ge, int)
RELATION(gt, int)
RELATION(le, int)
RELATION(lt, int)
RELATION(hs, unsigned)
RELATION(hi, unsigned)
RELATION(ls, unsigned)
RELATION(lo, unsigned)
