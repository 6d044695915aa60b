#pragma once

// Memory for the code that stands in for replaced instructions: a site's trampoline has to lie
// within a branch of it, so memory is taken in chunks near the modules that need it.

#include "platform/src/a64.h"

#include <cstddef>
#include <cstdint>

namespace platform {

struct trampoline_place {
    a64::word_t *code; // null when no memory is left
    bool near;         // within a branch of the site, all of it
};

// Takes room for `words` words, near `site` if that can be had, or only there. Under the patch lock.
trampoline_place take_trampoline(uintptr_t site, size_t words, bool only_near = false);

// Whether an address lies in trampolines. Safe at any time.
bool in_trampolines(uintptr_t address);

} // namespace platform
