#include "platform/src/rewrite.h"

#include "platform/src/counters.h"
#include "platform/src/message.h"
#include "platform/src/sites.h"
#include "platform/src/text.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <algorithm>
#include <cstring>

namespace platform {

constinit site_table sites{};

a64::word_t application_word(uintptr_t pc, a64::word_t text) {
    const bool is_replaced = a64::is_b(text) || text == trap_to_trampoline;
    const site *at = is_replaced ? sites.find(pc) : nullptr;
    return at && at->text == text ? at->word : text;
}

a64::word_t application_word(uintptr_t pc) {
    return application_word(pc, read_word(pc));
}

namespace {

// An instruction that doesn't trap could not be replaced. Others won't be, either.
bool native_is_kept;

// Room for the trampoline of a site: what it has, or another one. False if there is no memory for it, near where that is
// asked for.
bool need_room(site &at, size_t bytes, bool only_near) {
    if (bytes <= at.room && (at.near || !only_near))
        return true;
    const trampoline_place place = take_trampoline(at.address, bytes, only_near);
    if (!place.start || (only_near && !place.near))
        return false;
    at.way = place.start;
    at.near = place.near;
    at.room = static_cast<uint32_t>(bytes);
    return true;
}

void flush(trampoline &written) {
    auto *code = reinterpret_cast<char *>(written.code());
    __builtin___clear_cache(code, code + sizeof(a64::word_t) * written.words);
}

a64::word_t branch_to(uintptr_t target, const a64::word_t *from) {
    return a64::b(static_cast<int64_t>(target - reinterpret_cast<uintptr_t>(from)));
}

// Writes the trampoline of a site, which holds `word`, from the instructions [first, last) that stand for it. False if
// there is no memory for it: of one that traps, within a branch.
bool write_trampoline(site &at, a64::word_t word, const instr_t *first, const instr_t *last) {
    const bool is_literal_load = first->copy && a64::is_vector_literal_load(first->word);
    constexpr size_t longest_end = 3; // trap_to_application, address
    size_t words = longest_end + (is_literal_load ? 5 : 0);
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        words++;
    if (!need_room(at, trampoline::bytes_for(words, 0), traps_by_itself(word)))
        return false;

    a64::word_t *const code = at.way->code(), *out = code;
    const auto put_address = [&out](uintptr_t address) {
        std::memcpy(out, &address, sizeof address);
        out += sizeof address / sizeof *out;
    };
    // The load of an address that is put behind the code.
    a64::word_t *address_load = nullptr;
    constexpr unsigned address_reg = 0;
    if (is_literal_load) {
        *out++ = a64::push(address_reg);
        address_load = out++;
        *out++ = a64::load_vector(a64::literal_bytes(first->word), first->word & 0x1f, address_reg);
        *out++ = a64::pop(address_reg);
    } else if (first->copy) {
        *out++ = first->word;
    }
    for (const instr_t *instr = first->copy ? first->next : first; instr != last;
         instr = instr->next) {
        if (instr->copy)
            refuse(125, "a client inserts the copy of the instruction at %p behind other code",
                   static_cast<void *>(instr->pc));
        *out++ = instr->word;
    }
    const uintptr_t next = at.address + 4;
    const auto exit = static_cast<uint16_t>(out - code);
    if (at.near) {
        *out = branch_to(next, out);
        out++;
    } else {
        *out++ = trap_to_application;
        put_address(next);
    }
    if (address_load) {
        *address_load = a64::ldr_literal(address_reg, 4 * static_cast<int>(out - address_load));
        put_address(at.address + static_cast<uintptr_t>(a64::literal_distance(first->word)));
    }
    *at.way = {at.address, static_cast<uint16_t>(out - code), exit, 0};
    flush(*at.way);
    at.word = word;
    at.is_written = true;
    return true;
}

// ---- Runs ---------------------------------------------------------------------------------------

void check_run(const instr_t *first, uint count, const dr_run_code_t &code) {
    bool is_right = count && code.exit < code.word_count;
    for (uint i = 0; i < code.fault_count; i++) {
        const dr_fault_range_t &range = code.faults[i];
        is_right &= range.first < range.last && range.last <= code.word_count &&
                    range.resume < code.word_count;
    }
    const instr_t *instr = first;
    for (uint i = 0; i < count && is_right; i++, instr = instr->next) {
        const site *at = instr && instr->application
                             ? sites.find(reinterpret_cast<uintptr_t>(instr->pc))
                             : nullptr;
        is_right = at && at->data && at->word == instr->word && instr->pc == first->pc + 4 * i;
    }
    if (!is_right)
        refuse(125, "a client replaces a run of instructions at %p that is none",
               static_cast<void *>(first->pc));
}

// Whether a site's trampoline is that of a run, with this code.
bool has_code(const site &at, const dr_run_code_t &code, a64::word_t way_back) {
    if (!at.way || at.is_written || at.way->words != code.word_count || at.way->exit != code.exit ||
        at.way->fault_count != code.fault_count)
        return false;
    const a64::word_t *now = at.way->code();
    const size_t behind = code.exit + 1;
    return now[code.exit] == way_back &&
           std::memcmp(now, code.words, code.exit * sizeof *now) == 0 &&
           std::memcmp(now + behind, code.words + behind,
                       (code.word_count - behind) * sizeof *now) == 0 &&
           std::memcmp(at.way->faults(), code.faults, code.fault_count * sizeof *code.faults) == 0;
}

// Writes the trampoline of a run, which ends before `next`. False if there is no room for it.
bool write_run(site &at, uintptr_t next, const dr_run_code_t &code) {
    const size_t bytes = trampoline::bytes_for(code.word_count, code.fault_count);
    if (bytes > trampoline::longest || !need_room(at, bytes, true))
        return false;
    const a64::word_t way_back = branch_to(next, at.way->code() + code.exit);
    if (has_code(at, code, way_back))
        return true;
    at.is_written = false;
    *at.way = {at.address, static_cast<uint16_t>(code.word_count), static_cast<uint16_t>(code.exit),
               static_cast<uint16_t>(code.fault_count)};
    std::memcpy(at.way->code(), code.words, code.word_count * sizeof *code.words);
    at.way->code()[code.exit] = way_back;
    std::copy_n(code.faults, code.fault_count, at.way->faults());
    flush(*at.way);
    return true;
}

// ---- Sites --------------------------------------------------------------------------------------

// What stands in the text at a site from now on.
a64::word_t choose_text(const site &at, bool is_writable) {
    if (!is_writable)
        return at.word;
    const auto *text = reinterpret_cast<const a64::word_t *>(at.address);
    return at.near ? branch_to(reinterpret_cast<uintptr_t>(at.way->code()), text)
                   : trap_to_trampoline;
}

void say_native_is_kept(uintptr_t pc) {
    if (!native_is_kept)
        say("the text at %p can't be written: results may differ where native instructions write "
            "vector registers",
            reinterpret_cast<void *>(pc));
    native_is_kept = true;
}

// Puts the way to its trampoline in the place of an instruction.
void put_in_place(site &at, a64::word_t word, bool is_writable) {
    const bool is_in_place = at.text != word && at.text == read_word(at.address);
    if (is_in_place)
        return;
    at.text = choose_text(at, is_writable);
    if (at.text == word)
        say_native_is_kept(at.address);
    else if (exchange_word(at.address, word, at.text))
        count(traps_by_itself(word) ? counters.sites_rewritten : counters.natives_rewritten);
    else if (read_word(at.address) == word) // it can't be written after all
        at.stays = true;
}

// Puts the instructions [first, last) in the place of the one that they stand for: the trampoline
// first, then the site.
void write_site(const instr_t *first, const instr_t *last, bool is_writable) {
    const uintptr_t pc = reinterpret_cast<uintptr_t>(first->pc);
    const a64::word_t word = first->stands_for;
    const bool traps = traps_by_itself(word);
    site *at = sites.need(pc);
    if (at && traps && !at->data)
        refuse(125, "a client replaces the instruction at %p, which it has not left to traps",
               static_cast<void *>(first->pc));
    const bool has_trampoline =
        at && ((at->is_written && at->word == word) || write_trampoline(*at, word, first, last));
    if (traps && !(has_trampoline && is_writable)) {
        at->stays = true;
        return;
    }
    if (!has_trampoline)
        refuse(125, "no memory for the code of the instruction at %p",
               static_cast<void *>(first->pc));
    put_in_place(*at, word, is_writable);
}

// The same for a run, whose trampoline is there.
void write_first_site(const instr_t &first, bool is_writable) {
    site &at = *sites.find(reinterpret_cast<uintptr_t>(first.pc));
    if (is_writable)
        put_in_place(at, first.word, true);
    else
        at.stays = true;
}

} // namespace

void write_sites(const instrlist_t &list, bool is_writable) {
    const instr_t *first = list.first;
    while (first) {
        if (first->application) {
            if (first->begins_run)
                write_first_site(*first, is_writable);
            first = first->next;
            continue;
        }
        const instr_t *last = first;
        while (last && !last->application && last->pc == first->pc)
            last = last->next;
        if (last && last->application && last->pc == first->pc)
            refuse(125, "a client inserts code before an instruction that it keeps, at %p",
                   static_cast<void *>(first->pc));

        write_site(first, last, is_writable);
        first = last;
    }
}

bool natives_are_kept() {
    return native_is_kept;
}

} // namespace platform

