#pragma once

// Memory from the system, never from the application's heap: a trap may come from inside its
// malloc.

#include <cstddef>

namespace platform {

// Zeroed memory in whole pages, or null.
void *map_memory(size_t size, bool executable = false);
void unmap_memory(void *memory, size_t size);

} // namespace platform
