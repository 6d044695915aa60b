#include "sve/native/rows.h"

#include "sve/native/a64_memory.h"

namespace sve::native {

// The least chunks for which pairs are worth the registers that they take: the address of a row, since an offset from the
// state's reaches too few of them.
static constexpr unsigned least_pair_stores = 4, least_pair_copies = 6;

// Makes all chunks of Zd but chunk 0 what v is.
static void write_rest(code &c, unsigned zd, unsigned v) {
    const unsigned row = c.state().z(zd);
    unsigned i = 1;
    if (c.chunks() > least_pair_stores)
        c.scope([&] {
            const unsigned address = c.address_in_state(row);
            for (; i + 1 < c.chunks(); i += 2)
                c.put(a64::v::pair(false, v, v, address, i * chunk_bytes));
        });
    for (; i < c.chunks(); i++)
        c.store_v(v, row + i * chunk_bytes);
}

void repeat_chunk(code &c, unsigned zd) {
    write_rest(c, zd, zd);
}

void clear_rest(code &c, unsigned zd) {
    if (c.chunks() > 1)
        c.scope([&] {
            const unsigned zero = c.v();
            c.put(a64::v::movi(sve_size_b, 0), zero);
            write_rest(c, zd, zero);
        });
}

void copy_chunks(code &c, unsigned to, unsigned from, unsigned count) {
    unsigned i = 0;
    if (count >= least_pair_copies)
        c.scope([&] {
            const unsigned source = c.address_in_state(from), target = c.address_in_state(to);
            const unsigned low = c.v(), high = c.v();
            for (; i + 1 < count; i += 2) {
                c.put(a64::v::pair(true, low, high, source, i * chunk_bytes));
                c.put(a64::v::pair(false, low, high, target, i * chunk_bytes));
            }
        });
    for (; i < count; i++)
        c.scope([&] {
            const unsigned chunk = c.v();
            c.load_v(chunk, from + i * chunk_bytes);
            c.store_v(chunk, to + i * chunk_bytes);
        });
}

void copy_z(code &c, unsigned zd, unsigned zn) {
    if (zd == zn)
        return;
    copy_chunks(c, c.state().z(zd) + chunk_bytes, c.state().z(zn) + chunk_bytes, c.chunks() - 1);
    c.put(a64::v::mov, zd, zn, zn);
}

void copy_to_spare(code &c, unsigned zn) {
    c.store_v(zn, c.state().spare());
    copy_chunks(c, c.state().spare() + chunk_bytes, c.state().z(zn) + chunk_bytes, c.chunks() - 1);
}

// ---- Active elements ----------------------------------------------------------------------------

static constexpr unsigned step = 8; // bytes of a predicate in an X register

// Xd = Xn & the lowest bits of its elements
static constexpr word_t and_lowest_bits(unsigned size) {
    constexpr word_t patterns[] = {0x0000c000, 0x00008000, 0x00000000, 0x00400000};
    return 0x92000000 | patterns[size];
}

// In lanes: eight bytes of Pg at an address and an offset, of which those count that an element begins with.
static void load_predicate(code &c, unsigned lanes, unsigned size, unsigned row, unsigned offset) {
    constexpr word_t load_x_at = a64::load_byte_at | 3u << 30;
    c.put(load_x_at, lanes, row, offset);
    if (size != sve_size_b)
        c.put(and_lowest_bits(size), lanes, lanes);
}

unsigned first_active(code &c, unsigned pg, unsigned size, label none) {
    const unsigned offset = c.x();
    const label again = c.new_label(), found = c.new_label();
    c.scope([&] {
        // The offset rises to zero, and counts from the row's end.
        const unsigned end = c.address_in_state(c.state().p(pg) + c.vector_bytes()), lanes = c.x();
        c.set_x(offset, uint64_t{0} - c.vector_bytes());
        c.bind(again);
        load_predicate(c, lanes, size, end, offset);
        c.cbnz(lanes, found);
        c.put(a64::add_immediate | step << 10, offset, offset);
        c.cbnz(offset, again);
        c.b(none);
        c.bind(found);
        c.put(a64::rbit, lanes, lanes);
        c.put(a64::clz, lanes, lanes);
        c.put(a64::add | a64::by_lsr(3), offset, offset, lanes);
        c.put(a64::add_immediate | c.vector_bytes() << 10, offset, offset);
    });
    return offset;
}

unsigned last_active(code &c, unsigned pg, unsigned size, label none) {
    const unsigned offset = c.x();
    const label again = c.new_label(), found = c.new_label();
    c.scope([&] {
        const unsigned row = c.address_in_state(c.state().p(pg)), lanes = c.x();
        c.set_x(offset, c.vector_bytes());
        c.bind(again);
        c.put(a64::sub_immediate | step << 10, offset, offset);
        load_predicate(c, lanes, size, row, offset);
        c.cbnz(lanes, found);
        c.cbnz(offset, again);
        c.b(none);
        c.bind(found);
        c.put(a64::clz, lanes, lanes);
        c.put(a64::sub | a64::by_lsr(3), offset, offset, lanes);
        c.put(a64::add_immediate | (step - 1) << 10, offset, offset);
    });
    return offset;
}

} // namespace sve::native
