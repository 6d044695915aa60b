#include "sve/integer/arithmetic_native.h"

#include "sve/integer/lanes_native.h"

using namespace sve;
using namespace sve::native;

// The low halves of products don't depend on the sign.
static constexpr word_t multiply_x = a64::madd | xzr << 10;

// ---- Unpredicated ------------------------------------------------------------------------------

#define ZZZ(name, instruction)                                                                     \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        write_lanes(c, zd.num, sized(instruction, zd.size), zn.num, zm.num);                       \
    }
ZZZ(add, a64::v::add)
ZZZ(sub, a64::v::sub)

// With an immediate in all lanes, which is the second operand
template <class Operation>
static void with_immediate(code &c, aarch64_z_reg zdn, int64_t immediate,
                           const Operation &operation) {
    const unsigned m = broadcast(c, zdn.dst_size, static_cast<uint64_t>(immediate));
    write_lanes(
        c, zdn.num, [&](unsigned d, unsigned n) { put_operation(c, operation, d, n, m); }, zdn.num);
}

void sve::native_add_zi(code &c, aarch64_z_reg zdn, unsigned immediate) {
    with_immediate(c, zdn, immediate, sized(a64::v::add, zdn.dst_size));
}
void sve::native_sub_zi(code &c, aarch64_z_reg zdn, unsigned immediate) {
    with_immediate(c, zdn, immediate, sized(a64::v::sub, zdn.dst_size));
}
void sve::native_subr_zi(code &c, aarch64_z_reg zdn, unsigned immediate) {
    with_immediate(c, zdn, immediate, [&](unsigned d, unsigned n, unsigned m) {
        c.put(sized(a64::v::sub, zdn.dst_size), d, m, n);
    });
}
void sve::native_mul_zi(code &c, aarch64_z_reg zdn, int immediate) {
    if (zdn.dst_size != sve_size_d) {
        with_immediate(c, zdn, immediate, sized(a64::v::mul, zdn.dst_size));
        return;
    }
    const unsigned m = c.x();
    c.set_x(m, static_cast<uint64_t>(int64_t{immediate}));
    write_lanes_by_x(
        c, zdn.num, sve_size_d, [&](unsigned d, unsigned n) { c.put(multiply_x, d, n, m); },
        zdn.num);
}

#define EXTREME_ZI(name, Immediate)                                                                \
    void sve::native_##name##_zi(code &c, aarch64_z_reg zdn, Immediate immediate) {                \
        with_immediate(c, zdn, immediate, name.of(c, zdn.dst_size));                               \
    }
EXTREME_ZI(smax, int)
EXTREME_ZI(smin, int)
EXTREME_ZI(umax, unsigned)
EXTREME_ZI(umin, unsigned)

// ---- Zdn = Zdn op Zm ---------------------------------------------------------------------------

// `operation` is of an element size
#define ZPZ(name, operation)                                                                       \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_z_reg zm) {                                              \
        const unsigned size = zdn.dst_size;                                                        \
        merge_lanes(c, zdn.num, pg.num, size, operation, zdn.num, zm.num);                         \
    }
ZPZ(add, sized(a64::v::add, size))
ZPZ(sub, sized(a64::v::sub, size))
ZPZ(subr, [&](unsigned d, unsigned n, unsigned m) { c.put(sized(a64::v::sub, size), d, m, n); })
ZPZ(smax, smax.of(c, size))
ZPZ(smin, smin.of(c, size))
ZPZ(umax, umax.of(c, size))
ZPZ(umin, umin.of(c, size))

static void put_absolute_difference(code &c, unsigned size, word_t narrow, word_t greater,
                                    unsigned d, unsigned n, unsigned m) {
    if (size != sve_size_d) {
        c.put(sized(narrow, size), d, n, m);
        return;
    }
    // Where n is greater, the negative of m - n.
    const unsigned is_greater = c.v();
    c.put(sized(greater, size), is_greater, n, m);
    c.put(sized(a64::v::sub, size), d, m, n);
    c.put(a64::v::eor, d, d, is_greater);
    c.put(sized(a64::v::sub, size), d, d, is_greater);
}
#define ABSOLUTE_DIFFERENCE(name, greater)                                                         \
    ZPZ(name, [&](unsigned d, unsigned n, unsigned m) {                                            \
        put_absolute_difference(c, size, a64::v::name, greater, d, n, m);                          \
    })
ABSOLUTE_DIFFERENCE(sabd, a64::v::cmgt)
ABSOLUTE_DIFFERENCE(uabd, a64::v::cmhi)

// By vectors up to words, and doublewords by general registers
template <class Narrow, class Doubleword>
static void multiply(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                     const Narrow &narrow, const Doubleword &doubleword) {
    const unsigned size = zdn.dst_size;
    if (size == sve_size_d)
        merge_lanes_by_x(c, zdn.num, pg.num, size, doubleword, zdn.num, zm.num);
    else
        merge_lanes(c, zdn.num, pg.num, size, narrow, zdn.num, zm.num);
}

void sve::native_mul_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    multiply(c, zdn, pg, zm, sized(a64::v::mul, zdn.dst_size), multiply_x);
}

