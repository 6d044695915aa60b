#pragma once

// The life of the process: forks, and the ways it can end.

namespace platform {

// Once, at the end of the start: what the client has registered with the C library comes before.
void start_process_support();

// Ends emulation, if this is the process's own end and it hasn't been done: the other threads leave
// the client, then the exit events run, on the platform stack. On any thread, outside the client.
void end_emulation();

// What the platform has done is told at the end.
void set_report();

} // namespace platform
