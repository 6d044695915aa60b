#pragma once

// The code that stands in for replaced instructions is not the application's to see: whoever looks
// at a thread's registers, a signal handler above all, sees them at a boundary, before such code or behind it. A signal
// that comes in between waits, and the thread goes on in a copy of the trampoline, its detour, which ends in a trap: there
// signals are let in. Nobody else's code changes, and no trampoline has to ask whether something waits.
//
// That works wherever the thread is, since the address at which it will go on in the trampoline is in one known place:
// its program counter there; in what it calls, X30 or the place that it is kept in.

#include <cstdint>
#include <ucontext.h>

namespace platform {

// Whether a context, which may be inside the client, will go on in a trampoline or in a detour.
bool is_on_its_way(mcontext_t &machine);

// Has it go on in a detour, if so. Signals wait from before this to the detour's end. On a thread with a platform stack,
// signals blocked.
void take_detour(mcontext_t &machine);

// Whether an address lies in the calling thread's detour; whether it is the trap at its end.
bool in_detour(uintptr_t address);
bool at_detour_end(uintptr_t address);

// Where a context has faulted in a trampoline or a detour: goes on with what the trampoline has for that, if anything.
bool resume_at_fault(mcontext_t &machine);

// The same at the push of a register that found no room: goes on in a detour that has it elsewhere. The program itself asks
// for no room there.
bool resume_at_push(ucontext_t &context);

// Puts a context that has faulted at the first word, so that nothing has been done yet, back to the instruction. False if
// it isn't there.
bool step_back(mcontext_t &machine);

} // namespace platform
