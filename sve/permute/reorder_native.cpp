#include "sve/permute/reorder_native.h"

#include "sve/native/a64_memory.h"
#include "sve/native/lanes.h"
#include "sve/native/rows.h"

#include <algorithm>

using namespace sve;
using namespace sve::native;

// Chunks are written in such an order that none is read afterwards, as the destination may be a source.

// ---- Halves of rows -----------------------------------------------------------------------------

// Each chunk of Zd is made of half a chunk of each source, of which the lower or upper half of the row is used.
// make(is_high, d, n, m) makes it of the low or the high halves of V registers n and m.
template <class Make>
static void write_from_halves(code &c, unsigned zd, unsigned zn, unsigned zm, bool is_upper,
                              const Make &make) {
    const unsigned chunks = c.chunks(), first = is_upper ? chunks : 0, behind = first + chunks;
    const auto write = [&](unsigned half, unsigned n, unsigned m) {
        if (half < first || half >= behind)
            return;
        c.scope([&] {
            const unsigned i = half - first, d = c.target_z(zd, i);
            make(half % 2 != 0, d, n, m);
            c.store_z(zd, i, d);
        });
    };
    const auto write_both = [&](unsigned from) {
        const unsigned n = c.load_z(zn, from), m = zm == zn ? n : c.load_z(zm, from);
        write(2 * from + !is_upper, n, m);
        write(2 * from + is_upper, n, m);
    };
    const unsigned first_source = first / 2, last_source = (behind - 1) / 2;
    for (unsigned n = 0; n <= last_source - first_source; n++)
        c.scope([&] { write_both(is_upper ? first_source + n : last_source - n); });
}

#define ZIP(name, is_upper)                                                                        \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        write_from_halves(c, zd.num, zn.num, zm.num, is_upper,                                     \
                          [&](bool is_high, unsigned d, unsigned n, unsigned m) {                  \
                              c.put(sized(is_high ? a64::v::zip2 : a64::v::zip1, zd.size), d, n,   \
                                    m);                                                            \
                          });                                                                      \
    }
ZIP(zip1, false)
ZIP(zip2, true)

#define UNPACK(name, is_signed, is_upper)                                                          \
    void sve::native_##name##_zz(code &c, aarch64_z_reg zd, aarch64_z_reg zn) {                    \
        write_from_halves(c, zd.num, zn.num, zn.num, is_upper,                                     \
                          [&](bool is_high, unsigned d, unsigned n, unsigned) {                    \
                              c.put(a64::v::widen(is_signed, is_high, zn.size), d, n);             \
                          });                                                                      \
    }
UNPACK(sunpklo, true, false)
UNPACK(sunpkhi, true, true)
UNPACK(uunpklo, false, false)
UNPACK(uunpkhi, false, true)

// ---- Pairs of elements --------------------------------------------------------------------------

// Chunk i is made of the chunks 2i and 2i + 1 of Zn with Zm behind it. Upwards, Zd may be Zn; downwards, Zm.
static void unzip(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm, word_t word) {
    const unsigned chunks = c.chunks();
    const bool upwards = zd.num != zm.num, is_both = !upwards && zd.num == zn.num;
    if (is_both)
        copy_to_spare(c, zn.num);
    const auto load = [&](unsigned from) {
        const bool is_n = from < chunks;
        if (!(is_both && is_n))
            return c.load_z(is_n ? zn.num : zm.num, from % chunks);
        const unsigned loaded = c.v();
        c.load_v(loaded, c.state().spare() + from * chunk_bytes);
        return loaded;
    };
    c.for_each_chunk([&](unsigned n) {
        const unsigned i = upwards ? n : chunks - 1 - n;
        const unsigned low = load(2 * i), high = load(2 * i + 1), d = c.target_z(zd.num, i);
        c.put(sized(word, zd.size), d, low, high);
        c.store_z(zd.num, i, d);
    });
}

#define UZP(name)                                                                                  \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        unzip(c, zd, zn, zm, a64::v::name);                                                        \
    }
UZP(uzp1)
UZP(uzp2)

#define TRN(name)                                                                                  \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        write_lanes(c, zd.num, sized(a64::v::name, zd.size), zn.num, zm.num);                      \
    }
TRN(trn1)
TRN(trn2)

// ---- Reversal -----------------------------------------------------------------------------------

static void reverse_chunk(code &c, unsigned d, unsigned n, unsigned temporary, unsigned size) {
    constexpr word_t rev64 = 0x4e200800;
    if (size != sve_size_d) {
        c.put(sized(rev64, size), temporary, n);
        n = temporary;
    }
    c.put(a64::v::ext(8), d, n, n);
}

