#pragma once

// Translated code: adjacent SVE instructions replaced by native code that does their work (native/run.h), where the
// platform can write it. Each run of such code counts its executions in memory of the running thread.

#include "sve/client/client.h"

#include <cstdint>
#include <span>

namespace sve::native {
struct thread_state;
}

namespace sve::client {

// Whether instructions are translated. The client's options decide:
//
//     -translate yes            or no, which is so without the option
//     -report_translation yes   at the end a line tells what share of the instructions ran translated
extern bool translates;

// Once, if they are, when the client starts.
void start_runs();

// A thread's counters, between its init and exit events.
void begin_counting(void *drcontext, native::thread_state &thread);
void end_counting(native::thread_state &thread);

// When the emulator may have written predicates.
void forget_predicates(native::thread_state &thread);

// In a block event: an SVE instruction of the block, and what emulates it.
struct sve_instr {
    instr_t *instr;
    unsigned int word;
    aarch64_handler handler;
};

// In a block event of the reason DR_BLOCK_AGAIN: replaces instructions that follow each other, from the first on. What
// can't be replaced stays left to traps.
void replace_by_runs(void *drcontext, instrlist_t *bb, std::span<const sve_instr> instrs);

// Adds what runs have counted to the statistics. Not with icounts_mutex.
void collect_run_counts();

// Around a fork.
void lock_runs();
void unlock_runs();

// The line that -report_translation asks for, after the last collection.
void report_translation();

} // namespace sve::client
