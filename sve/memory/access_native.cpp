#include "sve/memory/access_native.h"

using namespace sve;
using namespace sve::memory;
using namespace sve::native;

// ---- Places -------------------------------------------------------------------------------------

// SP is below the frame.
static constexpr int64_t frame_bytes = 16;

place sve::memory::bytes_away(code &c, aarch64_i_rsp_reg base, int64_t bytes) {
    if (base.num == sp)
        return {sp, bytes + frame_bytes, false};
    const unsigned read = c.read_x(base.num);
    return {read, bytes, read != base.num};
}

place sve::memory::index_away(code &c, aarch64_i_rsp_reg base, aarch64_i_reg index,
                              unsigned shift) {
    const unsigned sum = c.x();
    c.scope([&] {
        const unsigned by = c.read_x(index.num);
        if (base.num == sp)
            c.put(a64::add_sp | shift << 10, sum, sp, by);
        else
            c.put(a64::add | a64::by_lsl(shift), sum, c.read_x(base.num), by);
    });
    return {sum, base.num == sp ? frame_bytes : 0, true};
}

static void add_offset(code &c, unsigned to, unsigned from, int64_t offset) {
    const word_t word = offset < 0 ? a64::sub_immediate : a64::add_immediate;
    const auto distance = static_cast<word_t>(offset < 0 ? -offset : offset);
    if (const word_t high = distance >> 12) {
        c.put(word | a64::immediate_shifted | high << 10, to, from);
        from = to;
    }
    if (const word_t low = distance & 0xfff; low || from != to)
        c.put(word | low << 10, to, from);
}

place sve::memory::reachable(code &c, const place &at, unsigned bytes) {
    if (at.offset >= 0 && at.offset % chunk_bytes == 0 && at.offset + bytes <= 1024)
        return at;
    const unsigned base = at.is_scratch ? at.base : c.x();
    add_offset(c, base, at.base, at.offset);
    return {base, 0, true};
}

unsigned sve::memory::address(code &c, const place &at) {
    const unsigned to = at.is_scratch ? at.base : c.x();
    add_offset(c, to, at.base, at.offset);
    return to;
}

void sve::memory::stay_in_page(code &c, const place &at, unsigned bytes) {
    constexpr unsigned smallest_page = 4096;
    c.scope([&] {
        const unsigned offset = c.x();
        unsigned from = at.base;
        if (at.offset || from == sp) {
            add_offset(c, offset, from, at.offset);
            from = offset;
        }
        c.put(a64::and_4095, offset, from);
        c.put(a64::sub_immediate | (smallest_page + 1 - bytes) << 10, offset, offset);
        c.tbz(offset, 63, c.leave());
    });
}

// ---- Rows ---------------------------------------------------------------------------------------

void sve::memory::load_row(code &c, unsigned zt, const place &from) {
    const place at = reachable(c, from, c.vector_bytes());
    const auto offset = [&](unsigned i) { return static_cast<int>(at.offset + i * chunk_bytes); };
    const auto load = [&](unsigned v, unsigned i) {
        c.put(a64::load_store_v(true, 16, v, at.base, static_cast<unsigned>(offset(i))));
    };
    unsigned i = 1;
    if (c.chunks() % 2) {
        load(zt, 0);
    } else {
        c.scope([&] {
            const unsigned second = c.v();
            c.put(a64::v::pair(true, zt, second, at.base, offset(0)));
            c.store_z(zt, 1, second);
        });
        i = 2;
    }
    if (i == c.chunks())
        return;
    const unsigned row = c.address_in_state(c.state().z(zt)), first = c.v(), second = c.v();
    for (; i < c.chunks(); i += 2) {
        c.put(a64::v::pair(true, first, second, at.base, offset(i)));
        c.put(a64::v::pair(false, first, second, row, static_cast<int>(i * chunk_bytes)));
    }
}

void sve::memory::store_row(code &c, unsigned zt, const place &to) {
    const place at = reachable(c, to, c.vector_bytes());
    const auto offset = [&](unsigned i) { return static_cast<int>(at.offset + i * chunk_bytes); };
    unsigned i = 1;
    if (c.chunks() % 2) {
        c.put(a64::load_store_v(false, 16, zt, at.base, static_cast<unsigned>(offset(0))));
    } else {
        c.scope([&] { c.put(a64::v::pair(false, zt, c.load_z(zt, 1), at.base, offset(0))); });
        i = 2;
    }
    if (i == c.chunks())
        return;
    const unsigned row = c.address_in_state(c.state().z(zt)), first = c.v(), second = c.v();
    for (; i < c.chunks(); i += 2) {
        c.put(a64::v::pair(true, first, second, row, static_cast<int>(i * chunk_bytes)));
        c.put(a64::v::pair(false, first, second, at.base, offset(i)));
    }
}
