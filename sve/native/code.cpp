#include "sve/native/code.h"

#include <bit>

namespace sve::native {

// ---- Words and labels ---------------------------------------------------------------------------

void code::append(word_t word) {
    section &to = sections_[current_];
    if (to.count < longest_section)
        to.words[to.count++] = word;
    else
        overflow_ = true;
}

label code::new_label() {
    if (label_count_ == most_labels) {
        overflow_ = true;
        return {0};
    }
    labels_[label_count_] = {};
    return {static_cast<uint16_t>(label_count_++)};
}

void code::bind(label here) {
    labels_[here.number] = {current_, true, static_cast<uint16_t>(sections_[current_].count)};
}

void code::use(label to, field kind) {
    if (use_count_ == most_uses)
        overflow_ = true;
    else
        uses_[use_count_++] = {current_, kind, static_cast<uint16_t>(sections_[current_].count),
                               to};
}

void code::b(label to) {
    use(to, field::bits_26);
    append(0x14000000);
}

void code::b(a64::condition condition, label to) {
    use(to, field::bits_19);
    append(0x54000000 | condition);
}

// ---- Scratch registers --------------------------------------------------------------------------

static unsigned take_highest(uint32_t &free, uint32_t &taken) {
    const unsigned number = 31u - static_cast<unsigned>(std::countl_zero(free));
    free &= ~(1u << number);
    taken |= 1u << number;
    return number;
}

unsigned code::v() {
    if (v_free_ == 0) {
        decline();
        return 0;
    }
    return take_highest(v_free_, v_taken_);
}

unsigned code::x() {
    if (x_free_ == 0) {
        decline();
        return 0;
    }
    return take_highest(x_free_, x_taken_);
}

unsigned code::v_list(unsigned count) {
    for (unsigned last = 31; last + 1 >= count; last--) {
        const unsigned first = last + 1 - count;
        const uint32_t list = ((1u << count) - 1) << first;
        if ((v_free_ & list) != list)
            continue;
        v_free_ &= ~list;
        v_taken_ |= list;
        return first;
    }
    return no_list;
}

// ---- Z registers --------------------------------------------------------------------------------

unsigned code::load_z(unsigned number, unsigned i) {
    if (i == 0)
        return number;
    const unsigned loaded = v();
    load_v(loaded, layout_.z(number) + i * chunk_bytes);
    return loaded;
}

unsigned code::target_z(unsigned number, unsigned i) {
    return i == 0 ? number : v();
}

void code::store_z(unsigned number, unsigned i, unsigned v) {
    if (i != 0)
        store_v(v, layout_.z(number) + i * chunk_bytes);
    else if (v != number)
        put(a64::v::mov, number, v, v);
}

// ---- Predicates ---------------------------------------------------------------------------------

unsigned code::load_p(unsigned number, unsigned i) {
    const unsigned loaded = v();
    load_v(loaded, layout_.p(number) + i * chunk_bytes);
    return loaded;
}

void code::store_p(unsigned number, unsigned i, unsigned v) {
    store_v(v, layout_.p(number) + i * chunk_bytes);
}

unsigned code::mask(unsigned pg, unsigned size, unsigned i) {
    const unsigned lanes = load_p(pg, i);
    if (size == sve_size_b) {
        put(sized(a64::v::neg, size), lanes, lanes);
    } else {
        const unsigned amount = (8u << size) - 1;
        put(a64::v::shl(size, amount), lanes, lanes);
        put(a64::v::sshr(size, amount), lanes, lanes);
    }
    return lanes;
}

bool code::all_true(unsigned pg, unsigned size) {
    if (full_[pg] <= size)
        return true;
    if (current_ == slow || likely_partial_ >> pg & 1)
        return false;
    const label known = new_label();
    scope([&] {
        const unsigned noted = x();
        put_in_state(a64::load_store(true, 4, noted, base, layout_.full(pg)));
        tbnz(noted, size, known);
        // The bits that all elements have, in eight bytes, and then in the lowest.
        const unsigned all = load_p(pg, 0);
        for (unsigned i = 1; i < chunks(); i++)
            scope([&] { put(a64::v::and_, all, all, load_p(pg, i)); });
        const unsigned upper = v(), folded = x();
        put(a64::v::ext(8), upper, all, all);
        put(a64::v::and_, all, all, upper);
        put(a64::v::umov(sve_size_d, 0), folded, all);
        for (unsigned bits = 32; bits >= 8u << size; bits /= 2)
            put(a64::and_ | a64::by_lsr(bits), folded, folded, folded);
        tbz(folded, 0, slow_entry());
        note_full(pg, size);
    });
    bind(known);
    full_[pg] = static_cast<uint8_t>(size);
    return true;
}

void code::note_full(unsigned number, unsigned size) {
    scope([&] {
        unsigned noted = xzr;
        if (size != not_full) {
            noted = x();
            put(a64::movz | ((0xf << size) & 0xf) << 5 | noted);
        }
        put_in_state(a64::load_store(false, 4, noted, base, layout_.full(number)));
    });
    to_note_ &= static_cast<uint16_t>(~(1u << number));
}

label code::slow_entry() {
    if (!goes_slow_)
        slow_ = new_label();
    goes_slow_ = true;
    return slow_;
}

void code::writes_p(unsigned number, bool likely_full) {
    full_[number] = not_full;
    const auto bit = static_cast<uint16_t>(1u << number);
    likely_partial_ = likely_full ? likely_partial_ & ~bit : likely_partial_ | bit;
    to_note_ |= bit;
}

void code::forget_predicates() {
    for (uint8_t &size : full_)
        size = not_full;
}

// ---- General registers --------------------------------------------------------------------------

// The frame has X27 and X30, in this order.
static bool is_in_frame(unsigned number) {
    return number == 27 || number == 30;
}
static unsigned frame_offset(unsigned number) {
    return number == 27 ? 0 : 8;
}

unsigned code::read_x(unsigned number) {
    if (!is_in_frame(number))
        return number;
    const unsigned loaded = x();
    put(a64::load_store(true, 8, loaded, sp, frame_offset(number)));
    return loaded;
}

unsigned code::read_x_or_sp(unsigned number) {
    if (number != 31)
        return read_x(number);
    const unsigned value = x();
    put(a64::add_immediate | 16 << 10, value, sp);
    return value;
}

unsigned code::target_x(unsigned number) {
    return is_in_frame(number) || number == 31 ? x() : number;
}

void code::store_x(unsigned number, unsigned x) {
    if (is_in_frame(number))
        put(a64::load_store(false, 8, x, sp, frame_offset(number)));
    else if (number != 31 && number != x)
        put(a64::orr, number, xzr, x);
}

void code::store_sp(unsigned to) {
    const unsigned first = x(), second = x(), frame = x();
    put(a64::load_store_pair(true, first, second, sp, 0));
    put(a64::sub_immediate | 16 << 10, frame, to);
    put(a64::add_immediate, sp, frame);
    put(a64::load_store_pair(false, first, second, sp, 0));
}

void code::set_x(unsigned to, uint64_t value) {
    // Ones in most of it
    const bool inverted = std::popcount(value) > 48;
    bool is_first = true;
    for (unsigned i = 0; i < 4; i++) {
        const auto part = static_cast<uint16_t>(value >> 16 * i);
        if (part == (inverted ? 0xffff : 0) && !(is_first && i == 3))
            continue;
        const word_t word = !is_first  ? a64::movk | word_t{part} << 5
                            : inverted ? a64::movn | word_t{static_cast<uint16_t>(~part)} << 5
                                       : a64::movz | word_t{part} << 5;
        append(word | i << 21 | to);
        is_first = false;
    }
}

// ---- Memory -------------------------------------------------------------------------------------

unsigned code::address_in_state(unsigned offset) {
    const unsigned address = x();
    unsigned from = base;
    if (offset >> 12) {
        put_in_state(a64::add_immediate | a64::immediate_shifted | (offset >> 12) << 10 |
                     operands(address, from));
        from = address;
    }
    put_in_state(a64::add_immediate | (offset & 0xfff) << 10 | operands(address, from));
    return address;
}

unsigned code::constant(uint64_t low, uint64_t high) {
    unsigned n = 0;
    while (n < literal_count_ && !(literals_[n].low == low && literals_[n].high == high))
        n++;
    const unsigned loaded = v();
    if (n == most_literals) {
        overflow_ = true;
        return loaded;
    }
    if (n == literal_count_)
        literals_[literal_count_++] = {new_label(), low, high};
    use(literals_[n].at, field::bits_19);
    append(0x9c000000 | loaded); // ldr q, literal
    return loaded;
}

label code::leave() {
    if (!leaves_)
        leave_ = new_label();
    leaves_ = true;
    return leave_;
}

void code::begin_instruction() {
    v_free_ = v_pool_;
    x_free_ = x_pool_;
    declined_ = leaves_ = goes_slow_ = false;
    to_note_ = 0;
}

} // namespace sve::native
