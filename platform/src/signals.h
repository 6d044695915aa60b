#pragma once

// The platform owns SIGILL and stands between the application's sigaction and the kernel for it:
// what the application sets is remembered, and gets the traps that are its own.

namespace platform {

// Once, at the start.
void start_signal_support();

} // namespace platform