// ---- What clients see --------------------------------------------------------------------------

using namespace platform;

bool dr_replace_run(void *, instrlist_t *, instr_t *first, uint count, const dr_run_code_t *code) {
    check_run(first, count, *code);
    const auto pc = reinterpret_cast<uintptr_t>(first->pc);
    site &at = *sites.find(pc);
    first->begins_run = write_run(at, pc + 4 * uintptr_t{count}, *code);
    at.stays = !first->begins_run;
    // Nobody has jumped to the others, as far as they matter.
    for (uint i = 1; i < count && first->begins_run; i++)
        sites.find(pc + 4 * uintptr_t{i})->traps = 0;
    return first->begins_run;
}

byte *dr_write_shared_code(void (*fill)(void *, instrlist_t *, instr_t *), int tls_index,
                           size_t return_offset) {
    list_with_end code = start_second_list();
    fill(&dr_thread_area, &code.list, code.end);
    trampoline::return_place keeps = {static_cast<uint32_t>(tls_index),
                                      static_cast<uint32_t>(return_offset), 0, 0};
    uint32_t words = 0;
    for (const instr_t *instr = code.list.first; instr != code.end; instr = instr->next) {
        words++;
        if (instr == code.list.return_saved)
            keeps.first = words;
        if (instr == code.list.return_loaded)
            keeps.last = words;
    }
    if (!keeps.first || keeps.last <= keeps.first)
        refuse(125, "a client's shared code doesn't tell where it keeps its return address");
    const trampoline_place place =
        take_trampoline(0, trampoline::bytes_for(words, 0) + sizeof keeps);
    if (!place.start)
        refuse(125, "no memory for a client's shared code");
    trampoline &written = *place.start;
    written.words = static_cast<uint16_t>(words);
    a64::word_t *out = written.code();
    for (const instr_t *instr = code.list.first; instr != code.end; instr = instr->next)
        *out++ = instr->word;
    std::memcpy(out, &keeps, sizeof keeps);
    flush(written);
    return reinterpret_cast<byte *>(written.code());
}
