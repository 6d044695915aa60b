#pragma once

#include "tests/conformance/generate.h"
#include "tests/conformance/known_differences.h"
#include "tests/conformance/outcome.h"

#include <string>

namespace conformance {

// One comparison that failed.
struct mismatch {
    const tested_row &row;
    uint32_t word;
    uint64_t seed, trial;
    const char *tier;              // "hardware" or "reference": what the emulator is held against
    const known_difference *known; // if one applies
    const cpu_state &before;
    const outcome &expected;
    const outcome &got;
};

// Word, handler, inputs, and the registers and memory that differ, with the differing elements marked; and
// the command that repeats it.
std::string describe(const mismatch &mismatch);

} // namespace conformance
