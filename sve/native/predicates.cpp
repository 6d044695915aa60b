#include "sve/native/predicates.h"

namespace sve::native {

unsigned first_bytes(code &c, unsigned size) {
    const unsigned ones = c.v();
    c.put(size == sve_size_d ? a64::v::movi_bytes(1) : a64::v::movi(size, 0xff), ones);
    return ones;
}

unsigned element_numbers(code &c, unsigned size, unsigned i) {
    uint64_t halves[2] = {};
    const unsigned bits = 8u << size, count = chunk_bytes >> size;
    for (unsigned e = 0; e < count; e++)
        halves[e / (count / 2)] |= uint64_t{i * count + e} << e % (count / 2) * bits;
    return c.constant(halves[0], halves[1]);
}

flags_of_result::flags_of_result(code &c, unsigned size, bool all)
    : c_(c), size_(size), all_(all), any_(c.v()) {
    if (!c.needs_flags())
        return;
    if (all) {
        first_is_true_ = c.x();
        last_is_true_ = c.x();
        return;
    }
    if (size != sve_size_b)
        first_bytes_ = first_bytes(c, size);
    // If there is none, any byte of the vector.
    first_ = c.v();
    c.put(a64::v::movi(sve_size_b, c.vector_bytes() - 1), first_);
    last_ = c.v();
    c.put(a64::v::movi(sve_size_b, 0), last_);
}

void flags_of_result::take(unsigned i, unsigned result, unsigned pg) {
    if (!c_.needs_flags())
        return;
    c_.put(a64::v::orr, any_, result, i == 0 ? result : any_);
    if (all_) {
        if (i == 0)
            c_.put(a64::v::umov(sve_size_b, 0), first_is_true_, result);
        if (i == c_.chunks() - 1)
            c_.put(a64::v::umov(sve_size_b, chunk_bytes - (1u << size_)), last_is_true_, result);
        return;
    }
    c_.scope([&] {
        const unsigned numbers = element_numbers(c_, sve_size_b, i);
        if (size_ != sve_size_b)
            c_.put(a64::v::and_, pg, pg, first_bytes_);
        c_.put(sized(a64::v::neg, sve_size_b), pg, pg);
        c_.put(a64::v::and_, result, numbers, pg);
        c_.put(sized(a64::v::umax, sve_size_b), last_, last_, result);
        c_.put(a64::v::orn, numbers, numbers, pg);
        c_.put(sized(a64::v::umin, sve_size_b), first_, first_, numbers);
    });
}

void flags_of_result::set(unsigned row) {
    if (!c_.needs_flags())
        return;
    const unsigned any = c_.x();
    c_.put(sized(a64::v::umaxv, sve_size_b), any_, any_);
    c_.put(a64::v::umov(sve_size_b, 0), any, any_);
    // A comparison of words that has these flags: of the first as the sign and any as the lowest bit, with 0 or -1 by the last.
    const auto add_first = [&](unsigned is_true) {
        c_.put((a64::orr & ~a64::x) | a64::by_lsl(31), any, any, is_true);
    };
    const auto compare_with_last = [&](unsigned is_true) {
        c_.put(a64::sub & ~a64::x, is_true, xzr, is_true);
        c_.put(a64::subs & ~a64::x, xzr, any, is_true);
    };
    if (all_) {
        add_first(first_is_true_);
        compare_with_last(last_is_true_);
        return;
    }
    const unsigned address = c_.address_in_state(row), x = c_.x();
    const auto result_at = [&](word_t reduction, unsigned number) {
        c_.put(sized(reduction, sve_size_b), number, number);
        c_.put(a64::v::umov(sve_size_b, 0), x, number);
        c_.put(a64::load_byte_at, x, address, x);
        c_.put(a64::and_, x, x, any); // unless none is active
        return x;
    };
    add_first(result_at(a64::v::uminv, first_));
    compare_with_last(result_at(a64::v::umaxv, last_));
}

void set_flags(code &c, unsigned pg, unsigned pn, unsigned size) {
    set_flags_of_row(c, pg, c.state().p(pn), size);
}

void set_flags_of_row(code &c, std::optional<unsigned> pg, unsigned row, unsigned size) {
    if (!c.needs_flags())
        return;
    const bool all = !pg || c.all_true(*pg, size);
    c.scope([&] {
        flags_of_result flags(c, size, all);
        const unsigned counting = size == sve_size_b ? 0 : first_bytes(c, size);
        c.for_each_chunk([&](unsigned i) {
            const unsigned result = c.v(), active = all ? 0 : c.load_p(*pg, i);
            c.load_v(result, row + i * chunk_bytes);
            if (!all)
                c.put(a64::v::and_, result, result, active);
            if (size != sve_size_b)
                c.put(a64::v::and_, result, result, counting);
            flags.take(i, result, active);
        });
        flags.set(row);
    });
}

void set_flags_of_all(code &c, unsigned x) {
    if (!c.needs_flags())
        return;
    c.set_x(x, 1);
    c.put(a64::subs & ~a64::x, xzr, xzr, x);
}

void copy_row(code &c, unsigned to, unsigned from) {
    c.for_each_chunk([&](unsigned i) {
        const unsigned chunk = c.v();
        c.load_v(chunk, from + i * chunk_bytes);
        c.store_v(chunk, to + i * chunk_bytes);
    });
}

} // namespace sve::native
