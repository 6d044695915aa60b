#include "sve/fp/compares_native.h"

#include "sve/native/fp_lanes.h"

using namespace sve;
using namespace sve::native;

// Pd = the active lanes where relation(sources…) makes all ones. Flags don't change, so predicates.h has no part in it.
template <class Relation, class... Source>
static void compare(code &c, aarch64_p_reg pd, aarch64_p_reg pg, const Relation &relation,
                    Source... source) {
    const unsigned size = pd.size;
    if (!has_arithmetic(c, size))
        return;
    const bool all_true = c.all_true(pg.num, size);
    c.for_each_chunk([&](unsigned i) {
        const unsigned holds = c.v();
        if (all_true) {
            put_operation(c, relation, holds, c.load_z(source, i)...);
        } else {
            const unsigned active = c.mask(pg.num, size, i);
            put_operation(c, relation, holds, active_lanes(c, c.load_z(source, i), active)...);
            c.put(a64::v::and_, holds, holds, active);
        }
        c.put(a64::v::ushr(size, (8u << size) - 1), holds, holds);
        c.store_p(pd.num, i, holds);
    });
    c.writes_p(pd.num, false);
}

#define VECTORS(name, instruction)                                                                 \
    void sve::native_##name##_ppzz(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,  \
                                   aarch64_z_reg zm) {                                             \
        compare(c, pd, pg, fp_sized(instruction, pd.size), zn.num, zm.num);                        \
    }
#define WITH_ZERO(name, instruction)                                                               \
    void sve::native_##name##_ppz(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        compare(c, pd, pg, fp_sized(instruction, pd.size), zn.num);                                \
    }
VECTORS(fcmeq, a64::v::fcmeq)
VECTORS(fcmge, a64::v::fcmge)
VECTORS(fcmgt, a64::v::fcmgt)
VECTORS(facge, a64::v::facge)
VECTORS(facgt, a64::v::facgt)
WITH_ZERO(fcmeq, a64::v::fcmeq_zero)
WITH_ZERO(fcmge, a64::v::fcmge_zero)
WITH_ZERO(fcmgt, a64::v::fcmgt_zero)
WITH_ZERO(fcmle, a64::v::fcmle_zero)
WITH_ZERO(fcmlt, a64::v::fcmlt_zero)

void sve::native_fcmne_ppzz(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                            aarch64_z_reg zm) {
    const auto unequal = [&](unsigned d, unsigned n, unsigned m) {
        c.put(fp_sized(a64::v::fcmeq, pd.size), d, n, m);
        c.put(a64::v::not_, d, d);
    };
    compare(c, pd, pg, unequal, zn.num, zm.num);
}
void sve::native_fcmne_ppz(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn) {
    const auto nonzero = [&](unsigned d, unsigned n) {
        c.put(fp_sized(a64::v::fcmeq_zero, pd.size), d, n);
        c.put(a64::v::not_, d, d);
    };
    compare(c, pd, pg, nonzero, zn.num);
}

// Only a NaN doesn't equal itself.
void sve::native_fcmuo_ppzz(code &c, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                            aarch64_z_reg zm) {
    const auto unordered = [&](unsigned d, unsigned n, unsigned m) {
        const word_t fcmeq = fp_sized(a64::v::fcmeq, pd.size);
        const unsigned m_is_number = c.v();
        c.put(fcmeq, m_is_number, m, m);
        c.put(fcmeq, d, n, n);
        c.put(a64::v::and_, d, d, m_is_number);
        c.put(a64::v::not_, d, d);
    };
    compare(c, pd, pg, unordered, zn.num, zm.num);
}
