#include "platform/src/memory.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

// Not by the functions of these names, which are the program's (map_changes.cpp).

void *map_memory(size_t size, bool executable) {
    const int protection = PROT_READ | PROT_WRITE | (executable ? PROT_EXEC : 0);
    const long memory =
        syscall(SYS_mmap, nullptr, size, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == -1 ? nullptr : reinterpret_cast<void *>(memory);
}

void unmap_memory(void *memory, size_t size) {
    if (memory)
        syscall(SYS_munmap, memory, size);
}

} // namespace platform
