#include "sve/integer/saturating_native.h"

#include "sve/integer/lanes_native.h"

using namespace sve;
using namespace sve::native;

// ---- Two vectors -------------------------------------------------------------------------------

// The sum is less than a summand, or the difference greater than what it was taken from: the limit is
// all ones or zeros.
static void put_unsigned(code &c, unsigned size, bool subtracts, unsigned d, unsigned n,
                         unsigned m) {
    const unsigned exact = c.v(), compared = c.v();
    if (subtracts) {
        c.put(sized(a64::v::sub, size), exact, n, m);
        c.put(sized(a64::v::cmhs, size), compared, n, exact);
        c.put(a64::v::and_, d, exact, compared);
    } else {
        c.put(sized(a64::v::add, size), exact, n, m);
        c.put(sized(a64::v::cmhi, size), compared, n, exact);
        c.put(a64::v::orr, d, exact, compared);
    }
}

// A sum is less than n where m is negative, and not elsewhere; of a difference the same holds for greater. `limit` is
// where results stop if m is not negative; else they stop at its complement.
static void put_signed(code &c, unsigned size, bool subtracts, unsigned limit, unsigned d,
                       unsigned n, unsigned m) {
    const unsigned exact = c.v(), overflows = c.v(), limits = c.v();
    c.put(sized(subtracts ? a64::v::sub : a64::v::add, size), exact, n, m);
    c.put(sized(a64::v::cmgt, size), overflows, subtracts ? exact : n, subtracts ? n : exact);
    c.put(sized(a64::v::cmlt_zero, size), limits, m);
    c.put(a64::v::eor, overflows, overflows, limits);
    c.put(a64::v::eor, limits, limits, limit);
    c.put(a64::v::bsl, overflows, limits, exact);
    c.put(a64::v::mov, d, overflows, overflows);
}

static void with_vector(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                        bool has_sign, bool subtracts) {
    const unsigned size = zd.size;
    const uint64_t greatest = greatest_signed(size);
    const unsigned limit = has_sign ? broadcast(c, size, subtracts ? ~greatest : greatest) : 0;
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n, unsigned m) {
            if (has_sign)
                put_signed(c, size, subtracts, limit, d, n, m);
            else
                put_unsigned(c, size, subtracts, d, n, m);
        },
        zn.num, zm.num);
}

// ---- An immediate, which is not negative -------------------------------------------------------

static void with_immediate(code &c, aarch64_z_reg zdn, unsigned immediate, bool has_sign,
                           bool subtracts) {
    const unsigned size = zdn.dst_size, m = broadcast(c, size, immediate);
    const uint64_t greatest = greatest_signed(size);
    const unsigned limit = has_sign ? broadcast(c, size, subtracts ? ~greatest : greatest) : 0;
    write_lanes(
        c, zdn.num,
        [&](unsigned d, unsigned n) {
            if (!has_sign) {
                put_unsigned(c, size, subtracts, d, n, m);
                return;
            }
            const unsigned exact = c.v(), overflows = c.v();
            c.put(sized(subtracts ? a64::v::sub : a64::v::add, size), exact, n, m);
            c.put(sized(a64::v::cmgt, size), overflows, subtracts ? exact : n,
                  subtracts ? n : exact);
            c.put(a64::v::mov, d, exact, exact);
            c.put(a64::v::bit, d, limit, overflows);
        },
        zdn.num);
}

#define SATURATING(name, has_sign, subtracts)                                                      \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        with_vector(c, zd, zn, zm, has_sign, subtracts);                                           \
    }                                                                                              \
    void sve::native_##name##_zi(code &c, aarch64_z_reg zdn, unsigned immediate) {                 \
        with_immediate(c, zdn, immediate, has_sign, subtracts);                                    \
    }
SATURATING(sqadd, true, false)
SATURATING(uqadd, false, false)
SATURATING(sqsub, true, true)
SATURATING(uqsub, false, true)

// ---- Dot products ------------------------------------------------------------------------------

// The products of two quarters of lanes are halves of them, and their sums go to whole lanes at once.
static void put_dot(code &c, unsigned size, bool has_sign, unsigned da, unsigned n, unsigned m) {
    const unsigned low = c.v(), high = c.v(), quarters = size - 2, halves = size - 1;
    c.put(sized(has_sign ? a64::v::smull : a64::v::umull, quarters), low, n, m);
    c.put(sized(has_sign ? a64::v::smull2 : a64::v::umull2, quarters), high, n, m);
    for (const unsigned products : {low, high})
        c.put(sized(has_sign ? a64::v::saddlp : a64::v::uaddlp, halves), products, products);
    c.put(sized(a64::v::addp, size), low, low, high);
    c.put(sized(a64::v::add, size), da, da, low);
}

#define DOT(name, has_sign)                                                                        \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zn, aarch64_z_reg zm,                     \
                                  aarch64_z_reg zda) {                                             \
        c.for_each_chunk([&](unsigned i) {                                                         \
            const unsigned da = c.load_z(zda.num, i);                                              \
            put_dot(c, zda.dst_size, has_sign, da, c.load_z(zn.num, i), c.load_z(zm.num, i));      \
            c.store_z(zda.num, i, da);                                                             \
        });                                                                                        \
    }                                                                                              \
    /* The group of Zm in the same chunk that the index names */                                   \
    void sve::native_##name##_zzzi(code &c, aarch64_z_reg zn, aarch64_z_reg zm, aarch64_z_reg zda, \
                                   unsigned index) {                                               \
        c.for_each_chunk([&](unsigned i) {                                                         \
            const unsigned da = c.load_z(zda.num, i), group = c.v();                               \
            c.put(a64::v::dup_lane(zda.dst_size, index), group, c.load_z(zm.num, i));              \
            put_dot(c, zda.dst_size, has_sign, da, c.load_z(zn.num, i), group);                    \
            c.store_z(zda.num, i, da);                                                             \
        });                                                                                        \
    }
DOT(sdot, true)
DOT(udot, false)