void sve::native_rev_zz(code &c, aarch64_z_reg zd, aarch64_z_reg zn) {
    for (unsigned i = 0; 2 * i < c.chunks(); i++)
        c.scope([&] {
            const unsigned mirrored = c.chunks() - 1 - i, temporary = c.v();
            const unsigned low = c.load_z(zn.num, i);
            if (i == mirrored) {
                const unsigned d = c.target_z(zd.num, i);
                reverse_chunk(c, d, low, temporary, zd.size);
                c.store_z(zd.num, i, d);
                return;
            }
            const unsigned high = c.load_z(zn.num, mirrored), reversed = c.v();
            const unsigned d = i == 0 ? zd.num : high;
            reverse_chunk(c, reversed, low, temporary, zd.size);
            reverse_chunk(c, d, high, temporary, zd.size);
            c.store_z(zd.num, mirrored, reversed);
            c.store_z(zd.num, i, d);
        });
}

// ---- Table lookup -------------------------------------------------------------------------------

namespace {

// TBL and TBX of lists of so many V registers: bytes whose index is in the list; the others become 0, or stay.
constexpr word_t in_list(word_t word, unsigned count) {
    return word | (count - 1) << 13;
}
constexpr word_t tbx = 0x4e001000;

// LD1 of a list, from an address that moves behind it
constexpr word_t load_list(unsigned count, unsigned t, unsigned n) {
    constexpr word_t lists[] = {0x7000, 0xa000, 0x6000, 0x2000};
    return 0x4cdf0000 | lists[count - 1] | n << 5 | t;
}

// A row whose bytes are looked up, in lists of its chunks. A short row is kept in registers; a longer one is read again for each
// chunk of the result.
class table {
public:
    table(code &c, unsigned zn, bool is_written) : c_(c), is_kept_(c.chunks() <= most_kept) {
        if (!find_lists()) {
            c.decline();
            return;
        }
        if (part_count_ > 1) {
            list_bytes_ = c.v();
            c.put(a64::v::movi(sve_size_b, parts_[0].count * chunk_bytes), list_bytes_);
        }
        if (is_kept_) {
            keep(zn);
            return;
        }
        if (is_written)
            copy_to_spare(c, zn);
        else
            c.spill_z(zn);
        row_ = c.address_in_state(is_written ? c.state().spare() : c.state().z(zn));
        next_ = c.x();
    }

    // result = the bytes at these indices, or 0; `moved` may be the indices.
    void look_up(unsigned result, unsigned indices, unsigned moved) {
        if (!is_kept_)
            c_.put(a64::orr, next_, xzr, row_);
        for (unsigned i = 0; i < part_count_; i++) {
            const part &part = parts_[i];
            if (!is_kept_)
                c_.put(load_list(part.count, part.list, next_));
            if (i != 0) {
                c_.put(a64::v::sub, moved, indices, list_bytes_);
                indices = moved;
            }
            c_.put(in_list(i == 0 ? a64::v::tbl : tbx, part.count), result, part.list, indices);
        }
    }

private:
    static constexpr unsigned most_kept = 5, most_in_list = 4, most_parts = 16;
    struct part {
        unsigned first, count; // chunks
        unsigned list;
    };

    // The longest lists that there are registers for; all but the last are of one length.
    bool find_lists() {
        unsigned length = std::min(c_.chunks(), most_in_list), list;
        while ((list = c_.v_list(length)) == code::no_list)
            if (--length == 0)
                return false;
        for (unsigned first = 0; first < c_.chunks(); first += length) {
            const unsigned count = std::min(length, c_.chunks() - first);
            if (is_kept_ && first != 0)
                list = c_.v_list(count);
            if (list == code::no_list)
                return false;
            parts_[part_count_++] = {first, count, list};
        }
        return true;
    }

    void keep(unsigned zn) {
        for (unsigned i = 0; i < c_.chunks(); i++) {
            const part &part = parts_[i / parts_[0].count];
            const unsigned v = part.list + i - part.first;
            if (i == 0)
                c_.put(a64::v::mov, v, zn, zn);
            else
                c_.load_v(v, c_.state().z(zn) + i * chunk_bytes);
        }
    }

