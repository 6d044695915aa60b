#include "sve/memory/contiguous_native.h"

#include <algorithm>
#include <bit>

using namespace sve;
using namespace sve::memory;
using namespace sve::native;

// ---- Elements of another size in memory -----------------------------------------------------------

namespace {

// Calls f(first, count, offset, bytes) for the blocks of memory that are accessed at once, each with the
// elements of `count` chunks from `first` on.
template <class F>
void for_each_block(code &c, const accessed &by, F &&f) {
    const unsigned shrinks = by.size - by.memory;
    for (unsigned first = 0; first < c.chunks();) {
        const unsigned count = std::min(1u << shrinks, std::bit_floor(c.chunks() - first));
        c.scope([&] {
            f(first, count, first * chunk_bytes >> shrinks, count * chunk_bytes >> shrinks);
        });
        first += count;
    }
}

// Of elements of a size code in the low end of `v`, makes those of the register's size, which are the chunks
// from `first` on.
template <class Finish>
void widen(code &c, const accessed &by, unsigned zt, unsigned v, unsigned size, unsigned first,
           unsigned count, const Finish &finish) {
    if (size == by.size) {
        finish(first, v);
        return;
    }
    const unsigned half = (1u << (by.size - size)) / 2;
    for (unsigned upper = 0; upper < 2 && upper * half < count; upper++)
        c.scope([&] {
            const unsigned from = first + upper * half;
            const unsigned wide = size + 1 == by.size ? c.target_z(zt, from) : c.v();
            c.put(a64::v::widen(by.is_signed, upper, size), wide, v);
            widen(c, by, zt, wide, size + 1, from, std::min(half, count - upper * half), finish);
        });
}

// The low parts, of a size code, of the elements of some chunks, in the low end of a V register.
unsigned narrow(code &c, const accessed &by, unsigned zt, unsigned size, unsigned first,
                unsigned count) {
    if (size == by.size)
        return c.load_z(zt, first);
    const unsigned half = (1u << (by.size - size)) / 2;
    const unsigned lower = narrow(c, by, zt, size + 1, first, std::min(half, count));
    const unsigned result = lower == zt ? c.v() : lower;
    c.scope([&] {
        const unsigned upper =
            count > half ? narrow(c, by, zt, size + 1, first + half, count - half) : lower;
        c.put(sized(a64::v::uzp1, size), result, lower, upper);
    });
    return result;
}

void access_block(code &c, bool load, unsigned bytes, unsigned v, const place &at,
                  unsigned offset) {
    c.put(a64::load_store_v(load, bytes, v, at.base, static_cast<unsigned>(at.offset) + offset));
}

} // namespace

// ---- Loads --------------------------------------------------------------------------------------

void sve::memory::load_contiguous(code &c, const accessed &by, load_kind kind, unsigned zt,
                                  unsigned pg, const place &from) {
    const bool is_full = c.all_true(pg, by.size);
    c.leave();
    const bool may_end_early = kind == load_kind::speculative && by.is_extended();
    if (is_full && !by.is_extended()) {
        load_row(c, zt, from);
        return;
    }
    const unsigned bytes = by.memory_bytes(c);
    const place at = reachable(c, from, bytes);
    if (!is_full || may_end_early)
        stay_in_page(c, at, may_end_early ? c.vector_bytes() : bytes);
    const auto finish = [&](unsigned i, unsigned v) {
        if (!is_full)
            c.put(a64::v::and_, v, v, c.mask(pg, by.size, i));
        c.store_z(zt, i, v);
    };
    for_each_block(c, by, [&](unsigned first, unsigned count, unsigned offset, unsigned length) {
        const unsigned block = by.is_extended() ? c.v() : c.target_z(zt, first);
        access_block(c, true, length, block, at, offset);
        widen(c, by, zt, block, by.memory, first, count, finish);
    });
}

// All chunks of Zt are `v`, but for inactive lanes.
static void store_everywhere(code &c, unsigned size, unsigned zt, unsigned pg, bool is_full,
                             unsigned v) {
    if (!is_full) {
        // The first chunk is `v` itself, perhaps, so it is the last.
        for (unsigned i = c.chunks(); i-- > 0;)
            c.scope([&] {
                const unsigned d = c.target_z(zt, i);
                c.put(a64::v::and_, d, v, c.mask(pg, size, i));
                c.store_z(zt, i, d);
            });
        return;
    }
    unsigned i = 1;
    if (c.chunks() > 3)
        c.scope([&] {
            const unsigned row = c.address_in_state(c.state().z(zt));
            for (; i + 1 < c.chunks(); i += 2)
                c.put(a64::v::pair(false, v, v, row, static_cast<int>(i * chunk_bytes)));
        });
    for (; i < c.chunks(); i++)
        c.store_z(zt, i, v);
}

