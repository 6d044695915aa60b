#include "platform/src/mappings.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

// A number in the given base at `text`, which moves behind it and the one character that follows.
static uint64_t take_number(const char *&text, unsigned base) {
    uint64_t value = 0;
    for (;; text++) {
        unsigned digit = base;
        if (*text >= '0' && *text <= '9')
            digit = static_cast<unsigned>(*text - '0');
        else if (*text >= 'a' && *text <= 'f')
            digit = static_cast<unsigned>(*text - 'a') + 10;
        if (digit >= base)
            break;
        value = value * base + digit;
    }
    if (*text)
        text++;
    return value;
}

// 5500000000-5500001000 r-xp 00000000 08:01 1234     /path
static mapping parse_line(const char *text) {
    mapping m = {};
    m.start = take_number(text, 16);
    m.end = take_number(text, 16);
    m.protection = (text[0] == 'r' ? PROT_READ : 0) | (text[1] == 'w' ? PROT_WRITE : 0) |
                   (text[2] == 'x' ? PROT_EXEC : 0);
    text += 5;
    m.offset = take_number(text, 16);
    const uint64_t major = take_number(text, 16);
    m.device = major << 32 | take_number(text, 16);
    m.inode = take_number(text, 10);
    m.path = text + std::strspn(text, " ");
    return m;
}

bool visit_mappings(bool (*visit)(void *, const mapping &), void *context) {
    const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    char buffer[PATH_MAX + 256];        // at least one line
    char *line = buffer, *end = buffer; // what has been read and not visited
    for (bool wanted = true; wanted;) {
        if (auto *line_end =
                static_cast<char *>(std::memchr(line, '\n', static_cast<size_t>(end - line)))) {
            *line_end = '\0';
            wanted = visit(context, parse_line(line));
            line = line_end + 1;
            continue;
        }
        // The beginning of a line goes to the front, and the rest of it behind that.
        std::memmove(buffer, line, static_cast<size_t>(end - line));
        end -= line - buffer;
        line = buffer;
        const ssize_t got = read(file, end, static_cast<size_t>(buffer + sizeof buffer - end));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        end += got;
    }
    close(file);
    return true;
}

} // namespace platform