static void multiply_high(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                          word_t low_lanes, word_t high_lanes, word_t doubleword) {
    const unsigned size = zdn.dst_size;
    multiply(
        c, zdn, pg, zm,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned low = c.v(), high = c.v();
            c.put(sized(low_lanes, size), low, n, m);
            c.put(sized(high_lanes, size), high, n, m);
            c.put(sized(a64::v::uzp2, size), d, low, high);
        },
        doubleword);
}
void sve::native_smulh_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    multiply_high(c, zdn, pg, zm, a64::v::smull, a64::v::smull2, a64::smulh);
}
void sve::native_umulh_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    multiply_high(c, zdn, pg, zm, a64::v::umull, a64::v::umull2, a64::umulh);
}

// Of divisions by zero, and quotients that don't fit, the processor makes of itself what is wanted.
static void divide(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm, word_t word,
                   bool is_reversed) {
    const unsigned size = zdn.dst_size;
    if (size != sve_size_d)
        word &= ~a64::x;
    merge_lanes_by_x(
        c, zdn.num, pg.num, size,
        [&](unsigned d, unsigned n, unsigned m) {
            c.put(word, d, is_reversed ? m : n, is_reversed ? n : m);
        },
        zdn.num, zm.num);
}
#define DIVIDE(name, word, is_reversed)                                                            \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_z_reg zm) {                                              \
        divide(c, zdn, pg, zm, word, is_reversed);                                                 \
    }
DIVIDE(sdiv, a64::sdiv, false)
DIVIDE(udiv, a64::udiv, false)
DIVIDE(sdivr, a64::sdiv, true)
DIVIDE(udivr, a64::udiv, true)

// ---- Zd = op Zn --------------------------------------------------------------------------------

#define UNARY(name, word)                                                                          \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        merge_lanes(c, zd.num, pg.num, zd.size, sized(word, zd.size), zn.num);                     \
    }
UNARY(abs, a64::v::abs)
UNARY(neg, a64::v::neg)

// The low bits, with their sign or zeros above
static void extend(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, unsigned bits,
                   bool has_sign) {
    const unsigned above = (8u << zd.size) - bits;
    const unsigned low = has_sign ? 0 : broadcast(c, zd.size, ~uint64_t{0} >> (64 - bits));
    merge_lanes(
        c, zd.num, pg.num, zd.size,
        [&](unsigned d, unsigned n) {
            if (has_sign) {
                c.put(a64::v::shl(zd.size, above), d, n);
                c.put(a64::v::sshr(zd.size, above), d, d);
            } else {
                c.put(a64::v::and_, d, n, low);
            }
        },
        zn.num);
}
#define EXTEND(name, bits, has_sign)                                                               \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        extend(c, zd, pg, zn, bits, has_sign);                                                     \
    }
EXTEND(sxtb, 8, true)
EXTEND(sxth, 16, true)
EXTEND(sxtw, 32, true)
EXTEND(uxtb, 8, false)
EXTEND(uxth, 16, false)
EXTEND(uxtw, 32, false)

// ---- Multiply and add --------------------------------------------------------------------------

// Zd = Za ± Zn * Zm, where the vector instruction adds to its destination.
static void multiply_add(code &c, unsigned zd, unsigned pg, unsigned size, unsigned za, unsigned zn,
                         unsigned zm, bool subtracts) {
    if (size == sve_size_d) {
        merge_lanes_by_x(c, zd, pg, size, subtracts ? a64::msub : a64::madd, zn, zm, za);
        return;
    }
    const word_t accumulate = sized(subtracts ? a64::v::mls : a64::v::mla, size);
    const bool is_whole = c.all_true(pg, size);
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = is_whole ? 0 : c.mask(pg, size, i);
        const unsigned n = c.load_z(zn, i), m = zm == zn ? n : c.load_z(zm, i);
        unsigned sum = c.load_z(za, i);
        if (i == 0 && !(is_whole && za == zd)) {
            const unsigned copy = c.v();
            c.put(a64::v::mov, copy, sum, sum);
            sum = copy;
        }
        c.put(accumulate, sum, n, m);
        if (is_whole) {
            c.store_z(zd, i, sum);
        } else {
            const unsigned d = c.load_z(zd, i);
            c.put(a64::v::bit, d, sum, active);
            c.store_z(zd, i, d);
        }
    });
}
#define ACCUMULATE(name, subtracts)                                                                \
    void sve::native_##name##_zpzz(code &c, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn, \
                                   aarch64_z_reg zm) {                                             \
        multiply_add(c, zda.num, pg.num, zda.dst_size, zda.num, zn.num, zm.num, subtracts);        \
    }
#define MULTIPLY(name, subtracts)                                                                  \
    void sve::native_##name##_zpzz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm, \
                                   aarch64_z_reg za) {                                             \
        multiply_add(c, zdn.num, pg.num, zdn.dst_size, za.num, zdn.num, zm.num, subtracts);        \
    }
ACCUMULATE(mla, false)
ACCUMULATE(mls, true)
MULTIPLY(mad, false)
MULTIPLY(msb, true)
