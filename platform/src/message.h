#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform {

// Writes formatted text to a file descriptor, at most 2 KiB of it, with one system call where that
// suffices. Takes no memory. Returns the bytes written, or -1.
long write_formatted(int file, const char *format, std::va_list arguments);

// One line on the standard error stream, behind "sverun: ". Safe in a signal handler.
[[gnu::format(printf, 1, 2)]] void say(const char *format, ...);

// The same, then the end of the process with `status`; nothing else of it runs.
[[noreturn, gnu::format(printf, 2, 3)]] void refuse(int status, const char *format, ...);

// Ends the process at once, whatever the application makes of _exit.
[[noreturn]] void end_process(int status);

} // namespace platform
