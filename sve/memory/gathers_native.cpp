#include "sve/memory/gathers_native.h"

using namespace sve;
using namespace sve::memory;
using namespace sve::native;

// Elements go by X registers, and offsets, too: from the rows in the state and to them, so chunk 0 is put there
// first. Where all elements are active, two at once.

static constexpr unsigned pair_bytes(const accessed &by) {
    return 2u << by.size;
}

static word_t at_element(word_t access, const gathered &at, unsigned base, unsigned offset) {
    return at.has_base ? a64::by_register(access, offset, at.offset, at.is_scaled) | base << 5
                       : access | at.immediate << 10 | offset << 5;
}
// Into the register that had the offset
static void load_from(code &c, const accessed &by, const gathered &from, unsigned base,
                      unsigned offset) {
    c.put(
        at_element(a64::load_element(by.memory, by.extension(), offset, 0, 0), from, base, offset));
}
static void store_to(code &c, const accessed &by, const gathered &to, unsigned base,
                     unsigned offset, unsigned t) {
    c.put(at_element(a64::store_element(by.memory, t, 0, 0), to, base, offset));
}

static unsigned read_base(code &c, const gathered &at) {
    return at.has_base ? c.read_x_or_sp(at.base) : 0;
}

// A loop over eight bytes of the vector each, with their lanes of the predicate; the rows' registers advance with
// them. element(e, test, done) writes what one of them takes: what stands between test() and done() is skipped where it
// is inactive.
template <class Element>
static void for_each_lane(code &c, const accessed &by, unsigned pg, unsigned first_row,
                          unsigned second_row, Element &&element) {
    const unsigned governing = c.address_in_state(c.state().p(pg)), left = c.x(), lanes = c.x();
    c.set_x(left, c.vector_bytes() / 8);
    const label next = c.new_label();
    c.bind(next);
    c.put(a64::load_and_advance(lanes, governing));
    for (unsigned e = 0; e < 8u >> by.size; e++) {
        const label is_done = c.new_label();
        element(
            e, [&] { c.tbz(lanes, 8 * (e << by.size), is_done); }, [&] { c.bind(is_done); });
    }
    c.put(a64::add_immediate | 8 << 10, first_row, first_row);
    c.put(a64::add_immediate | 8 << 10, second_row, second_row);
    c.put(a64::sub_immediate | 1 << 10, left, left);
    c.cbnz(left, next);
}

void sve::memory::load_gathered(code &c, const accessed &by, unsigned zt, unsigned pg,
                                const gathered &from) {
    const bool is_full = c.all_true(pg, by.size);
    c.leave();
    // What has the offsets is to have them still if a later element faults.
    const bool is_source = zt == from.vector;
    const unsigned base = read_base(c, from);
    const unsigned offsets = c.address_in_state(c.state().z(from.vector));
    const unsigned result = c.address_in_state(is_source ? c.state().spare() : c.state().z(zt));
    c.spill_z(from.vector);
    if (is_full) {
        c.scope([&] {
            const unsigned first = c.x(), second = c.x();
            for (unsigned at = 0; at < c.vector_bytes(); at += pair_bytes(by)) {
                const int offset = static_cast<int>(at);
                c.put(a64::pair(true, by.size, first, second, offsets, offset));
                load_from(c, by, from, base, first);
                load_from(c, by, from, base, second);
                c.put(a64::pair(false, by.size, first, second, result, offset));
            }
        });
    } else {
        c.scope([&] {
            const unsigned value = c.x();
            for_each_lane(c, by, pg, offsets, result, [&](unsigned e, auto &&test, auto &&done) {
                c.put(a64::orr, value, xzr, xzr);
                test();
                c.put(a64::load_element(by.size, a64::extension::zero, value, offsets, e));
                load_from(c, by, from, base, value);
                done();
                c.put(a64::store_element(by.size, value, result, e));
            });
        });
        if (is_source)
            c.put(a64::sub_immediate | c.vector_bytes() << 10, result, result);
    }
    if (is_source)
        load_row(c, zt, {result, 0, true});
    else
        c.fill_z(zt);
}

void sve::memory::store_scattered(code &c, const accessed &by, unsigned zt, unsigned pg,
                                  const gathered &to) {
    const bool is_full = c.all_true(pg, by.size);
    c.leave();
    const unsigned base = read_base(c, to);
    const unsigned offsets = c.address_in_state(c.state().z(to.vector));
    const unsigned values = c.address_in_state(c.state().z(zt));
    c.spill_z(to.vector);
    if (zt != to.vector)
        c.spill_z(zt);
    const unsigned offset = c.x(), value = c.x();
    if (is_full) {
        c.scope([&] {
            const unsigned second_offset = c.x(), second_value = c.x();
            for (unsigned i = 0; i < c.vector_bytes(); i += pair_bytes(by)) {
                const int at = static_cast<int>(i);
                c.put(a64::pair(true, by.size, offset, second_offset, offsets, at));
                c.put(a64::pair(true, by.size, value, second_value, values, at));
                store_to(c, by, to, base, offset, value);
                store_to(c, by, to, base, second_offset, second_value);
            }
        });
        return;
    }
    for_each_lane(c, by, pg, offsets, values, [&](unsigned e, auto &&test, auto &&done) {
        test();
        c.put(a64::load_element(by.size, a64::extension::zero, offset, offsets, e));
        c.put(a64::load_element(by.size, a64::extension::zero, value, values, e));
        store_to(c, by, to, base, offset, value);
        done();
    });
}
