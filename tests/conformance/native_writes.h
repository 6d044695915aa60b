#pragma once

#include "sve/client/analysis/native_writes.h"
#include "tests/conformance/processor.h"

#include <string>

namespace conformance {

// What an instruction did to the Z registers; bit n is Zn. It shows only in registers whose upper bytes, those
// above the low 16, were not all 0 before.
struct seen_writes {
    uint32_t cleared; // the upper bytes are all 0
    uint32_t changed; // any byte is another

    // Whether it wrote exactly these V registers.
    bool are(uint32_t v_registers) const {
        return cleared == v_registers && (changed & ~v_registers) == 0;
    }
};
seen_writes find_writes(const machine_state &before, const machine_state &after);

struct native_words {
    uint64_t words;
    uint64_t seed;

    // Replaced by the self-check.
    uint32_t (*table)(uint32_t word) = sve::analysis::native_writes;
    void (*print)(const std::string &text) = nullptr;
};

struct native_totals {
    uint64_t executed = 0;
    uint64_t writing = 0; // of these, those that change a register
    uint64_t keeping =
        0; // of these, those that leave its upper bytes, which is known of the processor
    uint64_t refused = 0;
    uint64_t faulted = 0;
    uint64_t mismatches = 0;
};

// Runs random words of Advanced SIMD, of floating point and of their loads and stores on the processor, and
// compares the registers that each of them writes with those that the table says.
native_totals run_native_words(const native_words &native);

// The same with a report. Returns whether all is well.
bool check_native_writes(uint64_t words, uint64_t seed);

} // namespace conformance
