#pragma once

// The code that stands in for a replaced instruction is not the application's to see: whoever looks
// at a thread's registers, a signal handler above all, sees them before the instruction or after
// it.

#include <ucontext.h>

namespace platform {

// Whether a context lies within such code.
bool is_within_instruction(const ucontext_t &context);

// Moves a context that lies within such code to the boundary of the instruction that it stands for:
// forward behind the instruction if the client has run, else back to it. The context of other code
// stays. Not for code on the platform stack; runs on it.
void move_to_instruction_boundary(ucontext_t &context);

} // namespace platform