    code &c_;
    const bool is_kept_;
    part parts_[most_parts];
    unsigned part_count_ = 0;
    unsigned list_bytes_ = 0;     // V: a list's bytes in all lanes
    unsigned row_ = 0, next_ = 0; // X
};

// The value in all elements of a size
uint64_t repeated(uint64_t value, unsigned size) {
    for (unsigned bits = 8u << size; bits < 64; bits *= 2)
        value |= value << bits;
    return value;
}

// A V register with these bytes in each doubleword
unsigned doublewords(code &c, uint64_t value) {
    return c.constant(value, value);
}

} // namespace

static void look_up_bytes(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    table bytes(c, zn.num, zd.num == zn.num);
    c.for_each_chunk([&](unsigned i) {
        const unsigned indices = c.load_z(zm.num, i), result = c.v();
        bytes.look_up(result, indices, i == 0 ? c.v() : indices);
        c.store_z(zd.num, i, result);
    });
}

// By the indices of the elements' bytes, which are multiplied and added to without regard to those behind the vector.
static void look_up_elements(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    // A doubleword's index is in its low half, and both halves of its bytes' are made of that.
    const unsigned size = zd.size, multiplied = std::min(size, sve_size_s);
    const uint64_t element_bytes = repeated(uint64_t{1} << size, sve_size_b),
                   first_bytes = 0x0706050403020100 & (element_bytes - 0x0101010101010101);
    table bytes(c, zn.num, zd.num == zn.num);
    const unsigned count = doublewords(c, repeated(c.elements(size), size)),
                   factor = doublewords(c, element_bytes), addend = doublewords(c, first_bytes);
    c.for_each_chunk([&](unsigned i) {
        const unsigned elements = c.load_z(zm.num, i), result = c.v(), indices = c.v();
        unsigned low = elements;
        if (size == sve_size_d) {
            low = result;
            c.put(sized(a64::v::trn1, sve_size_s), low, elements, elements);
        }
        c.put(a64::v::mov, indices, addend, addend);
        c.put(sized(a64::v::mla, multiplied), indices, low, factor);
        const unsigned is_behind = i == 0 ? c.v() : elements;
        c.put(sized(a64::v::cmhs, size), is_behind, elements, count);
        bytes.look_up(result, indices, indices);
        c.put(a64::v::bic, result, result, is_behind);
        c.store_z(zd.num, i, result);
    });
}

void sve::native_tbl_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    if (zd.size == sve_size_b)
        look_up_bytes(c, zd, zn, zm);
    else
        look_up_elements(c, zd, zn, zm);
}

// ---- Shifts of whole rows -----------------------------------------------------------------------

void sve::native_ext_zzi(code &c, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned offset) {
    if (offset == 0 || offset >= c.vector_bytes())
        return;
    const unsigned chunks = c.chunks(), first = offset / chunk_bytes, byte = offset % chunk_bytes;
    // Of Zm, no more than its low end is read; and if it is Zdn, that is overwritten before.
    const bool is_both = zdn.num == zm.num;
    if (is_both) {
        c.store_v(zm.num, c.state().spare());
        if (first)
            copy_chunks(c, c.state().spare() + chunk_bytes, c.state().z(zm.num) + chunk_bytes,
                        byte ? first : first - 1);
    }
    const unsigned result = c.v(), loaded[] = {c.v(), c.v()};
    const auto load = [&](unsigned i) {
        if (i == 0)
            return zdn.num;
        if (i == chunks && !is_both)
            return zm.num;
        const unsigned row = i < chunks ? c.state().z(zdn.num)
                             : is_both  ? c.state().spare()
                                        : c.state().z(zm.num);
        c.load_v(loaded[i % 2], row + i % chunks * chunk_bytes);
        return loaded[i % 2];
    };
    unsigned low = load(first);
    for (unsigned i = 0; i < chunks; i++) {
        if (byte == 0) {
            c.store_z(zdn.num, i, i ? load(first + i) : low);
            continue;
        }
        const unsigned high = load(first + i + 1), d = i ? result : zdn.num;
        c.put(a64::v::ext(byte), d, low, high);
        c.store_z(zdn.num, i, d);
        low = high;
    }
}

// Zdn = the lowest lane of V register `value`, which has it in all, and Zdn without its last element behind it.
static void insert(code &c, unsigned zdn, unsigned size, unsigned value) {
    const word_t ext = a64::v::ext(chunk_bytes - (1u << size));
    const unsigned loaded[] = {c.v(), c.v()}, result = c.v();
    const auto load = [&](unsigned i) {
        if (i == 0)
            return zdn;
        c.load_v(loaded[i % 2], c.state().z(zdn) + i * chunk_bytes);
        return loaded[i % 2];
    };
    unsigned high = load(c.chunks() - 1);
    for (unsigned i = c.chunks() - 1; i != 0; i--) {
        const unsigned low = load(i - 1);
        c.put(ext, result, low, high);
        c.store_z(zdn, i, result);
        high = low;
    }
    c.put(ext, zdn, value, zdn);
}

