#include "platform/src/rewrite.h"

#include "platform/src/counters.h"
#include "platform/src/events.h"
#include "platform/src/ir.h"
#include "platform/src/mappings.h"
#include "platform/src/memory.h"
#include "platform/src/message.h"
#include "platform/src/modules.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <cstring>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

namespace {

bool trap_every_time;

// Guards all below, the trampolines and the instruction lists. Taken with signals blocked only.
pthread_mutex_t patch_lock = PTHREAD_MUTEX_INITIALIZER;

// ---- Sites --------------------------------------------------------------------------------------

// A replaced instruction. Code may be written over and run again: what is known of its place then
// is good for the same word, and the memory of its trampoline for another.
struct site {
    uintptr_t address; // 0: a free entry
    a64::word_t word;  // the program's
    a64::word_t text;  // what has been put there: a branch, a trap, or the same word again
    bool near;         // its trampoline lies within a branch
    a64::word_t *code;
    size_t words; // room for so many there
    a64::word_t *entry;
};

// An open-addressed table of them. Pointers into it are good until the next call of `need`.
class site_table {
public:
    site *find(uintptr_t address) {
        site *entry = capacity_ ? &entry_of(address) : nullptr;
        return entry && entry->address ? entry : nullptr;
    }
    // The entry for an address, perhaps a new one. Null if there is no memory for it.
    site *need(uintptr_t address) {
        if (site *found = find(address))
            return found;
        if (2 * count_ >= capacity_ && !grow())
            return nullptr;
        count_++;
        site &entry = entry_of(address);
        entry.address = address;
        return &entry;
    }

private:
    site *entries_ = nullptr;
    size_t capacity_ = 0; // a power of two
    size_t count_ = 0;

