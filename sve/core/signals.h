#pragma once

// The library owns SIGSEGV and SIGBUS from the moment it is loaded: first-fault and non-fault loads
// turn a memory fault into a cleared FFR bit instead of a signal. A fault inside a protected read
// jumps back to the reader; any other is the application's, and ends the process.

#include "sve/core/export.h"

#include <csetjmp>
#include <csignal>
#include <mutex>

// Of each thread: non-zero while its protected read touches memory, and where the handler then jumps to.
// In the static block of thread-local storage, so that a handler reaches them without allocating.
[[gnu::tls_model(
    "initial-exec")]] SVE_EXPORT extern constinit thread_local volatile int SVEFaultRegion;
[[gnu::tls_model("initial-exec")]] SVE_EXPORT extern constinit thread_local sigjmp_buf sveFaultJB;

// Installs SVESigHandler for SIGSEGV and SIGBUS. Further calls do nothing. The shared library calls
// it when it is loaded; who embeds the core alone calls it before the first protected read.
SVE_EXPORT void SVEInitialize();

// The handler. In a fault region: leaves the region and jumps with the value 1. Otherwise: gives
// both signals back to their default action, says so on the standard error stream, and returns, so
// that the faulting instruction runs again and ends the process.
SVE_EXPORT void SVESigHandler(int signal, siginfo_t *info, void *context);

namespace sve {

// Guards the process's handlers of the two signals against threads that replace them for a while
// (memory/access.h). The flag says that this thread holds it, and may fault meanwhile.
extern constinit std::mutex fault_actions_mutex;
[[gnu::tls_model("initial-exec")]] extern constinit thread_local volatile bool probing;

} // namespace sve
