#include "sve/core/mapped_arena.h"

#include <algorithm>
#include <new>
#include <sys/mman.h>

namespace sve {

void *mapped_arena::allocate(std::size_t size) {
    constexpr std::size_t mapping_bytes = std::size_t{64} << 10;
    constexpr std::size_t alignment = alignof(std::max_align_t);
    size = (size + alignment - 1) / alignment * alignment;
    if (size > static_cast<std::size_t>(end_ - next_)) {
        const std::size_t bytes = std::max(size, mapping_bytes);
        void *mapping =
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED)
            throw std::bad_alloc();
        next_ = static_cast<std::byte *>(mapping);
        end_ = next_ + bytes;
    }
    void *block = next_;
    next_ += size;
    return block;
}

} // namespace sve