void sve::memory::load_replicated(code &c, const accessed &by, unsigned zt, unsigned pg,
                                  const place &from) {
    const bool is_full = c.all_true(pg, by.size);
    c.leave();
    const unsigned bytes = 1u << by.memory;
    if (by.is_extended() && by.is_signed) {
        const unsigned element = c.x();
        c.put(a64::load_element(by.memory, by.extension(), element, from.base,
                                static_cast<unsigned>(from.offset) / bytes));
        c.put(a64::v::dup(by.size), zt, element);
    } else if (!by.is_extended() && from.offset == 0 && from.base != sp) {
        c.put(a64::v::ld1r(by.size), zt, from.base);
    } else {
        // The load clears what is above the element.
        access_block(c, true, bytes, zt, from, 0);
        c.put(a64::v::dup_lane(by.size, 0), zt, zt);
    }
    store_everywhere(c, by.size, zt, pg, is_full, zt);
}

void sve::memory::load_quadword(code &c, unsigned size, unsigned zt, unsigned pg,
                                const place &from) {
    const bool is_full = c.all_true(pg, size);
    c.leave();
    const place at = reachable(c, from, chunk_bytes);
    if (!is_full)
        stay_in_page(c, at, chunk_bytes);
    access_block(c, true, chunk_bytes, zt, at, 0);
    if (!is_full)
        c.put(a64::v::and_, zt, zt, c.mask(pg, size, 0));
    store_everywhere(c, size, zt, pg, true, zt);
}

void sve::native_load_quadword_zpri(code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                    aarch64_i_rsp_reg base, int immediate) {
    load_quadword(c, zt.size, zt.num, pg.num,
                  bytes_away(c, base, int64_t{immediate} * chunk_bytes));
}
void sve::native_load_quadword_zprr(code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                    aarch64_i_rsp_reg base, aarch64_i_reg index) {
    load_quadword(c, zt.size, zt.num, pg.num, index_away(c, base, index, zt.size));
}

// ---- Stores -------------------------------------------------------------------------------------

// Chunk by chunk, in a loop. Those whose elements are all active or all inactive, mostly all but one, are done at
// once.
static void store_active(code &c, const accessed &by, unsigned zt, unsigned pg, const place &at) {
    const unsigned to = address(c, at), row = c.address_in_state(c.state().z(zt)),
                   governing = c.address_in_state(c.state().p(pg));
    const unsigned left = c.x(), low = c.x(), high = c.x(), scratch = c.x();
    const unsigned shrinks = by.size - by.memory;
    c.spill_z(zt);
    c.set_x(left, c.chunks());
    const label next_chunk = c.new_label(), is_done = c.new_label(), is_mixed = c.new_label();

    c.bind(next_chunk);
    c.put(a64::load_pair_and_advance(low, high, governing));
    c.put(a64::and_, scratch, low, high);
    for (unsigned bits = 32; bits >= 8u << by.size; bits /= 2)
        c.put(a64::and_ | a64::by_lsr(bits), scratch, scratch, scratch);
    c.tbz(scratch, 0, is_mixed);
    c.scope([&] {
        const unsigned v = c.v();
        c.put(a64::load_store_v(true, chunk_bytes, v, row, 0));
        for (unsigned size = by.size; size-- > by.memory;)
            c.put(sized(a64::v::uzp1, size), v, v, v);
        c.put(a64::load_store_v(false, chunk_bytes >> shrinks, v, to, 0));
    });
    c.b(is_done);

    c.bind(is_mixed);
    c.put(a64::orr, scratch, low, high);
    c.cbz(scratch, is_done);
    for (unsigned e = 0; e < chunk_bytes >> by.size; e++) {
        const unsigned byte = e << by.size;
        const label is_inactive = c.new_label();
        c.tbz(byte < 8 ? low : high, byte % 8 * 8, is_inactive);
        c.put(a64::load_element(by.memory, a64::extension::zero, scratch, row, byte >> by.memory));
        c.put(a64::store_element(by.memory, scratch, to, e));
        c.bind(is_inactive);
    }

    c.bind(is_done);
    c.put(a64::add_immediate | chunk_bytes << 10, row, row);
    c.put(a64::add_immediate | chunk_bytes >> shrinks << 10, to, to);
    c.put(a64::sub_immediate | 1 << 10, left, left);
    c.cbnz(left, next_chunk);
}

