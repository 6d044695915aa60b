#include "platform/src/rewrite.h"

#include "platform/src/counters.h"
#include "platform/src/events.h"
#include "platform/src/ir.h"
#include "platform/src/mappings.h"
#include "platform/src/memory.h"
#include "platform/src/message.h"
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

// ---- Sites that keep their word ----------------------------------------------------------------

// An open-addressed table from the address of such a site to its trampoline. Few programs have any,
// so it is made when the first one comes.
class site_table {
public:
    a64::word_t *find(uintptr_t site, a64::word_t word) const {
        return capacity_ && slot(site).word == word ? slot(site).code : nullptr;
    }
    // False if there is no memory for it.
    bool add(uintptr_t site, a64::word_t word, a64::word_t *code) {
        if (2 * count_ >= capacity_ && !grow())
            return false;
        entry &free_slot = slot(site);
        count_ += free_slot.site == 0;
        free_slot = {site, word, code};
        return true;
    }

private:
    struct entry {
        uintptr_t site; // 0: a free slot
        a64::word_t word;
        a64::word_t *code;
    };
    entry *entries_ = nullptr;
    size_t capacity_ = 0; // a power of two
    size_t count_ = 0;

    entry &slot(uintptr_t site) const {
        size_t i = site / 4;
        while (entries_[i & (capacity_ - 1)].site != 0 &&
               entries_[i & (capacity_ - 1)].site != site)
            i++;
        return entries_[i & (capacity_ - 1)];
    }
    bool grow() {
        const site_table old = *this;
        const size_t capacity = capacity_ ? 2 * capacity_ : 1024;
        auto *entries = static_cast<entry *>(map_memory(capacity * sizeof(entry)));
        if (!entries)
            return false;
        entries_ = entries;
        capacity_ = capacity;
        for (size_t i = 0; i < old.capacity_; i++)
            if (old.entries_[i].site)
                slot(old.entries_[i].site) = old.entries_[i];
        unmap_memory(old.entries_, old.capacity_ * sizeof(entry));
        return true;
    }
};
constinit site_table unpatched_sites{};

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

// Writes the trampoline of one site from the instructions [first, last) that stand for it. Returns
// where it is, with `near` telling whether the site can branch to it; code is null without memory.
trampoline_place write_trampoline(uintptr_t site, const instr_t *first, const instr_t *last) {
    constexpr size_t longest_end = 4; // alignment, trap_to_application, address
    size_t words = longest_end;
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        words++;
    const trampoline_place place = take_trampoline(site, words);
    if (!place.code)
        return place;

    a64::word_t *out = place.code;
    for (const instr_t *instr = first; instr != last; instr = instr->next)
        *out++ = instr->word;
    const uintptr_t next = site + 4;
    if (place.near) {
        *out = a64::b(static_cast<int64_t>(next - reinterpret_cast<uintptr_t>(out)));
        out++;
    } else {
        *out++ = trap_to_application;
        std::memcpy(out, &next, sizeof next);
        out += sizeof next / sizeof *out;
    }
    __builtin___clear_cache(reinterpret_cast<char *>(place.code), reinterpret_cast<char *>(out));
    return place;
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

        const uintptr_t site = reinterpret_cast<uintptr_t>(first->pc);
        const trampoline_place place = write_trampoline(site, first, last);
        if (!place.code)
            refuse(125, "no memory for the code of the instruction at %p",
                   static_cast<void *>(first->pc));
        if (place.near && text && !trap_every_time) {
            write_word(
                site, a64::b(static_cast<int64_t>(reinterpret_cast<uintptr_t>(place.code) - site)));
            count(counters.sites_rewritten);
        } else if (!unpatched_sites.add(site, read_word(site), place.code))
            refuse(125, "no memory to remember the instruction at %p",
                   static_cast<void *>(first->pc));
        first = last;
    }
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
    uintptr_t go_on = 0;
    const a64::word_t word = read_word(pc);
    if (is_rewritten(pc, word)) {
        go_on = pc; // another thread was first
    } else if (a64::word_t *code = unpatched_sites.find(pc, word)) {
        go_on = reinterpret_cast<uintptr_t>(code);
    } else {
        mapping around = {};
        for_each_mapping([&](const mapping &m) {
            around = m;
            return !m.contains(pc);
        });
        instrlist_t list = make_block(pc, around.end);
        raise_block(&dr_thread_area, &list);
        write_block(list, around.protection);
        if (is_rewritten(pc, read_word(pc)))
            go_on = pc;
        else
            go_on = reinterpret_cast<uintptr_t>(unpatched_sites.find(pc, word));
    }
    pthread_mutex_unlock(&patch_lock);
    return go_on;
}

} // namespace platform
