#pragma once

// Runs the translation of single instructions, the native code itself. Not for two threads.

#include "sve/core/handler_row.h"
#include "tests/conformance/outcome.h"
#include "tests/conformance/random_numbers.h"

namespace conformance {

// Whether the state's SP has room for the frame of translated code, which has to be kept apart from what the
// instruction does. Sets one that has, where the instruction leaves it open.
bool make_room_for_frame(const sve::handler_row &row, uint32_t word, bool uses_memory,
                         random_numbers &random, machine_state &state);

struct translated_word {
    const sve::handler_row *row;
    uint32_t word;
};

// Makes the code for words that follow each other. False if one of them has no translation.
bool load_translation(std::span<const translated_word> words);

// Runs it. Where it leaves an instruction to the emulator, that goes on from there to the end. Returns whether it did.
bool run_translation(emulate_function emulate, std::span<const translated_word> words,
                     const machine_state &before, outcome &result);

// A fault within it goes on elsewhere: that address, or 0 if `pc` is not in the code.
uint64_t translation_resumes_at(uint64_t pc);

} // namespace conformance
