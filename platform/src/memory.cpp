#include "platform/src/memory.h"

#include <sys/mman.h>

namespace platform {

void *map_memory(size_t size) {
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

void unmap_memory(void *memory, size_t size) {
    if (memory)
        munmap(memory, size);
}

} // namespace platform
