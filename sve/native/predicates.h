#pragma once

// Predicates as results, and the condition flags that they set. Of the elements that Pg makes active:
//
//     N   the first one is true in the result
//     Z   none is true
//     C   the last one is not true
//     V   0

#include "sve/native/code.h"

#include <optional>

namespace sve::native {

// A V register with all ones in the first byte of each element of a size.
unsigned first_bytes(code &c, unsigned size);

// The V register with the numbers of the elements of chunk i, each in its lane.
unsigned element_numbers(code &c, unsigned size, unsigned i);

// Collects the flags while a result is made, chunk by chunk, and sets them.
class flags_of_result {
public:
    // `all`: what all_true said of Pg.
    flags_of_result(code &c, unsigned size, bool all);
    // Chunk i of the result: of the first bytes of the active elements, and zeros elsewhere. And that of Pg, if `all` is false. Both
    // registers are lost.
    void take(unsigned i, unsigned result, unsigned pg = 0);
    // At the end. The result, or what it is where Pg is active, is in the row at this offset of the state.
    void set(unsigned row);

private:
    code &c_;
    const unsigned size_;
    const bool all_;
    unsigned any_;                          // V: where some chunk is true
    unsigned first_is_true_, last_is_true_; // X, if all elements are active
    unsigned first_bytes_, first_, last_;   // V, else: numbers of the active bytes in each lane
};

// NZCV as PTEST sets them of Pn under Pg for elements of a size; both in their rows.
void set_flags(code &c, unsigned pg, unsigned pn, unsigned size);
// The same of another row of the state, by its offset; and with all elements governing, if no Pg is given.
void set_flags_of_row(code &c, std::optional<unsigned> pg, unsigned row, unsigned size);
// NZCV of a result that is true in all elements. Takes the X register.
void set_flags_of_all(code &c, unsigned x);

// A doubleword of every row of the state.
class doubleword {
public:
    // `at` bytes behind the state's address, or behind that in a register.
    doubleword(code &c, unsigned at) : c_(c), at_(at) {}
    doubleword(code &c, unsigned at, unsigned address) : c_(c), at_(at), address_(address) {}
    // That of the row at an offset of the state, in an X register
    void load(unsigned x, unsigned row) const {
        if (address_)
            c_.put(a64::load_store(true, 8, x, *address_, row + at_));
        else
            c_.load_x(x, row + at_);
    }
    void store(unsigned x, unsigned row) const {
        if (address_)
            c_.put(a64::load_store(false, 8, x, *address_, row + at_));
        else
            c_.store_x_in_state(x, row + at_);
    }

private:
    code &c_;
    const unsigned at_;
    const std::optional<unsigned> address_;
};
// f(d) for each doubleword d of a row, from the first or from the last one on. Scratch registers taken in f are free again behind
// it; what it does must be the same for all. NZCV stays from one to the next.
enum class order { rising, falling };
template <class F>
void for_each_doubleword(code &c, order direction, F &&f) {
    constexpr unsigned bytes = 8, most_unrolled = 16;
    const unsigned count = c.vector_bytes() / bytes;
    const bool is_rising = direction == order::rising;
    if (count <= most_unrolled) {
        for (unsigned i = 0; i < count; i++)
            c.scope([&] { f(doubleword(c, bytes * (is_rising ? i : count - 1 - i))); });
        return;
    }
    c.scope([&] {
        const unsigned address = c.address_in_state(is_rising ? 0 : (count - 1) * bytes);
        const unsigned left = c.x();
        const label next = c.new_label();
        c.set_x(left, count);
        c.bind(next);
        c.scope([&] { f(doubleword(c, 0, address)); });
        c.put((is_rising ? a64::add_immediate : a64::sub_immediate) | bytes << 10, address,
              address);
        c.put(a64::sub_immediate | 1 << 10, left, left);
        c.cbnz(left, next);
    });
}

// Copies a row of the state to another one.
void copy_row(code &c, unsigned to, unsigned from);

// Pd = the lanes of a size where the V register make(i) of chunk i is all ones (else zeros) and that Pg makes active, zero
// elsewhere; and NZCV as PTEST sets them with Pg governing. Pd may be Pg. make may use its scratch registers freely.
template <class Make>
void write_compare(code &c, unsigned pd, unsigned pg, unsigned size, Make &&make) {
    const bool all = c.all_true(pg, size);
    c.writes_p(pd, false);
    flags_of_result flags(c, size, all);
    c.for_each_chunk([&](unsigned i) {
        const unsigned result = c.v();
        c.scope([&] { c.put(a64::v::ushr(size, (8u << size) - 1), result, make(i)); });
        unsigned active = 0;
        if (!all) {
            active = c.load_p(pg, i);
            c.put(a64::v::and_, result, result, active);
        }
        c.store_p(pd, i, result);
        flags.take(i, result, active);
    });
    flags.set(c.state().p(pd));
}

} // namespace sve::native
