#include "sve/memory/structures_native.h"

using namespace sve;
using namespace sve::memory;
using namespace sve::native;

// The native counterparts have the elements of a chunk in each of their registers, and these follow each other as
// those of the instruction do.

static unsigned member(unsigned zt, unsigned r) {
    return (zt + r) % 32;
}

void sve::memory::load_structures(code &c, unsigned members, unsigned size, unsigned zt,
                                  unsigned pg, const place &from) {
    const bool is_full = c.all_true(pg, size);
    c.leave();
    if (!is_full)
        stay_in_page(c, from, members * c.vector_bytes());
    const unsigned at = address(c, from);
    const auto load = [&](unsigned i) {
        c.put(a64::v::structures_and_advance(true, members, size), zt, at);
        c.scope([&] {
            const unsigned active = is_full ? 0 : c.mask(pg, size, i);
            for (unsigned r = 0; r < members; r++) {
                const unsigned z = member(zt, r);
                if (!is_full)
                    c.put(a64::v::and_, z, z, active);
                if (i > 0)
                    c.store_z(z, i, z);
            }
        });
    };
    // Through the registers themselves, so that the first chunk is the last.
    if (c.chunks() > 1)
        c.put(a64::add_immediate | members * chunk_bytes << 10, at, at);
    for (unsigned i = 1; i < c.chunks(); i++)
        load(i);
    if (c.chunks() > 1)
        c.put(a64::sub_immediate | members * c.vector_bytes() << 10, at, at);
    load(0);
}

// A loop over eight bytes of the vectors each.
static void store_active(code &c, unsigned members, unsigned size, unsigned zt, unsigned pg,
                         const place &at) {
    if (zt + members > 32) { // the rows don't follow each other
        c.b(c.leave());
        return;
    }
    const unsigned to = address(c, at), row = c.address_in_state(c.state().z(zt)),
                   governing = c.address_in_state(c.state().p(pg));
    const unsigned left = c.x(), lanes = c.x(), value = c.x();
    for (unsigned r = 0; r < members; r++)
        c.spill_z(zt + r);
    c.set_x(left, c.vector_bytes() / 8);
    const label next = c.new_label(), is_done = c.new_label();
    c.bind(next);
    c.put(a64::load_and_advance(lanes, governing));
    c.cbz(lanes, is_done);
    for (unsigned e = 0; e < 8u >> size; e++) {
        const label is_inactive = c.new_label();
        c.tbz(lanes, 8 * (e << size), is_inactive);
        for (unsigned r = 0; r < members; r++) {
            c.put(a64::load_element(size, a64::extension::zero, value, row,
                                    (r * c.vector_bytes() >> size) + e));
            c.put(a64::store_element(size, value, to, e * members + r));
        }
        c.bind(is_inactive);
    }
    c.bind(is_done);
    c.put(a64::add_immediate | 8 << 10, row, row);
    c.put(a64::add_immediate | 8 * members << 10, to, to);
    c.put(a64::sub_immediate | 1 << 10, left, left);
    c.cbnz(left, next);
}

void sve::memory::store_structures(code &c, unsigned members, unsigned size, unsigned zt,
                                   unsigned pg, const place &to) {
    const bool is_full = c.all_true(pg, size);
    c.leave();
    if (!is_full) {
        store_active(c, members, size, zt, pg, to);
        return;
    }
    const unsigned at = address(c, to);
    c.put(a64::v::structures_and_advance(false, members, size), zt, at);
    if (c.chunks() == 1)
        return;
    const unsigned scratch = c.v_list(members);
    if (scratch == code::no_list) {
        c.decline();
        return;
    }
    for (unsigned i = 1; i < c.chunks(); i++) {
        for (unsigned r = 0; r < members; r++)
            c.load_v(scratch + r, c.state().z(member(zt, r)) + i * chunk_bytes);
        c.put(a64::v::structures_and_advance(false, members, size), scratch, at);
    }
}
