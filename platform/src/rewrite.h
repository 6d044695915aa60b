#pragma once

// Trap once, rewrite in place. The first instruction of a block that the processor doesn't know
// traps; the block is handed to the clients, and each instruction that they replaced becomes one
// branch to a trampoline:
//
//     site:        b trampoline              written last, one aligned store
//     trampoline:  the client's sequence     position-independent
//                  b site + 4
//
// All other code runs where it was. Where no trampoline fits within a branch, or the text can't be
// written, the site keeps its word: it traps each time, the handler goes to the trampoline, and a
// trampoline out of reach ends in a trap that leads back. Slower, still right.
//
// Instructions that the processor knows are replaced in the same way. Such a one wouldn't trap: a
// trap takes its place where no trampoline fits, and where the text can't be written it stays as it
// is, which is told. Its trampoline may begin with a copy of it:
//
//                  application_instruction_follows      never executed
//     trampoline:  the instruction, then the client's sequence
//                  b site + 4

#include "platform/src/a64.h"

#include <cstdint>

namespace platform {

// Leave all sites that trap as they are, so that they do each time they run.
void set_trap_every_time();

// Handles the trapped instruction at `pc`. Returns where in a trampoline to go on, or 0 if no client
// replaced it. On any thread with a platform stack, signals blocked.
uintptr_t handle_trapped_instruction(uintptr_t pc);

// Puts another word into the program's text. False if it can't be written. While there is one
// thread.
bool exchange_text(uintptr_t pc, a64::word_t word, a64::word_t &former);

// Around a fork.
void lock_patching();
void unlock_patching();

} // namespace platform
