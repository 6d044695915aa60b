#pragma once

// Code that the processor doesn't know comes to the client in three steps, so that what runs once costs
// little, and what runs often nothing but its emulation.
//
//     met        The first trap of a block hands it to the clients, which leave its instructions to traps.
//     executed   This trap and the next ones execute the run of instructions from the trap on, up to the next
//                native one: registers of the trap's context to the client, and back. Nothing is written.
//     rewritten  A block that traps again and again is handed over once more, and its instructions are replaced
//                (rewrite.h), with those of other such blocks of the page.

#include "platform/src/a64.h"

#include <cstdint>
#include <ucontext.h>

namespace platform {

// Have a block rewritten at its trap of this number, 255 at most; 0: never.
void rewrite_after(unsigned traps);

// Handles the trapped instruction at the context's pc, and moves the context to where the program goes on. False if no
// client knows the instruction. On any thread with a platform stack and a state, on that stack, signals blocked.
bool handle_trapped_instruction(mcontext_t &machine);

// Puts another word into the program's text. False if it can't be written. While there is one
// thread.
bool exchange_text(uintptr_t pc, a64::word_t word, a64::word_t &former);

// Around a fork.
void lock_patching();
void unlock_patching();

} // namespace platform
