#include "tests/conformance/memory_forms.h"

#include "sve/core/bits.h"
#include "tests/conformance/outcome.h"

#include <cstring>
#include <unistd.h>

namespace conformance {

using sve::bits;

// ---- Forms ----------------------------------------------------------------------------------------

// Cuts the text off the front, if it is there.
static bool take(std::string_view &name, std::string_view text) {
    if (!name.starts_with(text))
        return false;
    name.remove_prefix(text.size());
    return true;
}

static unsigned take_digit(std::string_view &name) {
    const unsigned digit = static_cast<unsigned>(name.front() - '0');
    name.remove_prefix(1);
    return digit;
}

std::optional<memory_form> memory_form::of(const char *handler) {
    std::string_view name = handler;
    memory_form form = {kind::load, element_bits(handler) / 8, 0, 1, name[3] == 'S', true, true, 0,
                        {}};
    if (name.ends_with("FillSI") || name.ends_with("SpillSI")) {
        if (name.ends_with("SpillSI"))
            form.kind = kind::store;
        // Bytes of the register, at a multiple of all of them.
        form.element = form.memory = 1;
        form.elements = name[3] == 'P' ? predicate_bytes : sve_vector_bytes;
        form.has_predicate = false;
        form.shape = "SIZ";
        return form;
    }
    name.remove_prefix(name.find_first_not_of("0123456789", 4));
    form.is_contiguous = take(name, "C");
    if (take(name, "E")) {
        form.members = take_digit(name);
        form.is_contiguous = true;
    }
    if (take(name, "Store"))
        form.kind = kind::store;
    else if (!take(name, "Load"))
        return std::nullopt;
    if (take(name, "FF"))
        form.kind = kind::first_fault;
    if (take(name, "NF"))
        form.kind = kind::non_fault;
    take(name, "NT");
    form.is_contiguous |= take(name, "Dup");
    form.memory = take_digit(name);
    form.elements = (name.starts_with("Q") ? 16 : sve_vector_bytes) / form.element;
    form.shape = strstr(handler, "Dup") && name == "SIZ" ? "R" : name;
    return form;
}

uint64_t memory_form::address(uint32_t word, const cpu_state &state, unsigned e) const {
    const uint64_t base = bits(word, 9, 5) == 31 ? state.sp : state.x[bits(word, 9, 5)];
    const uint64_t index = bits(word, 20, 16) == 31 ? 0 : state.x[bits(word, 20, 16)];
    const auto immediate = static_cast<uint64_t>(int64_t{sve::sign_extend(bits(word, 19, 16), 4)});
    const uint64_t own = e * memory * members;
    if (!has_predicate) {
        const auto registers = static_cast<uint64_t>(
            int64_t{sve::sign_extend(bits(word, 21, 16) << 3 | bits(word, 12, 10), 9)});
        return base + registers * elements + own;
    }
    if (shape == "SIZ")
        return base + immediate * footprint() + own;
    if (shape == "LSSZ" || shape == "QSSZ")
        return base + index * memory + own;
    if (shape == "QSIZ")
        return base + immediate * 16 + own;
    if (shape == "R")
        return base + bits(word, 21, 16) * memory;

    const auto offset = [&](unsigned z) {
        uint64_t value = 0;
        memcpy(&value, state.z[z] + e * element, element);
        if (shape.front() == 'X')
            return static_cast<uint64_t>(int64_t{static_cast<int32_t>(value)});
        return shape.front() == 'Y' ? static_cast<uint32_t>(value) : value;
    };
    if (shape == "VIZ")
        return offset(bits(word, 9, 5)) + bits(word, 20, 16) * memory;
    return base + offset(bits(word, 20, 16)) * (shape.ends_with("SVZ") ? memory : 1);
}

bool memory_form::is_active(uint32_t word, const machine_state &state, unsigned e) const {
    const unsigned bit = e * element;
    return !has_predicate || (state.p[bits(word, 12, 10)][bit / 8] >> bit % 8 & 1);
}

// The top byte of an address of user space is ignored.
static uint64_t arena_offset(uint64_t address) {
    return (address & ~uint64_t{0} >> 8) - reinterpret_cast<uint64_t>(arena().data());
}

static bool is_in_arena(uint64_t first, unsigned bytes) {
    const uint64_t offset = arena_offset(first);
    return offset < arena().size() && offset + bytes <= arena().size();
}

bool memory_form::is_accessible(uint32_t word, const cpu_state &state, unsigned e) const {
    return is_in_arena(address(word, state, e), memory * members);
}

// ---- Values ---------------------------------------------------------------------------------------

// Anywhere, or where `bytes` bytes end or begin at a page's end or the arena's.
static uint64_t draw_place(unsigned bytes, random_numbers &random) {
    const auto size = static_cast<unsigned>(arena().size());
    const unsigned page = size / 2, around = random.below(2 * bytes + 16) - bytes;
    const auto start = reinterpret_cast<uint64_t>(arena().data());
    switch (random.below(6)) {
    case 0:
        return start + static_cast<uint64_t>(int64_t{static_cast<int>(around)});
    case 1:
        return start + size - bytes;
    case 2:
        return start + size - bytes + around;
    case 3:
        return start + page - bytes + around;
    case 4:
        return start + random.below(size / 16) * 16;
    default:
        return start + random.below(size);
    }
}

static void set_register(cpu_state &state, unsigned number, uint64_t value) {
    (number == 31 ? state.sp : state.x[number]) = value;
}

static void draw_contiguous(const memory_form &form, const trial_input &in) {
    cpu_state &state = in.state.emulated;
    const unsigned n = bits(in.word, 9, 5), m = bits(in.word, 20, 16);
    const uint64_t place = draw_place(form.footprint(), in.random);
    const bool has_index = form.shape == "LSSZ" || form.shape == "QSSZ";
    if (has_index && m != 31) // mostly near, forward or backward
        state.x[m] = in.random.one_in(4) ? in.random.next() : in.random.below(512) - uint64_t{256};
    if (has_index && n == m && n != 31) {
        state.x[n] = place / (1 + form.memory);
        return;
    }
    set_register(state, n, 0);
    set_register(state, n, place - form.address(in.word, state, 0));
}

static void draw_gathered(const memory_form &form, const trial_input &in) {
    cpu_state &state = in.state.emulated;
    const bool is_scaled = form.shape.ends_with("SVZ");
    const unsigned scale = is_scaled ? form.memory : 1;
    const bool is_vector_base = form.shape == "VIZ";
    const unsigned z = is_vector_base ? bits(in.word, 9, 5) : bits(in.word, 20, 16);
    uint64_t base = bits(in.word, 20, 16) * form.memory;
    if (!is_vector_base) {
        // Within the reach of the offsets: of either sign, of none, or anywhere.
        const uint64_t reach = (uint64_t{1} << 31) * scale;
        base = draw_place(form.footprint(), in.random);
        if (in.random.one_in(2)) {
            const uint64_t distance = in.random.next() % reach;
            if (form.shape.front() == 'X')
                base += in.random.one_in(2) ? distance : -distance;
            else
                base -= 2 * distance;
        } else if (form.element == 8 && form.shape.front() != 'X' && form.shape.front() != 'Y') {
            base = in.random.next();
        }
        set_register(state, bits(in.word, 9, 5), base);
    }
    const bool is_all_accessible = in.random.one_in(2); // as far as the offsets reach
    for (unsigned e = 0; e < form.elements; e++) {
        if (!is_all_accessible && in.random.one_in(32))
            continue; // anywhere
        uint64_t place = draw_place(form.memory, in.random);
        while (is_all_accessible && !is_in_arena(place, form.memory))
            place = draw_place(form.memory, in.random);
        uint64_t offset = (place - base) / scale;
        if (form.shape.front() == 'X' || form.shape.front() == 'Y')
            offset = static_cast<uint32_t>(offset) | in.random.next() << 32;
        memcpy(state.z[z] + e * form.element, &offset, form.element);
    }
}

void draw_addresses(const trial_input &in) {
    const std::optional<memory_form> known = memory_form::of(in.row.row->name);
    if (!known)
        return;
    const memory_form &form = *known;
    if (form.is_contiguous)
        draw_contiguous(form, in);
    else
        draw_gathered(form, in);

    if (!form.has_predicate) {
        while (!form.is_accessible(in.word, in.state.emulated, 0) ||
               !form.is_accessible(in.word, in.state.emulated, form.elements - 1))
            draw_contiguous(form, in);
        return;
    }
    // Of a non-fault load none faults, of a first-fault load all but the first may.
    uint8_t *governing = in.state.p[bits(in.word, 12, 10)];
    if (form.kind == memory_form::kind::non_fault)
        return;
    for (unsigned e = 0; e < form.elements; e++) {
        if (!form.is_active(in.word, in.state, e))
            continue;
        if (!form.is_accessible(in.word, in.state.emulated, e))
            governing[e * form.element / 8] &= static_cast<uint8_t>(~(1u << e * form.element % 8));
        else if (form.kind == memory_form::kind::first_fault)
            break;
    }
}

// ---- Models ---------------------------------------------------------------------------------------

static void load_element(const memory_form &form, uint32_t word, machine_state &state,
                         const cpu_state &before, unsigned e) {
    const uint64_t offset = arena_offset(form.address(word, before, e));
    int64_t value = 0;
    memcpy(&value, arena_contents().data() + offset, form.memory);
    const unsigned unused = 64 - 8 * form.memory;
    if (form.is_signed)
        value = static_cast<int64_t>(static_cast<uint64_t>(value) << unused) >> unused;
    memcpy(state.emulated.z[bits(word, 4, 0)] + e * form.element, &value, form.element);
}

static void clear_element(const memory_form &form, uint32_t word, machine_state &state,
                          unsigned e) {
    memset(state.emulated.z[bits(word, 4, 0)] + e * form.element, 0, form.element);
}

static void clear_ffr(const memory_form &form, machine_state &state, unsigned first,
                      unsigned last) {
    for (unsigned bit = first * form.element; bit < last * form.element; bit++)
        state.ffr[bit / 8] &= static_cast<uint8_t>(~(1u << bit % 8));
}

// Elements from which on a direct first-fault load stops: those that don't fit before the page's end at the
// register's width, if the vector reaches a next page that can't be read; but behind the first active one.
static unsigned stopping_element(const memory_form &form, uint32_t word,
                                 const machine_state &before) {
    const uint64_t address = form.address(word, before.emulated, 0);
    const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    const uint64_t room = page - address % page;
    if (room > sve_vector_bytes || is_in_arena(address + page, 1))
        return form.elements;
    const auto limit = static_cast<unsigned>(room / form.element);
    for (unsigned e = 0; e < form.elements; e++)
        if (form.is_active(word, before, e))
            return std::max(limit, e + 1);
    return limit;
}

void load_speculatively(const char *handler, uint32_t word, machine_state &state) {
    const memory_form form = *memory_form::of(handler);
    const machine_state before = state;
    const auto can_load = [&](unsigned e) { return form.is_accessible(word, before.emulated, e); };
    if (form.kind == memory_form::kind::non_fault) {
        for (unsigned e = 0; e < form.elements; e++)
            if (!form.is_active(word, before, e))
                clear_element(form, word, state, e);
            else if (can_load(e))
                load_element(form, word, state, before.emulated, e);
            else
                clear_ffr(form, state, e, e + 1);
        return;
    }
    const bool is_direct = form.is_contiguous && !form.is_signed && form.memory != 2;
    unsigned stop = form.elements;
    if (is_direct)
        stop = stopping_element(form, word, before);
    else
        for (unsigned e = form.elements; e-- > 0;)
            if (form.is_active(word, before, e) && !can_load(e))
                stop = e;
    for (unsigned e = 0; e < form.elements; e++)
        if (e < stop && form.is_active(word, before, e))
            load_element(form, word, state, before.emulated, e);
        else if (e < stop || !is_direct)
            clear_element(form, word, state, e);
    clear_ffr(form, state, stop, form.elements);
}

void complete_load(const char *handler, uint32_t word, const machine_state &before,
                   machine_state &state) {
    const memory_form form = *memory_form::of(handler);
    machine_state complete = before;
    load_speculatively(handler, word, complete);
    const auto is_in_ffr = [&](unsigned e) {
        const unsigned bit = e * form.element;
        return (state.ffr[bit / 8] >> bit % 8 & 1) != 0;
    };
    unsigned stop = 0; // of the processor: behind the first active element at least
    while (stop < form.elements && is_in_ffr(stop))
        stop++;
    unsigned first = 0;
    while (first < form.elements && !form.is_active(word, before, first))
        first++;
    if (stop <= first && first < form.elements)
        return; // what is no progress is no result either
    uint8_t *z = state.emulated.z[bits(word, 4, 0)];
    const unsigned loaded = stop * form.element;
    memcpy(z + loaded, complete.emulated.z[bits(word, 4, 0)] + loaded, sve_vector_bytes - loaded);
    memcpy(state.ffr, complete.ffr, sizeof state.ffr);
}

} // namespace conformance
