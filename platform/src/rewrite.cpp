#include "platform/src/rewrite.h"

#include "platform/src/counters.h"
#include "platform/src/message.h"
#include "platform/src/sites.h"
#include "platform/src/text.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

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

// Writes the trampoline of a site, which holds `word`, from the instructions [first, last) that stand for it. False if
// there is no memory for it: of one that traps, within a branch.
bool write_trampoline(site &at, a64::word_t word, const instr_t *first, const instr_t *last) {
    const bool is_literal_load = first->copy && a64::is_vector_literal_load(first->word);
    constexpr size_t longest_end = 3; // trap_to_application, address
    size_t words = longest_end + (is_literal_load ? 5 : first->copy ? 1 : 0);
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        words++;
    const bool only_near = traps_by_itself(word);
    if (words > at.words || (only_near && !at.near)) {
        const trampoline_place place = take_trampoline(at.address, words, only_near);
        if (!place.code || (only_near && !place.near))
            return false;
        at.code = place.code;
        at.near = place.near;
        at.words = static_cast<uint32_t>(words);
    }

    a64::word_t *out = at.entry = at.code;
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
        *out++ = application_instruction_follows;
        at.entry = out;
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
    if (at.near) {
        *out = a64::b(static_cast<int64_t>(next - reinterpret_cast<uintptr_t>(out)));
        out++;
    } else {
        *out++ = trap_to_application;
        put_address(next);
    }
    if (address_load) {
        *address_load = a64::ldr_literal(address_reg, 4 * static_cast<int>(out - address_load));
        put_address(at.address + static_cast<uintptr_t>(a64::literal_distance(first->word)));
    }
    __builtin___clear_cache(reinterpret_cast<char *>(at.code), reinterpret_cast<char *>(out));
    at.word = word;
    at.is_written = true;
    return true;
}

// What stands in the text at a site from now on.
a64::word_t choose_text(const site &at, bool is_writable) {
    if (!is_writable)
        return at.word;
    return at.near
               ? a64::b(static_cast<int64_t>(reinterpret_cast<uintptr_t>(at.entry) - at.address))
               : trap_to_trampoline;
}

void say_native_is_kept(uintptr_t pc) {
    if (!native_is_kept)
        say("the text at %p can't be written: results may differ where native instructions write "
            "vector registers",
            reinterpret_cast<void *>(pc));
    native_is_kept = true;
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
    const bool is_in_place = at->text != word && at->text == read_word(pc);
    if (is_in_place)
        return;
    at->text = choose_text(*at, is_writable);
    if (at->text == word)
        say_native_is_kept(pc);
    else if (exchange_word(pc, word, at->text))
        count(traps ? counters.sites_rewritten : counters.natives_rewritten);
    else if (read_word(pc) == word) // it can't be written after all
        at->stays = true;
}

} // namespace

void write_sites(const instrlist_t &list, bool is_writable) {
    const instr_t *first = list.first;
    while (first) {
        if (first->application) {
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
