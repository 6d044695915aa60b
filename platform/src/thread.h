#pragma once

// The state of a thread. It is made when the thread first needs it, so that no thread has to have
// been made in a particular way: a thread that meets a rewritten instruction without one traps,
// gets it, and resumes.
//
// The client runs on the thread's platform stack, and nothing else ever does. "SP lies in this
// thread's platform stack" is therefore the one test of "inside the client".

#include "platform/include/dr_api.h"

#include <cstdint>
#include <type_traits>

namespace platform {

// Distance of an address in the calling thread's area from its TPIDR_EL0: the same in all threads.
inline int64_t distance_from_thread_pointer(const void *in_area) {
    return static_cast<const char *>(in_area) -
           static_cast<const char *>(__builtin_thread_pointer());
}

// Once, at the start: from then on the ends of threads are noticed.
void start_thread_support();

// Calls function(argument) on the calling thread's platform stack, which is made if there is none
// yet. Not for code that is on it already.
void run_on_platform_stack(void (*function)(void *), void *argument);

// The same with anything that can be called.
template <class F>
void run_on_platform_stack(F &&function) {
    run_on_platform_stack([](void *f) { (*static_cast<std::remove_reference_t<F> *>(f))(); },
                          &function);
}

// Raises the thread init events for the calling thread, if that hasn't been done. On its platform
// stack.
void need_thread_state();

// Raises the thread exit events for the calling thread, if its init events have been raised. On its
// platform stack.
void end_thread_state();

// Whether the stack pointer is in the calling thread's platform stack.
bool inside_client(uint64_t stack_pointer);

} // namespace platform
