#include "sve/predicate/counts_native.h"

#include "sve/native/lanes.h"
#include "sve/native/predicates.h"
#include "sve/predicate/patterns.h"

using namespace sve;
using namespace sve::native;

// ---- What is done with a count ------------------------------------------------------------------

enum class change { increase, decrease };
enum class kind { wrapping, signed_saturating, unsigned_saturating };

// Of a general register, by a count in an X register. NZCV stays.
static void change_scalar(code &c, aarch64_i_reg rdn, unsigned count, change by, kind is) {
    const bool increases = by == change::increase;
    const unsigned n = c.read_x(rdn.num), d = c.target_x(rdn.num);
    if (is == kind::wrapping) {
        c.put(increases ? a64::add : a64::sub, d, n, count);
        c.store_x(rdn.num, d);
        return;
    }
    const bool is_word = rdn.dst_size == sve_size_s;
    const auto of_width = [&](word_t word) { return is_word ? word & ~a64::x : word; };
    const unsigned flags = c.x(), limit = c.x();
    c.put(a64::mrs | a64::nzcv, flags);
    c.put(of_width(increases ? a64::adds : a64::subs), d, n, count);
    if (is == kind::signed_saturating) {
        const uint64_t greatest = is_word ? INT32_MAX : INT64_MAX;
        c.set_x(limit, increases ? greatest : greatest + 1);
        c.put(of_width(a64::csel) | a64::when(a64::vc), d, d, limit);
        if (is_word)
            c.put(a64::sxtw, d, d);
    } else if (increases) {
        c.put(of_width(a64::csinv) | a64::when(a64::cc), d, d, xzr);
    } else {
        c.put(of_width(a64::csel) | a64::when(a64::cs), d, d, xzr);
    }
    c.put(a64::msr | a64::nzcv, flags);
    c.store_x(rdn.num, d);
}

// Of all elements of a size, by a V register with the count in all lanes. A saturating native instruction would tell that it has
// saturated. A count is less than any limit.
static void change_vector(code &c, aarch64_z_reg zdn, unsigned count, change by, kind is) {
    const bool increases = by == change::increase;
    const unsigned size = zdn.dst_size;
    const word_t operation = sized(increases ? a64::v::add : a64::v::sub, size);
    write_lanes(
        c, zdn.num,
        [&](unsigned d, unsigned n) {
            if (is == kind::wrapping) {
                c.put(operation, d, n, count);
                return;
            }
            const unsigned result = c.v(), beyond = c.v();
            c.put(operation, result, n, count);
            const word_t greater = is == kind::signed_saturating ? a64::v::cmgt : a64::v::cmhi;
            c.put(sized(greater, size), beyond, increases ? n : result, increases ? result : n);
            const unsigned sign = (8u << size) - 1;
            if (is == kind::unsigned_saturating) {
                c.put(increases ? a64::v::orr : a64::v::bic, d, result, beyond);
                return;
            }
            c.put(a64::v::bic, result, result, beyond);
            c.put(increases ? a64::v::ushr(size, 1) : a64::v::shl(size, sign), beyond, beyond);
            c.put(a64::v::orr, d, result, beyond);
        },
        zdn.num);
}

// ---- By patterns --------------------------------------------------------------------------------

static unsigned counted(const code &c, unsigned size, unsigned pattern, unsigned multiplier) {
    return pattern_count(pattern, c.elements(size)) * multiplier;
}

static void change_by_pattern(code &c, aarch64_i_reg rdn, unsigned count, change by, kind is) {
    if (rdn.num == xzr)
        return;
    if (is != kind::wrapping) {
        const unsigned in_x = c.x();
        c.set_x(in_x, count);
        change_scalar(c, rdn, in_x, by, is);
        return;
    }
    constexpr unsigned reach = 4096;
    const unsigned n = c.read_x(rdn.num), d = c.target_x(rdn.num);
    const word_t word = by == change::increase ? a64::add_immediate : a64::sub_immediate;
    c.put(count < reach ? word | count << 10
                        : word | a64::immediate_shifted | (count / reach) << 10,
          d, n);
    c.store_x(rdn.num, d);
}

static void change_by_pattern(code &c, aarch64_z_reg zdn, unsigned count, change by, kind is) {
    const unsigned bits = 8u << zdn.dst_size;
    uint64_t lanes = 0;
    for (unsigned at = 0; at < 64; at += bits)
        lanes |= uint64_t{count} << at;
    change_vector(c, zdn, c.constant(lanes, lanes), by, is);
}

