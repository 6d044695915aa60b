#pragma once

#include "tests/conformance/processor.h"

#include <vector>

namespace conformance {

// A form whose result on the processor at hand is not what the emulator is held against.
struct known_difference {
    const char *rows; // pattern of handler names
    bool (*applies)(uint32_t word);
    const char *reason;

    // What is expected instead, by one of these; without any the instruction must return, no more.
    // - The processor runs this word.
    uint32_t (*stand_in)(uint32_t word) = nullptr;
    // - A plain model turns the state before the instruction into the one behind it.
    void (*model)(const char *handler, uint32_t word, machine_state &state) = nullptr;

    // - The processor runs the word, and this goes on where the architecture let it stop.
    void (*complete)(const char *handler, uint32_t word, const machine_state &before,
                     machine_state &state) = nullptr;

    // Changes the state that all sides start from.
    void (*prepare)(uint32_t word, machine_state &state) = nullptr;

    bool asks_processor() const { return stand_in || complete; }
};

// The differences of a handler.
std::vector<const known_difference *> known_differences_of(const char *handler);

} // namespace conformance
