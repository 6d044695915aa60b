#pragma once

// The state of a thread. It is made when the thread first needs it, so that no thread has to have
// been made in a particular way: a thread that meets a rewritten instruction without one traps,
// gets it, and resumes.
//
// The client runs on the thread's platform stack, and nothing else ever does. "SP lies in this
// thread's platform stack" is therefore the one test of "inside the client".

#include "platform/include/dr_api.h"
#include "platform/src/signal_set.h"

#include <csignal>
#include <cstdint>
#include <type_traits>
#include <ucontext.h>

namespace platform {

// Distance of an address in the calling thread's area from its TPIDR_EL0: the same in all threads.
inline int64_t distance_from_thread_pointer(const void *in_area) {
    return static_cast<const char *>(in_area) -
           static_cast<const char *>(__builtin_thread_pointer());
}

// Once, at the start: from then on the ends of threads are noticed.
void start_thread_support();

// Calls function(argument) on the calling thread's platform stack, which is made if there is none
// yet. Not for code that is on it already. Signals that come meanwhile are let in at the end, if none has waited before.
void run_on_platform_stack(void (*function)(void *), void *argument);

// Makes the stack, if there is none yet.
void need_platform_stack();

// The same with anything that can be called.
template <class F>
void run_on_platform_stack(F &&function) {
    run_on_platform_stack([](void *f) { (*static_cast<std::remove_reference_t<F> *>(f))(); },
                          &function);
}

// Calls function(argument) farther down on the platform stack that `stack_pointer` lies in.
void run_further_down(uint64_t stack_pointer, void (*function)(void *), void *argument);

// Whether the calling thread has a platform stack: without one it has never run emulated code.
bool has_platform_stack();

// Raises the thread init events for the calling thread, if that hasn't been done. On its platform
// stack. Doesn't return once the threads are closed, but on the thread that did it.
void need_thread_state();

// Raises the thread exit events for the calling thread, if its init events have been raised. On its
// platform stack.
void end_thread_state();

// Whether the stack pointer is in the calling thread's platform stack.
bool inside_client(uint64_t stack_pointer);

// ---- Signals that wait --------------------------------------------------------------------------

// All of these on a thread with a platform stack, with signals blocked.

// Keeps a signal that can't come now, and blocks all others in the context that it interrupted but those that
// emulation itself needs.
void put_off_signal(const siginfo_t &info, ucontext_t &context);

// Has all signals wait that come from now on.
void put_off_signals(ucontext_t &context);

// Where the context is at a boundary again: sends the waiting signals to the thread again, and
// gives the context back the mask that it had.
void let_signals_in(ucontext_t &context);

// The same in the handler of a trap: they come when it has returned.
void let_signals_come();

// Memory for code that only the calling thread runs while signals wait, kept until its end: `detour_bytes`. Null if it has
// none yet.
constexpr size_t detour_bytes = size_t{20} << 10;
void *own_detour();
void *need_detour();

// ---- What a signal handler must not change ------------------------------------------------------

// A copy of the client's memory of one thread, kept while an application's handler runs.
struct memory_copy;

// Makes a copy for the handler that `frame`, the kernel's context, belongs to. Null if the thread
// has no such memory. On the platform stack.
memory_copy *copy_thread_memory(const ucontext_t *frame);

// Puts the copy back and gives its memory up. On the platform stack.
void restore_thread_memory(memory_copy *copy);

// ---- All threads --------------------------------------------------------------------------------

// Keeps all other threads from running the client again, and returns when none is in it. They stop
// at the next emulated instruction for good; their native code goes on.
void close_other_threads();

// Whether a signal is the message of close_other_threads to the thread that gets it.
bool is_closing_signal(const siginfo_t &info);

// What that signal asks of the calling thread, which is at a boundary.
void close_this_thread();

// The same for a thread that isn't: when signals are let in.
void close_this_thread_later(ucontext_t &context);

// Around a fork: nothing of this file changes between the two. The child has one thread.
void lock_threads();
void unlock_threads(bool in_child);

} // namespace platform