#define COUNT(name, size)                                                                          \
    void sve::native_##name##_rii(code &c, aarch64_i_reg rd, unsigned pattern,                     \
                                  unsigned multiplier) {                                           \
        const unsigned d = c.target_x(rd.num);                                                     \
        c.set_x(d, counted(c, size, pattern, multiplier));                                         \
        c.store_x(rd.num, d);                                                                      \
    }
COUNT(cntb, sve_size_b)
COUNT(cnth, sve_size_h)
COUNT(cntw, sve_size_s)
COUNT(cntd, sve_size_d)

#define CHANGED(name, shape, Register, size, by, is)                                               \
    void sve::native_##name##_##shape(code &c, Register dn, unsigned pattern,                      \
                                      unsigned multiplier) {                                       \
        change_by_pattern(c, dn, counted(c, size, pattern, multiplier), change::by, kind::is);     \
    }
#define SCALAR(name, size, by, is) CHANGED(name, rii, aarch64_i_reg, size, by, is)
#define BOTH(name, size, by, is)                                                                   \
    SCALAR(name, size, by, is) CHANGED(name, zii, aarch64_z_reg, size, by, is)
#define ALL_SIZES(name, by, is)                                                                    \
    SCALAR(name##b, sve_size_b, by, is)                                                            \
    BOTH(name##h, sve_size_h, by, is)                                                              \
    BOTH(name##w, sve_size_s, by, is)                                                              \
    BOTH(name##d, sve_size_d, by, is)
ALL_SIZES(inc, increase, wrapping)
ALL_SIZES(dec, decrease, wrapping)
ALL_SIZES(sqinc, increase, signed_saturating)
ALL_SIZES(sqdec, decrease, signed_saturating)
ALL_SIZES(uqinc, increase, unsigned_saturating)
ALL_SIZES(uqdec, decrease, unsigned_saturating)

// ---- By predicates ------------------------------------------------------------------------------

// A V register with the number of elements that are true in both, in its lowest halfword.
static unsigned count_active(code &c, unsigned pg, unsigned pn, unsigned size) {
    const unsigned count = c.v();
    // A byte holds the number of chunks.
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = i == 0 ? count : c.v();
        c.load_v(active, c.state().p(pn) + i * chunk_bytes);
        if (pg != pn)
            c.put(a64::v::and_, active, active, c.load_p(pg, i));
        if (i)
            c.put(sized(a64::v::add, sve_size_b), count, count, active);
    });
    c.scope([&] {
        if (size != sve_size_b)
            c.put(a64::v::and_, count, count, first_bytes(c, size));
    });
    c.put(sized(a64::v::uaddlv, sve_size_b), count, count);
    return count;
}

void sve::native_cntp_rpp(code &c, aarch64_i_reg xd, aarch64_p_reg pg, aarch64_p_reg pn) {
    const unsigned d = c.target_x(xd.num);
    c.put(a64::v::umov(sve_size_h, 0), d, count_active(c, pg.num, pn.num, pn.size));
    c.store_x(xd.num, d);
}

static void change_by_active(code &c, aarch64_i_reg rdn, aarch64_p_reg pn, change by, kind is) {
    if (rdn.num == xzr)
        return;
    const unsigned count = c.x();
    c.put(a64::v::umov(sve_size_h, 0), count, count_active(c, pn.num, pn.num, pn.size));
    change_scalar(c, rdn, count, by, is);
}

static void change_by_active(code &c, aarch64_z_reg zdn, aarch64_p_reg pn, change by, kind is) {
    const unsigned count = count_active(c, pn.num, pn.num, pn.size);
    // The rest of the register is zeros.
    c.put(a64::v::dup_lane(zdn.dst_size, 0), count, count);
    change_vector(c, zdn, count, by, is);
}

#define ACTIVE(name, by, is)                                                                       \
    void sve::native_##name##_rp(code &c, aarch64_i_reg rdn, aarch64_p_reg pn) {                   \
        change_by_active(c, rdn, pn, change::by, kind::is);                                        \
    }                                                                                              \
    void sve::native_##name##_zp(code &c, aarch64_z_reg zdn, aarch64_p_reg pn) {                   \
        change_by_active(c, zdn, pn, change::by, kind::is);                                        \
    }
ACTIVE(incp, increase, wrapping)
ACTIVE(decp, decrease, wrapping)
ACTIVE(sqincp, increase, signed_saturating)
ACTIVE(sqdecp, decrease, signed_saturating)
ACTIVE(uqincp, increase, unsigned_saturating)
ACTIVE(uqdecp, decrease, unsigned_saturating)
