#pragma once

#include "platform/src/a64.h"

namespace platform {

// An instruction, or a group of them, that came to the vector extension after what is emulated.
struct later_instruction {
    a64::word_t mask, value;
    const char *extension;
    const char *names; // as a pattern: [bt] is one of the letters or none, (bt|tb) one of the words
};

// Null for words of SVE itself and for those that are no instruction.
const later_instruction *find_later_instruction(a64::word_t word);

} // namespace platform