void sve::memory::store_contiguous(code &c, const accessed &by, unsigned zt, unsigned pg,
                                   const place &to) {
    const bool is_full = c.all_true(pg, by.size);
    c.leave();
    if (!is_full) {
        store_active(c, by, zt, pg, to);
    } else if (!by.is_extended()) {
        store_row(c, zt, to);
    } else {
        const place at = reachable(c, to, by.memory_bytes(c));
        for_each_block(c, by,
                       [&](unsigned first, unsigned count, unsigned offset, unsigned length) {
                           access_block(c, false, length,
                                        narrow(c, by, zt, by.memory, first, count), at, offset);
                       });
    }
}

// ---- LDR, STR -----------------------------------------------------------------------------------

void sve::native_ldr_zri(code &c, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate) {
    c.leave();
    load_row(c, zt.num, bytes_away(c, base, int64_t{immediate} * c.vector_bytes()));
}

void sve::native_str_zri(code &c, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate) {
    c.leave();
    store_row(c, zt.num, bytes_away(c, base, int64_t{immediate} * c.vector_bytes()));
}

// A predicate register in memory is like a vector of bits: of each chunk two bytes.
static constexpr unsigned bits_per_byte = 8;

static place registers_away(code &c, aarch64_i_rsp_reg base, int immediate) {
    const unsigned bytes = c.vector_bytes() / bits_per_byte;
    return reachable(c, bytes_away(c, base, int64_t{immediate} * bytes), bytes);
}

void sve::native_ldr_pri(code &c, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate) {
    c.leave();
    const place at = registers_away(c, base, immediate);
    // Eight lanes of each of the two bytes, and of each its own bit.
    const unsigned bytes = c.constant(0, 0x0101010101010101);
    const unsigned bits = c.constant(0x8040201008040201, 0x8040201008040201);
    for (unsigned i = 0; i < c.chunks();) {
        const unsigned count = std::min(8u, std::bit_floor(c.chunks() - i));
        c.scope([&] {
            const unsigned packed = c.v(), lanes = c.v();
            access_block(c, true, 2 * count, packed, at, 2 * i);
            for (unsigned n = 0; n < count; n++) {
                c.put(a64::v::dup_lane(sve_size_h, n), lanes, packed);
                c.put(a64::v::tbl, lanes, lanes, bytes);
                c.put(sized(a64::v::cmtst, sve_size_b), lanes, lanes, bits);
                c.put(a64::v::ushr(sve_size_b, 7), lanes, lanes);
                c.store_p(pt.num, i + n, lanes);
            }
        });
        i += count;
    }
    c.writes_p(pt.num, true);
}

// The sums of 2^(level + 1) bytes each, of the 2^(level + 1) chunks from `first` on, which fill a register;
// with level -1 the bytes themselves, shifted.
static unsigned add_up(code &c, unsigned pt, unsigned shifts, unsigned first, int level) {
    const unsigned sums = c.v();
    c.scope([&] {
        if (level < 0) {
            const unsigned lanes = c.load_p(pt, first);
            c.put(a64::v::ushl, sums, lanes, shifts);
            return;
        }
        const unsigned upper = first + (1u << level);
        const unsigned n = add_up(c, pt, shifts, first, level - 1);
        const unsigned m = upper < c.chunks() ? add_up(c, pt, shifts, upper, level - 1) : n;
        c.put(a64::v::addp, sums, n, m);
    });
    return sums;
}

void sve::native_str_pri(code &c, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate) {
    c.leave();
    const place at = registers_away(c, base, immediate);
    // Each bit at its place in its byte, and then eight added up.
    const unsigned shifts = c.constant(0x0706050403020100, 0x0706050403020100);
    for (unsigned first = 0; first < c.chunks(); first += 8)
        c.scope([&] {
            const unsigned packed = add_up(c, pt.num, shifts, first, 2);
            for (unsigned i = first; i < std::min(first + 8, c.chunks());) {
                const unsigned count = std::bit_floor(std::min(8u, c.chunks() - i));
                const unsigned size = static_cast<unsigned>(std::countr_zero(2 * count));
                c.scope([&] {
                    const unsigned part = i > first ? c.v() : packed;
                    if (i > first)
                        c.put(a64::v::dup_lane(size, (i - first) / count), part, packed);
                    access_block(c, false, 2 * count, part, at, 2 * i);
                });
                i += count;
            }
        });
}
