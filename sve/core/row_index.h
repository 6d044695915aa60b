#pragma once

// Where the counts of icounts are, by instruction address: the map keeps the order, this finds a row
// in the same few instructions however many there are.

#include "sve/core/mapped_arena.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace sve {

// An open-addressed table from addresses to counters, at most half full. Neighbouring instructions
// have neighbouring slots. It only grows; its memory comes from `arena`. Not thread-safe.
class row_index {
public:
    explicit constexpr row_index(mapped_arena &arena) : arena_(&arena) {}

    // The counter of an address, or null if it has none.
    std::atomic<uint64_t> *find(const unsigned int *pc) const {
        const entry *slot = &slots_[first_slot(pc)];
        while (slot->pc != pc) {
            if (!slot->pc)
                return nullptr;
            slot = slot == &slots_[mask_] ? slots_ : slot + 1;
        }
        return slot->count;
    }

    // Adds an address that has none. Throws std::bad_alloc if the system has no more memory.
    void add(const unsigned int *pc, std::atomic<uint64_t> &count) {
        if (2 * (used_ + 1) > mask_ + 1)
            grow();
        put({pc, &count});
        used_++;
    }

private:
    struct entry {
        const unsigned int *pc; // null: a free slot
        std::atomic<uint64_t> *count;
    };

    size_t first_slot(const unsigned int *pc) const {
        return reinterpret_cast<uintptr_t>(pc) / sizeof *pc & mask_;
    }
    void put(const entry &added) {
        size_t i = first_slot(added.pc);
        while (slots_[i].pc)
            i = (i + 1) & mask_;
        slots_[i] = added;
    }
    void grow() {
        const row_index old = *this;
        const size_t capacity = std::max<size_t>(1024, 2 * (mask_ + 1));
        slots_ = static_cast<entry *>(arena_->allocate(capacity * sizeof(entry)));
        mask_ = capacity - 1;
        std::fill_n(slots_, capacity, entry{});
        for (size_t i = 0; i <= old.mask_; i++)
            if (old.slots_[i].pc)
                put(old.slots_[i]);
    }

    static inline constinit entry none{}; // the slots of an empty table
    entry *slots_ = &none;
    size_t mask_ = 0; // the number of slots, a power of two, less 1
    size_t used_ = 0;
    mapped_arena *arena_;
};

} // namespace sve
