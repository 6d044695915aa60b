#pragma once

// The program's text, word by word. It may be written, and unmapped, by other threads at any time: nothing
// here faults.

#include "platform/src/a64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ucontext.h>

namespace platform {

// The words from an address on. False if they can't be read.
bool read_words(uintptr_t pc, a64::word_t *words, size_t count);

// The word at an address. An undefined one where none can be read.
a64::word_t read_word(uintptr_t pc);

// The first address in [from, end) for which is_it(address, word) holds; `end` if there is none, or if words can't be
// read.
template <class F>
uintptr_t find_word(uintptr_t from, uintptr_t end, F &&is_it) {
    a64::word_t words[32];
    while (from < end) {
        const size_t count = std::min(std::size(words), (end - from) / 4);
        if (!read_words(from, words, count))
            break;
        for (size_t i = 0; i < count; i++, from += 4)
            if (is_it(from, words[i]))
                return from;
    }
    return end;
}

// Puts a word in the place of another one, as one aligned store that every thread sees when it next comes there. False if
// that isn't there any more, or if nothing can be written.
bool exchange_word(uintptr_t pc, a64::word_t former, a64::word_t word);

// Goes on behind an access of these functions that has faulted. False if the fault is none of theirs.
bool resume_text_access(mcontext_t &machine);

// Write permission for the pages of [first, last], without losing execute. At the end of the scope
// they get their former protection.
class writable_text {
public:
    writable_text(uintptr_t first, uintptr_t last, int protection);
    ~writable_text();
    writable_text(const writable_text &) = delete;
    writable_text &operator=(const writable_text &) = delete;
    explicit operator bool() const { return writable_; }

private:
    bool protect(int protection) const;
    uintptr_t start_;
    size_t size_;
    int protection_;
    bool writable_;
};

// Bytes of a page of the system's.
uintptr_t page_bytes();

} // namespace platform
