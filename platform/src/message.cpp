#include "platform/src/message.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

static long write_all(int file, const char *text, size_t length) {
    for (size_t done = 0; done < length;) {
        const ssize_t written = write(file, text + done, length - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return -1;
        done += static_cast<size_t>(written);
    }
    return static_cast<long>(length);
}

long write_formatted(int file, const char *format, std::va_list arguments) {
    char text[2048];
    const int length = vsnprintf(text, sizeof text, format, arguments);
    if (length < 0)
        return -1;
    return write_all(file, text, std::min<size_t>(static_cast<size_t>(length), sizeof text - 1));
}

static void say_line(const char *format, std::va_list arguments) {
    constexpr size_t room = 2048;
    char text[room] = "sverun: ";
    const size_t prefix = std::strlen(text);
    const int length = vsnprintf(text + prefix, room - prefix - 1, format, arguments);
    const size_t end = std::min(prefix + static_cast<size_t>(std::max(length, 0)), room - 2);
    text[end] = '\n';
    write_all(STDERR_FILENO, text, end + 1);
}

void say(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    say_line(format, arguments);
    va_end(arguments);
}

void refuse(int status, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    say_line(format, arguments);
    va_end(arguments);
    end_process(status);
}

void end_process(int status) {
    for (;;)
        syscall(SYS_exit_group, status);
}

} // namespace platform
