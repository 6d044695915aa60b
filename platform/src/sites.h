#pragma once

// What is known of the instructions that the processor doesn't know, or that have been replaced, by
// their addresses.

#include "platform/src/a64.h"
#include "platform/src/memory.h"
#include "platform/src/trampolines.h"

#include <cstddef>
#include <cstdint>

namespace platform {

// Code may be written over and run again: what is known of its place then is good for the same word,
// and the memory of its trampoline for another.
struct site {
    uintptr_t address; // 0: a free entry
    a64::word_t word;  // the program's
    a64::word_t text;  // what has been put there: a branch, a trap, or the same word again

    // Its trampoline.
    trampoline *way;
    uint32_t room;   // bytes
    bool near;       // it lies within a branch
    bool is_written; // for `word` alone

    // Where it is left to traps: until it is due, or for good.
    bool stays;       // it can't be replaced
    uint8_t traps;    // that came from it, as far as they matter
    uint32_t mapping; // the code_mapping's number when it was met
    void *data;       // the client's; null: it isn't left to traps
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

// All of them. Under the patch lock.
extern site_table sites;

// What the program has at an address, where `text` stands now.
a64::word_t application_word(uintptr_t pc, a64::word_t text);
a64::word_t application_word(uintptr_t pc);

// Whether the processor traps on a word that clients replace. It runs all others.
constexpr bool traps_by_itself(a64::word_t word) {
    return a64::is_in_sve_space(word);
}

} // namespace platform
