#pragma once

#include "sve/core/sve_utils.h"
#include "tests/conformance/generate.h"
#include "tests/conformance/outcome.h"

#include <optional>
#include <string>
#include <vector>

namespace conformance {

struct trial_settings {
    uint64_t seed = 0x5ce5'eed0'0000'0001;
    uint64_t trials = 500; // of each row
    std::optional<uint64_t> only_trial;
    // What the emulator is held against.
    bool hardware = true;
    bool reference = true;
    bool translated = true; // the translation against those that are there

    // Replaced by the self-check.
    emulate_function emulate = execute_sve_instruction;
    aarch64_handler (*decode)(unsigned word) = is_sve;
    void (*adjust)(const trial_input &) = nullptr;
    void (*print)(const std::string &text) = nullptr;
};

struct trial_totals {
    uint64_t trials = 0;
    uint64_t mismatches = 0;
    uint64_t translated = 0; // trials in which native code ran
    uint64_t left = 0;       // of them, those that it left to the emulator
};

// The rows of all families whose handler's name matches the pattern.
std::vector<tested_row> tested_rows(const char *pattern);

// Runs the trials of one row and prints its first mismatches.
void run_row(const tested_row &row, const trial_settings &settings, trial_totals &totals);

} // namespace conformance
