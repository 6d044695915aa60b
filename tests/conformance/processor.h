#pragma once

// Runs single instructions on the processor, with every register that a program sees set before and
// stored after. Not for two threads.

#include "sve/core/cpu_state.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace conformance {

// Predicates as the processor stores them, a bit for each vector byte.
inline constexpr unsigned predicate_bytes = sve_vector_bytes / 8;

struct machine_state {
    cpu_state emulated; // without `pc` and `insn`; P and FFR follow from the packed ones
    uint8_t p[16][predicate_bytes];
    uint8_t ffr[predicate_bytes];

    void unpack_predicates();
};
// run_word.S has these offsets.
static_assert(offsetof(cpu_state, x) == 0 && offsetof(cpu_state, sp) == 248 &&
              offsetof(cpu_state, nzcv) == 264 && offsetof(cpu_state, fpsr) == 272 &&
              offsetof(cpu_state, fpcr) == 276 && offsetof(cpu_state, z) == 288 &&
              offsetof(machine_state, p) == 288 + 49 * sve_vector_bytes + 8 &&
              offsetof(machine_state, ffr) == offsetof(machine_state, p) + 16 * predicate_bytes);

// What stands in the way of running here: no SVE, or no such vector length; null if nothing does. With any other
// length registers move wrongly, which is good enough to see which words are refused.
const char *open_processor(bool any_length = false);

// The words that run_word can run. Many at once: new code costs a processor emulator far more than a run.
inline constexpr size_t max_loaded_words = 512;
// Each of them can read so many words in front of it.
inline constexpr unsigned readable_words = 16 << 10;
void load_words(std::span<const uint32_t> words);

// Runs loaded word `index`. The result is 0, or the signal that the processor raised instead of running it.
int run_word(size_t index, const machine_state &before, machine_state &after);

// What is running, for the message when the emulator crashes or does not return: `alarm` guards that.
struct running_trial {
    const char *handler;
    uint32_t word;
    uint64_t seed, trial;
};
extern running_trial running;

} // namespace conformance
