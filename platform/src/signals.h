#pragma once

// The platform stands between the application and the kernel for every signal that the application
// handles, and owns those that emulation needs. Two promises come of it: no handler runs inside the
// client, and what a handler emulates changes nothing of what it interrupted.

namespace platform {

// Once, at the start.
void start_signal_support();

} // namespace platform
