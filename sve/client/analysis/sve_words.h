#pragma once

// From an SVE word to the Z registers that it reads and writes, in a few instructions: the decoder's maps are
// made for one look-up a word, not for whole programs.

#include "sve/core/handler_row.h"

#include <cstdint>
#include <vector>

namespace sve::analysis {

class sve_words {
public:
    // Of the rows of all families.
    sve_words();

    // What the word's form does to Z registers; null for a word that is_sve doesn't know.
    const vector_use *find(uint32_t word) const {
        const unsigned slot = slot_of(word);
        for (unsigned i = first_[slot]; i < first_[slot + 1]; i++)
            if ((word & entries_[i].mask) == entries_[i].value)
                return entries_[i].use;
        return nullptr;
    }

private:
    struct entry {
        uint32_t mask, value;
        const vector_use *use;
    };
    // Words are told apart by these fields first.
    using fields = joined_fields<31, 29, 24, 21, 15, 10>;
    static unsigned slot_of(uint32_t word) { return fields::read(word); }

    std::vector<uint32_t> first_; // of each slot, and of none behind the last
    std::vector<entry> entries_;  // by slot
};

} // namespace sve::analysis
