#include "sve/fp/reductions_native.h"

#include "sve/fp/fp_elements.h"
#include "sve/integer/lanes_native.h"
#include "sve/native/fp_lanes.h"
#include "sve/native/rows.h"

#include <bit>

using namespace sve;
using namespace sve::native;

// ---- Trees --------------------------------------------------------------------------------------

namespace {

// Neighbours are reduced to one until one lane is left, as if identities filled the vector up to a power of two. What is
// made of identities alone is one, and left out.
class tree {
public:
    tree(code &c, word_t pairs, unsigned pg, aarch64_z_reg zn, uint64_t identity)
        : c_(c), pairs_(fp_sized(pairs, zn.size)), pg_(pg), zn_(zn.num), size_(zn.size),
          all_true_(c.all_true(pg, zn.size)), identity_(broadcast(c, zn.size, identity)) {}

    // A scratch register with the last two lanes at its low end
    unsigned reduce() {
        const unsigned reduced = c_.v();
        reduce_chunks(reduced, 0, std::bit_ceil(c_.chunks()));
        for (unsigned lanes = chunk_bytes >> size_; lanes > 2; lanes /= 2)
            c_.put(pairs_, reduced, reduced, identity_);
        return reduced;
    }

private:
    // d = `width` chunks from `first` on as one. The first is one of the vector's.
    void reduce_chunks(unsigned d, unsigned first, unsigned width) {
        if (width == 1) {
            load(d, first);
            return;
        }
        const unsigned half = width / 2;
        reduce_chunks(d, first, half);
        if (first + half >= c_.chunks()) {
            c_.put(pairs_, d, d, identity_);
            return;
        }
        c_.scope([&] {
            const unsigned upper = c_.v();
            reduce_chunks(upper, first + half, half);
            c_.put(pairs_, d, d, upper);
        });
    }

    void load(unsigned d, unsigned i) {
        if (i == 0)
            c_.put(a64::v::mov, d, zn_, zn_);
        else
            c_.load_v(d, c_.state().z(zn_) + i * chunk_bytes);
        if (!all_true_)
            c_.scope([&] { c_.put(a64::v::bif, d, identity_, c_.mask(pg_, size_, i)); });
    }

    code &c_;
    word_t pairs_;
    unsigned pg_, zn_, size_;
    bool all_true_;
    unsigned identity_;
};

// The identities, by size
struct identity {
    uint64_t half, single, double_;
    uint64_t of(unsigned size) const {
        return size == sve_size_h ? half : size == sve_size_s ? single : double_;
    }
};
template <class T>
constexpr T negative_infinity = FPNeg(infinity<T>);
constexpr identity zero = {},
                   lowest = {negative_infinity<uint16_t>, negative_infinity<uint32_t>,
                             negative_infinity<uint64_t>},
                   highest = {infinity<uint16_t>, infinity<uint32_t>, infinity<uint64_t>},
                   no_number = {default_nan<uint16_t>, default_nan<uint32_t>,
                                default_nan<uint64_t>};

} // namespace

#define TREE(name, pairs, last_pair, identity)                                                     \
    void sve::native_##name##_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {      \
        if (!has_arithmetic(c, zn.size))                                                           \
            return;                                                                                \
        const unsigned lanes =                                                                     \
            tree(c, a64::v::pairs, pg.num, zn, (identity).of(zn.size)).reduce();                   \
        c.put(fp_pair_sized(a64::scalar::last_pair, zn.size), vd, lanes);                          \
        clear_rest(c, vd);                                                                         \
    }
TREE(faddv, faddp, faddp, zero)
TREE(fmaxv, fmaxp, fmaxp, lowest)
TREE(fminv, fminp, fminp, highest)
TREE(fmaxnmv, fmaxnmp, fmaxnmp, no_number)
TREE(fminnmv, fminnmp, fminnmp, no_number)

// ---- In order -----------------------------------------------------------------------------------

// Loads that then move the address by so many bytes: of a byte to a general register, and of a scalar.
static constexpr word_t load_byte_and_advance(unsigned bytes) {
    return 0x38400400 | bytes << 12;
}
static constexpr word_t load_scalar_and_advance(unsigned size) {
    return 0x3c400400 | size << 30 | 1u << size << 12;
}

// An inactive lane adds nothing, not even a zero: that would make -0.0 another number.
void sve::native_fadda_vpz(code &c, aarch64_p_reg pg, v_scalar vdn, aarch64_z_reg zm) {
    const unsigned size = zm.size;
    if (!has_arithmetic(c, size))
        return;
    const word_t fadd = fp_scalar_sized(a64::scalar::fadd, size);
    const bool all_true = c.all_true(pg.num, size);
    const unsigned sum = c.v(), element = c.v();
    c.put(a64::v::mov, sum, vdn.num, vdn.num);
    if (all_true) {
        c.for_each_chunk([&](unsigned i) {
            const unsigned lanes = c.load_z(zm.num, i);
            c.put(fadd, sum, sum, lanes);
            for (unsigned lane = 1; lane < chunk_bytes >> size; lane++) {
                c.put(a64::scalar::lane(size, lane), element, lanes);
                c.put(fadd, sum, sum, element);
            }
        });
    } else {
        c.spill_z(zm.num);
        const unsigned row = c.address_in_state(c.state().z(zm.num)),
                       predicate = c.address_in_state(c.state().p(pg.num));
        const unsigned left = c.x(), active = c.x();
        const label next = c.new_label(), inactive = c.new_label();
        c.set_x(left, c.elements(size));
        c.bind(next);
        c.put(load_byte_and_advance(1u << size), active, predicate);
        c.put(load_scalar_and_advance(size), element, row);
        c.tbz(active, 0, inactive);
        c.put(fadd, sum, sum, element);
        c.bind(inactive);
        c.put(a64::sub_immediate | 1 << 10, left, left);
        c.cbnz(left, next);
    }
    c.put(a64::scalar::lane(size, 0), vdn.num, sum);
    clear_rest(c, vdn.num);
}