    site &entry_of(uintptr_t address) const {
        size_t i = address / 4;
        while (entries_[i & (capacity_ - 1)].address != 0 &&
               entries_[i & (capacity_ - 1)].address != address)
            i++;
        return entries_[i & (capacity_ - 1)];
    }
    bool grow() {
        const site_table old = *this;
        const size_t capacity = capacity_ ? 2 * capacity_ : 1024;
        auto *entries = static_cast<site *>(map_memory(capacity * sizeof(site)));
        if (!entries)
            return false;
        entries_ = entries;
        capacity_ = capacity;
        for (size_t i = 0; i < old.capacity_; i++)
            if (old.entries_[i].address)
                entry_of(old.entries_[i].address) = old.entries_[i];
        unmap_memory(old.entries_, old.capacity_ * sizeof(site));
        return true;
    }
};
constinit site_table sites{};

// ---- Blocks ------------------------------------------------------------------------------------

// The word at a site may be changed by another thread at any time, as one aligned store.
a64::word_t read_word(uintptr_t pc) {
    return __atomic_load_n(reinterpret_cast<const a64::word_t *>(pc), __ATOMIC_ACQUIRE);
}

// What the program has there.
a64::word_t application_word(uintptr_t pc) {
    const a64::word_t word = read_word(pc);
    const site *at = sites.find(pc);
    return at && at->text == word ? at->word : word;
}

// Whether the processor traps on a word that clients replace. It runs all others.
bool traps_by_itself(a64::word_t word) {
    return a64::is_in_sve_space(word);
}

// Whether a block can't go on with the instruction at `pc`, which is `word`: it has been in another
// one, or is none. A native instruction may be in any number of blocks.
bool ends_before(uintptr_t pc, a64::word_t word) {
    const bool is_diverted =
        a64::is_b(word) && in_trampolines(pc + static_cast<uintptr_t>(a64::b_distance(word)));
    return a64::is_undefined(word) || is_diverted ||
           (traps_by_itself(word) && word != read_word(pc));
}

// The block from `pc` on: to the first branch or exception-generating instruction, which belongs to
// it, or up to an undefined word, a trapping site already rewritten, or the end of the mapping.
instrlist_t make_block(uintptr_t pc, uintptr_t mapping_end) {
    instrlist_t list = start_list(reinterpret_cast<app_pc>(pc));
    for (unsigned i = 0; i < max_block_instructions && pc + 4 <= mapping_end; i++, pc += 4) {
        const a64::word_t word = application_word(pc);
        if (ends_before(pc, word))
            break;
        append_application_instruction(&list, reinterpret_cast<app_pc>(pc), word);
        if (a64::ends_block(word))
            break;
    }
    return list;
}

// ---- Patching ----------------------------------------------------------------------------------

// Write permission for the pages of [first, last], without losing execute. At the end of the scope
// they get their former protection.
class writable_text {
public:
    writable_text(uintptr_t first, uintptr_t last, int protection) : protection_(protection) {
        const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
        start_ = first & ~(page - 1);
        size_ = (last | (page - 1)) + 1 - start_;
        writable_ = (protection & PROT_WRITE) || protect(protection | PROT_WRITE);
    }
    ~writable_text() {
        if (writable_ && !(protection_ & PROT_WRITE))
            protect(protection_);
    }
    writable_text(const writable_text &) = delete;
    writable_text &operator=(const writable_text &) = delete;
    explicit operator bool() const { return writable_; }

private:
    bool protect(int protection) const {
        return mprotect(reinterpret_cast<void *>(start_), size_, protection) == 0;
    }
    uintptr_t start_;
    size_t size_;
    int protection_;
    bool writable_;
};

void write_word(uintptr_t pc, a64::word_t word) {
    __atomic_store_n(reinterpret_cast<a64::word_t *>(pc), word, __ATOMIC_RELEASE);
    __builtin___clear_cache(reinterpret_cast<char *>(pc), reinterpret_cast<char *>(pc + 4));
}

// Writes the trampoline of a site from the instructions [first, last) that stand for it. False if
// there is no memory for it.
bool write_trampoline(site &at, const instr_t *first, const instr_t *last) {
    const bool is_literal_load = first->copy && a64::is_vector_literal_load(first->word);
    constexpr size_t longest_end = 3; // trap_to_application, address
    size_t words = longest_end + (is_literal_load ? 5 : first->copy ? 1 : 0);
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        words++;
    if (words > at.words) {
        const trampoline_place place = take_trampoline(at.address, words);
        if (!place.code)
            return false;
        at.code = place.code;
        at.near = place.near;
        at.words = words;
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
    return true;
}

// What stands in the text at a site from now on.
a64::word_t choose_text(const site &at, bool is_writable) {
    const bool traps = traps_by_itself(at.word);
    if (!is_writable || (traps && (trap_every_time || !at.near)))
        return at.word;
    return at.near
               ? a64::b(static_cast<int64_t>(reinterpret_cast<uintptr_t>(at.entry) - at.address))
               : trap_to_trampoline;
}

// An instruction that doesn't trap could not be replaced. Others won't be, either.
bool native_is_kept;

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
    const a64::word_t word = application_word(pc);
    site *at = sites.need(pc);
    if (!at || (at->word != word && !write_trampoline(*at, first, last)))
        refuse(125, "no memory for the code of the instruction at %p",
               static_cast<void *>(first->pc));
    at->word = word;
    at->text = choose_text(*at, is_writable);
    if (at->text != read_word(pc)) {
        write_word(pc, at->text);
        count(traps_by_itself(word) ? counters.sites_rewritten : counters.natives_rewritten);
    } else if (at->text == word && !traps_by_itself(word)) {
        say_native_is_kept(pc);
    }
}

// Writes out what the clients made of a block, from `first` on.
void write_sites(const instr_t *first, bool is_writable) {
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

void write_block(const instrlist_t &list, int protection) {
    const instr_t *first = list.first;
    while (first && first->application)
        first = first->next;
    if (!first)
        return;
    const writable_text text(reinterpret_cast<uintptr_t>(first->pc),
                             reinterpret_cast<uintptr_t>(list.last->pc), protection);
    write_sites(first, bool(text));
}

// The mapping that an address lies in; an empty one if there is none.
mapping mapping_of(uintptr_t pc) {
    mapping found = {};
    for_each_mapping([&](const mapping &m) {
        if (m.contains(pc))
            found = m;
        return !m.contains(pc);
    });
    return found;
}

// The protection of the mapping that the instruction lies in, PROT_BTI included: the process's map
// doesn't show that.
int protection_of(const mapping &text, uintptr_t pc) {
#ifndef PROT_BTI
    constexpr int PROT_BTI = 0x10;
#endif
    return text.protection | (is_guarded(pc) ? PROT_BTI : 0);
}

// ---- Blocks that clients ask for ----------------------------------------------------------------

// Around the block that is being handled.
mapping handled_mapping;

// By dr_translate_also, in the event of that block.
struct {
    const app_pc *pcs;
    size_t count;
} asked_for;

// Hands over the instructions [first, last), which lie in one mapping.
void translate_run(const app_pc *first, const app_pc *last, const mapping &around) {
    const auto start = reinterpret_cast<uintptr_t>(*first);
    const writable_text text(start, reinterpret_cast<uintptr_t>(last[-1]),
                             protection_of(around, start));
    for (; first != last; first++) {
        const auto pc = reinterpret_cast<uintptr_t>(*first);
        const a64::word_t word = application_word(pc);
        if (word != read_word(pc)) // it has been replaced already
            continue;
        instrlist_t list = start_list(*first, true);
        append_application_instruction(&list, *first, word);
        raise_block(&dr_thread_area, &list);
        write_sites(list.first, bool(text));
    }
}

void translate_what_is_asked_for() {
    const app_pc *const end = asked_for.pcs + asked_for.count;
    for (const app_pc *last, *first = asked_for.pcs; first != end; first = last) {
        const auto start = reinterpret_cast<uintptr_t>(*first);
        const mapping around =
            handled_mapping.contains(start) ? handled_mapping : mapping_of(start);
        last = first + 1;
        while (last != end && around.contains(reinterpret_cast<uintptr_t>(*last)))
            last++;
        if (around.protection & PROT_READ)
            translate_run(first, last, around);
    }
    asked_for = {};
}

} // namespace

void lock_patching() {
    pthread_mutex_lock(&patch_lock);
}
void unlock_patching() {
    pthread_mutex_unlock(&patch_lock);
}

void set_trap_every_time() {
    trap_every_time = true;
}

uintptr_t handle_trapped_instruction(uintptr_t pc) {
    pthread_mutex_lock(&patch_lock);
    const auto stand_in = [pc]() -> uintptr_t {
        const site *at = sites.find(pc); // another thread may just have written it
        return at && at->text == read_word(pc) ? reinterpret_cast<uintptr_t>(at->entry) : 0;
    };
    uintptr_t go_on = stand_in();
    if (!go_on) {
        handled_mapping = mapping_of(pc);
        remember_lookups(true);
        instrlist_t list = make_block(pc, handled_mapping.end);
        raise_block(&dr_thread_area, &list);
        write_block(list, protection_of(handled_mapping, pc));
        translate_what_is_asked_for();
        remember_lookups(false);
        go_on = stand_in();
    }
    pthread_mutex_unlock(&patch_lock);
    return go_on;
}

bool exchange_text(uintptr_t pc, a64::word_t word, a64::word_t &former) {
    const writable_text text(pc, pc, protection_of(mapping_of(pc), pc));
    if (!text)
        return false;
    former = read_word(pc);
    write_word(pc, word);
    return true;
}

} // namespace platform

// ---- What clients see --------------------------------------------------------------------------

using namespace platform;

bool dr_translate_also(const app_pc *pcs, size_t count) {
    if (asked_for.count)
        refuse(125, "a client asks twice in one event for further blocks");
    asked_for = {pcs, count};
    return true;
}

bool dr_is_translated(const byte *pc) {
    const auto address = reinterpret_cast<uintptr_t>(pc);
    return native_is_kept || read_word(address) != application_word(address);
}

bool dr_query_memory(const byte *pc, byte **base_pc, size_t *size, uint *) {
    const auto address = reinterpret_cast<uintptr_t>(pc);
    const mapping around =
        handled_mapping.contains(address) ? handled_mapping : mapping_of(address);
    if (!around.contains(address))
        return false;
    if (base_pc)
        *base_pc = reinterpret_cast<byte *>(around.start);
    if (size)
        *size = around.end - around.start;
    return true;
}

uint dr_application_word(const byte *pc) {
    return application_word(reinterpret_cast<uintptr_t>(pc));
}
