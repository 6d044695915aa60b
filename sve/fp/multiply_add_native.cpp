#include "sve/fp/multiply_add_native.h"

#include "sve/native/fp_lanes.h"

using namespace sve;
using namespace sve::native;

// ---- Accumulating in place ----------------------------------------------------------------------

// Zda = operation(Zda, sources…): operation(d, n…) changes d, which may be one of the others.
template <class Operation, class... Source>
static void accumulate(code &c, unsigned zda, const Operation &operation, Source... source) {
    c.for_each_chunk([&](unsigned i) {
        const unsigned d = c.load_z(zda, i);
        put_operation(c, operation, d, (source == zda ? d : c.load_z(source, i))...);
        c.store_z(zda, i, d);
    });
}

// ---- Multiply-add -------------------------------------------------------------------------------

namespace {

struct kind {
    word_t fmla;         // or FMLS
    bool negates_addend; // of which the sign is inverted first, that of a NaN too
};
constexpr kind fmla = {a64::v::fmla, false}, fmls = {a64::v::fmls, false},
               fnmla = {a64::v::fmls, true}, fnmls = {a64::v::fmla, true};

} // namespace

// Zd = ±Za ± Zn * Zm in the active lanes
static void multiply_add(code &c, kind kind, unsigned zd, unsigned pg, unsigned size, unsigned za,
                         unsigned zn, unsigned zm) {
    if (!has_arithmetic(c, size))
        return;
    const word_t fmla = fp_sized(kind.fmla, size), fneg = fp_sized(a64::v::fneg, size);
    const bool all_true = c.all_true(pg, size);
    if (all_true && za == zd && !kind.negates_addend) {
        accumulate(c, zd, fmla, zn, zm);
        return;
    }
    c.for_each_chunk([&](unsigned i) {
        const unsigned sum = c.v(), a = c.load_z(za, i);
        if (all_true) {
            const unsigned n = c.load_z(zn, i), m = c.load_z(zm, i);
            if (kind.negates_addend)
                c.put(fneg, sum, a);
            else
                c.put(a64::v::mov, sum, a, a);
            c.put(fmla, sum, n, m);
            c.store_z(zd, i, sum);
            return;
        }
        const unsigned active = c.mask(pg, size, i);
        c.put(a64::v::and_, sum, a, active);
        if (kind.negates_addend)
            c.put(fneg, sum, sum);
        const unsigned n = active_lanes(c, c.load_z(zn, i), active),
                       m = active_lanes(c, c.load_z(zm, i), active);
        c.put(fmla, sum, n, m);
        const unsigned d = c.load_z(zd, i);
        c.put(a64::v::bit, d, sum, active);
        c.store_z(zd, i, d);
    });
}

#define ACCUMULATE(name, kind)                                                                     \
    void sve::native_##name##_zpzz(code &c, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn, \
                                   aarch64_z_reg zm) {                                             \
        multiply_add(c, kind, zda.num, pg.num, zda.dst_size, zda.num, zn.num, zm.num);             \
    }
#define MULTIPLY(name, kind)                                                                       \
    void sve::native_##name##_zpzz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm, \
                                   aarch64_z_reg za) {                                             \
        multiply_add(c, kind, zdn.num, pg.num, zdn.dst_size, za.num, zdn.num, zm.num);             \
    }
ACCUMULATE(fmla, fmla)
ACCUMULATE(fmls, fmls)
ACCUMULATE(fnmla, fnmla)
ACCUMULATE(fnmls, fnmls)
MULTIPLY(fmad, fmla)
MULTIPLY(fmsb, fmls)
MULTIPLY(fnmad, fnmla)
MULTIPLY(fnmsb, fnmls)

// ---- By element ---------------------------------------------------------------------------------

// What puts the instruction on all lanes of n and an element of m. The one for halves doesn't reach all registers.
static auto by_element(code &c, word_t instruction, word_t instruction_by_element, unsigned size,
                       unsigned index) {
    return [=, &c](unsigned d, unsigned n, unsigned m) {
        if (size != sve_size_h) {
            c.put(a64::v::fp_element(instruction_by_element, size, index), d, n, m);
            return;
        }
        const unsigned element = c.v();
        c.put(a64::v::dup_lane(size, index), element, m);
        c.put(fp_sized(instruction, size), d, n, element);
    };
}

void sve::native_fmla_zzzi(code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                           unsigned index) {
    const unsigned size = zda.dst_size;
    if (has_arithmetic(c, size))
        accumulate(c, zda.num, by_element(c, a64::v::fmla, a64::v::fmla_element, size, index),
                   zn.num, zm.num);
}
void sve::native_fmls_zzzi(code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                           unsigned index) {
    const unsigned size = zda.dst_size;
    if (has_arithmetic(c, size))
        accumulate(c, zda.num, by_element(c, a64::v::fmls, a64::v::fmls_element, size, index),
                   zn.num, zm.num);
}
void sve::native_fmul_zzzi(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                           unsigned index) {
    if (has_arithmetic(c, zd.size))
        write_lanes(c, zd.num, by_element(c, a64::v::fmul, a64::v::fmul_element, zd.size, index),
                    zn.num, zm.num);
}

