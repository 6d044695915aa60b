#pragma once

#include <cerrno>
#include <cstddef>
#include <unistd.h>

namespace sve::client {

// Returns 0, or the error.
inline int write_all(int file, const char *bytes, size_t size) {
    while (size != 0) {
        const ssize_t written = write(file, bytes, size);
        if (written > 0) {
            bytes += written;
            size -= static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            return written == 0 ? EIO : errno;
        }
    }
    return 0;
}

} // namespace sve::client