void sve::native_insr_zr(code &c, aarch64_z_reg zdn, aarch64_i_reg rm) {
    const unsigned value = c.v();
    c.put(a64::v::dup(zdn.dst_size), value, c.read_x(rm.num));
    insert(c, zdn.num, zdn.dst_size, value);
}

void sve::native_insr_zv(code &c, aarch64_z_reg zdn, unsigned vm) {
    const unsigned value = c.v();
    c.put(a64::v::dup_lane(zdn.dst_size, 0), value, vm);
    insert(c, zdn.num, zdn.dst_size, value);
}

// ---- Active elements ----------------------------------------------------------------------------

// The chunks of both sources are loaded from where their bytes of a chunk of the result begin, and joined where Zm's do. What is
// read before and behind a row in this way is in the state, too.
void sve::native_splice_zpz(code &c, aarch64_p_reg pg, aarch64_z_reg zdn, aarch64_z_reg zm) {
    const unsigned size = zdn.dst_size;
    const label none = c.new_label(), end = c.new_label();
    const unsigned last = last_active(c, pg.num, size, none);
    const unsigned first = first_active(c, pg.num, size, none);
    // Zdn's bytes but one: all of the longest vector's don't fit in a byte.
    c.put(a64::sub, last, last, first);
    c.put(a64::add_immediate | ((1u << size) - 1) << 10, last, last);
    unsigned row = c.state().z(zm.num);
    c.spill_z(zdn.num);
    if (zdn.num == zm.num) {
        row = c.state().spare();
        copy_to_spare(c, zm.num);
    } else {
        c.spill_z(zm.num);
    }
    const unsigned of_dn = c.address_in_state(c.state().z(zdn.num)), of_m = c.address_in_state(row);
    c.put(a64::add, of_dn, of_dn, first);
    c.put(a64::sub, of_m, of_m, last);
    c.put(a64::sub_immediate | 1 << 10, of_m, of_m);
    const unsigned bytes = c.constant(0x0706050403020100, 0x0f0e0d0c0b0a0908);
    const unsigned last_byte = c.v(), chunk = c.v();
    c.put(a64::v::dup(sve_size_b), last_byte, last);
    c.put(a64::v::movi(sve_size_b, chunk_bytes), chunk);
    c.for_each_chunk([&](unsigned i) {
        const unsigned n = c.v(), m = c.v(), result = c.v(), at = i * chunk_bytes;
        c.put(a64::load_store_v(true, chunk_bytes, n, of_dn, at));
        c.put(a64::load_store_v(true, chunk_bytes, m, of_m, at));
        c.put(a64::v::cmhs, result, last_byte, bytes);
        c.put(a64::v::bsl, result, n, m);
        c.put(a64::v::add, bytes, bytes, chunk);
        c.store_z(zdn.num, i, result);
    });
    c.b(end);
    c.bind(none);
    copy_z(c, zdn.num, zm.num);
    c.bind(end);
}

// Active elements are written one behind the other into a row of zeros.
void sve::native_compact_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    const unsigned size = zd.size, element_bytes = 1u << size;
    unsigned row = c.state().z(zn.num);
    if (zd.num == zn.num) {
        row = c.state().spare();
        copy_to_spare(c, zn.num);
    } else {
        c.spill_z(zn.num);
    }
    c.put(a64::v::movi(sve_size_b, 0), zd.num);
    c.spill_z(zd.num);
    repeat_chunk(c, zd.num);

    const unsigned from = c.address_in_state(row), to = c.address_in_state(c.state().z(zd.num)),
                   lanes_at = c.address_in_state(c.state().p(pg.num)), lanes = c.x(),
                   element = c.x();
    constexpr unsigned lanes_bytes = 8;
    for (unsigned at = 0; at < c.vector_bytes(); at += element_bytes) {
        if (at % lanes_bytes == 0)
            c.put(a64::load_store(true, lanes_bytes, lanes, lanes_at, at));
        const label inactive = c.new_label();
        c.tbz(lanes, at % lanes_bytes * 8, inactive);
        c.put(a64::load_store(true, element_bytes, element, from, at));
        c.put(a64::store_and_advance(size, element, to));
        c.bind(inactive);
    }
    c.fill_z(zd.num);
}
