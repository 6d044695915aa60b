#pragma once

// One instruction from one state, on the processor, by the emulator, or by the reference tier: the state
// behind it, of registers and memory.

#include "sve/core/cpu_state.h"
#include "sve/core/handler.h"
#include "tests/conformance/processor.h"

#include <span>
#include <vector>

namespace conformance {

struct outcome {
    machine_state state;           // packed predicates are the processor's only
    std::vector<uint8_t> memory;   // the arena's bytes, or nothing if none changed
    const char *trouble = nullptr; // why there is no state to compare
};

// Memory for loads and stores: base registers may point into it. Nothing on either side is accessible.
std::span<uint8_t> arena();
// Gives the arena the contents from which each instruction starts; or makes it inaccessible too, for
// instructions that have no business there.
void open_arena(uint64_t seed);
void close_arena();
const std::vector<uint8_t> &arena_contents();

using emulate_function = aarch64_decode_rc (*)(cpu_state *);

// Moves what an instruction did to the arena into its outcome.
void take_memory(outcome &result);

void run_on_processor(size_t loaded_word, const machine_state &before, outcome &result);
void run_emulator(emulate_function emulate, uint32_t word, const machine_state &before,
                  outcome &result);
void run_reference(aarch64_handler reference, uint32_t word, const machine_state &before,
                   outcome &result);

// Whether all that the architecture knows is the same: all of cpu_state but `pc` and `insn`, and memory.
bool same(const outcome &a, const outcome &b);

} // namespace conformance