// ---- Complex numbers ----------------------------------------------------------------------------

namespace {

// Makes the operands of complex arithmetic those of lane-wise one: numbers are pairs of lanes, the real part first.
class pairs {
public:
    // Takes a scratch register if the signs of one part change.
    pairs(code &c, unsigned size, unsigned quarters) : c_(c), size_(size), quarters_(quarters) {
        if (quarters & 1) {
            const uint64_t sign = uint64_t{1} << ((8u << size) - 1);
            const bool is_real = quarters == 1;
            const uint64_t both = size == sve_size_d ? sign : is_real ? sign : sign << (8u << size);
            const uint64_t low = size == sve_size_h ? both | both << 32 : both;
            signs_ = size != sve_size_d ? c.constant(low, low)
                     : is_real          ? c.constant(sign, 0)
                                        : c.constant(0, sign);
        }
    }
    // m turned by the quarters: a + ib becomes -b + ia, -a - ib, b - ia.
    unsigned turned(unsigned m) {
        if (quarters_ == 0)
            return m;
        const unsigned result = c_.v();
        if (quarters_ == 2) {
            c_.put(fp_sized(a64::v::fneg, size_), result, m);
            return result;
        }
        if (size_ == sve_size_d)
            c_.put(a64::v::swap_pairs(size_), result, m, m);
        else
            c_.put(a64::v::swap_pairs(size_), result, m);
        c_.put(a64::v::eor, result, result, signs_);
        return result;
    }
    // The part of n that meets it, in both places.
    unsigned part(unsigned n) {
        const unsigned result = c_.v();
        c_.put(sized(quarters_ & 1 ? a64::v::trn2 : a64::v::trn1, size_), result, n, n);
        return result;
    }

private:
    code &c_;
    unsigned size_, quarters_;
    unsigned signs_ = 0;
};

} // namespace

void sve::native_fcadd_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                           unsigned rot) {
    const unsigned size = zdn.dst_size, quarters = rot ? 3 : 1;
    if (!has_arithmetic(c, size))
        return;
    const bool all_true = c.all_true(pg.num, size);
    if (all_true && c.processor().complex) {
        write_lanes(c, zdn.num, a64::v::fcadd(size, quarters), zdn.num, zm.num);
        return;
    }
    pairs pairs(c, size, quarters);
    c.for_each_chunk([&](unsigned i) {
        const unsigned d = c.load_z(zdn.num, i), turned = pairs.turned(c.load_z(zm.num, i));
        const word_t fadd = fp_sized(a64::v::fadd, size);
        if (all_true) {
            c.put(fadd, d, d, turned);
        } else {
            const unsigned active = c.mask(pg.num, size, i), n = active_lanes(c, d, active);
            c.put(fadd, n, n, active_lanes(c, turned, active));
            c.put(a64::v::bit, d, n, active);
        }
        c.store_z(zdn.num, i, d);
    });
}

void sve::native_fcmla_zpzz(code &c, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                            aarch64_z_reg zm, unsigned rot) {
    const unsigned size = zda.dst_size;
    if (!has_arithmetic(c, size))
        return;
    const bool all_true = c.all_true(pg.num, size);
    if (all_true && c.processor().complex) {
        accumulate(c, zda.num, a64::v::fcmla(size, rot), zn.num, zm.num);
        return;
    }
    pairs pairs(c, size, rot);
    c.for_each_chunk([&](unsigned i) {
        const unsigned d = c.load_z(zda.num, i), n = pairs.part(c.load_z(zn.num, i)),
                       m = pairs.turned(c.load_z(zm.num, i));
        const word_t fmla = fp_sized(a64::v::fmla, size);
        if (all_true) {
            c.put(fmla, d, n, m);
        } else {
            const unsigned active = c.mask(pg.num, size, i), sum = active_lanes(c, d, active);
            c.put(fmla, sum, active_lanes(c, n, active), active_lanes(c, m, active));
            c.put(a64::v::bit, d, sum, active);
        }
        c.store_z(zda.num, i, d);
    });
}

void sve::native_fcmla_zzzi(code &c, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,
                            unsigned index, unsigned rot) {
    const unsigned size = zda.dst_size;
    if (!has_arithmetic(c, size))
        return;
    pairs pairs(c, size, rot);
    const auto operation = [&](unsigned d, unsigned n, unsigned m) {
        const unsigned pair = c.v();
        c.put(a64::v::dup_lane(size + 1, index), pair, m);
        if (c.processor().complex)
            c.put(a64::v::fcmla(size, rot), d, n, pair);
        else
            c.put(fp_sized(a64::v::fmla, size), d, pairs.part(n), pairs.turned(pair));
    };
    accumulate(c, zda.num, operation, zn.num, zm.num);
}
