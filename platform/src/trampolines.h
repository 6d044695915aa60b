#pragma once

// Memory for the code that stands in for replaced instructions: a site's trampoline has to lie
// within a branch of it, so memory is taken in chunks near the modules that need it.

#include "platform/include/dr_extensions.h"
#include "platform/src/a64.h"

#include <cstddef>
#include <cstdint>

namespace platform {

// What is known of a trampoline, or of code that trampolines share. Its code lies behind this, position-independent in
// itself, and behind that what is told below.
struct alignas(16) trampoline {
    uintptr_t site; // 0: shared code
    uint16_t words; // of the code, data included; 0: it isn't written
    uint16_t exit;  // the word that leads back
    uint16_t fault_count;

    // Behind shared code.
    struct return_place {
        uint32_t field,
            offset; // where the return address is kept, in what the thread's field points to,
        uint32_t first, last; // while these words are next
    };

    a64::word_t *code() { return reinterpret_cast<a64::word_t *>(this + 1); }
    dr_fault_range_t *faults() { return reinterpret_cast<dr_fault_range_t *>(code() + words); }
    const return_place &keeps_return() { return *reinterpret_cast<return_place *>(code() + words); }
    // Without the latter.
    size_t bytes() const { return bytes_for(words, fault_count); }
    static constexpr size_t bytes_for(size_t words, size_t faults) {
        return sizeof(trampoline) + words * sizeof(a64::word_t) + faults * sizeof(dr_fault_range_t);
    }
    // Its number, of an address in the code; else `words` or more.
    uint64_t word_at(uint64_t address) {
        return (address - reinterpret_cast<uintptr_t>(code())) / sizeof(a64::word_t);
    }

    static constexpr size_t longest = size_t{16} << 10; // bytes
};

struct trampoline_place {
    trampoline *start; // null when no memory is left
    bool near;         // within a branch of the site, all of it
};

// Takes room for so many bytes, near `site` if that can be had, or only there; anywhere for a site of 0. Under the patch
// lock.
trampoline_place take_trampoline(uintptr_t site, size_t bytes, bool only_near = false);

// Whether an address lies in trampolines. Safe at any time.
bool in_trampolines(uintptr_t address);

// The trampoline, or the shared code, that holds an address; null if none does. Safe at any time.
trampoline *find_trampoline(uintptr_t address);

} // namespace platform
