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
    a64::word_t word;
    bool rewritten; // else it keeps its word, and traps each time
    bool near;      // its trampoline lies within a branch
    a64::word_t *code;
    size_t words; // room for so many there
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

bool is_rewritten(uintptr_t pc, a64::word_t word) {
    return a64::is_b(word) && in_trampolines(pc + static_cast<uintptr_t>(a64::b_distance(word)));
}

// The block from `pc` on: to the first branch or exception-generating instruction, which belongs to
// it, or up to an undefined word, a site already rewritten, or the end of the mapping.
instrlist_t make_block(uintptr_t pc, uintptr_t mapping_end) {
    instrlist_t list = start_list(reinterpret_cast<app_pc>(pc));
    for (unsigned i = 0; i < max_block_instructions && pc + 4 <= mapping_end; i++, pc += 4) {
        const a64::word_t word = read_word(pc);
        if (a64::is_undefined(word) || is_rewritten(pc, word))
            break;
        append_application_instruction(&list, reinterpret_cast<app_pc>(pc));
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
    constexpr size_t longest_end = 4; // alignment, trap_to_application, address
    size_t words = longest_end;
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

    a64::word_t *out = at.code;
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        *out++ = instr->word;
    const uintptr_t next = at.address + 4;
    if (at.near) {
        *out = a64::b(static_cast<int64_t>(next - reinterpret_cast<uintptr_t>(out)));
        out++;
    } else {
        *out++ = trap_to_application;
        std::memcpy(out, &next, sizeof next);
        out += sizeof next / sizeof *out;
    }
    __builtin___clear_cache(reinterpret_cast<char *>(at.code), reinterpret_cast<char *>(out));
    return true;
}

// Writes out what the clients made of a block: trampolines first, then the sites.
void write_block(const instrlist_t &list, int protection) {
    const instr_t *first = list.first;
    while (first && first->application)
        first = first->next;
    if (!first)
        return;
    const writable_text text(reinterpret_cast<uintptr_t>(first->pc),
                             reinterpret_cast<uintptr_t>(list.last->pc), protection);
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

        const uintptr_t pc = reinterpret_cast<uintptr_t>(first->pc);
        const a64::word_t word = read_word(pc);
        site *at = sites.need(pc);
        if (!at || (at->word != word && !write_trampoline(*at, first, last)))
            refuse(125, "no memory for the code of the instruction at %p",
                   static_cast<void *>(first->pc));
        at->word = word;
        at->rewritten = at->near && text && !trap_every_time;
        if (at->rewritten) {
            write_word(pc,
                       a64::b(static_cast<int64_t>(reinterpret_cast<uintptr_t>(at->code) - pc)));
            count(counters.sites_rewritten);
        }
        first = last;
    }
}

// The protection of the mapping that the instruction lies in, PROT_BTI included: the process's map
// doesn't show that.
int protection_of(const mapping &text, uintptr_t pc) {
#ifndef PROT_BTI
    constexpr int PROT_BTI = 0x10;
#endif
    return text.protection | (is_guarded(pc) ? PROT_BTI : 0);
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
        const a64::word_t word = read_word(pc);
        if (is_rewritten(pc, word)) // by another thread, perhaps
            return pc + static_cast<uintptr_t>(a64::b_distance(word));
        const site *at = sites.find(pc);
        return at && at->word == word && !at->rewritten ? reinterpret_cast<uintptr_t>(at->code) : 0;
    };
    uintptr_t go_on = stand_in();
    if (!go_on) {
        mapping around = {};
        for_each_mapping([&](const mapping &m) {
            around = m;
            return !m.contains(pc);
        });
        instrlist_t list = make_block(pc, around.end);
        raise_block(&dr_thread_area, &list);
        write_block(list, protection_of(around, pc));
        go_on = stand_in();
    }
    pthread_mutex_unlock(&patch_lock);
    return go_on;
}

bool exchange_text(uintptr_t pc, a64::word_t word, a64::word_t &former) {
    mapping around = {};
    for_each_mapping([&](const mapping &m) {
        around = m;
        return !m.contains(pc);
    });
    const writable_text text(pc, pc, protection_of(around, pc));
    if (!text)
        return false;
    former = read_word(pc);
    write_word(pc, word);
    return true;
}

} // namespace platform
