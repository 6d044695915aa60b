#pragma once

#include <cstddef>

namespace sve {

// Memory that never comes from the application's heap: an emulated instruction may stand inside its
// malloc. Blocks are cut from anonymous mappings and never given back. Not thread-safe.
class mapped_arena {
public:
    // `size` bytes, aligned for any object. Throws std::bad_alloc if the system has no more memory.
    void *allocate(std::size_t size);

private:
    std::byte *next_ = nullptr;
    std::byte *end_ = nullptr;
};

// The standard allocator interface for a container whose elements are never removed.
template <class T, mapped_arena &arena>
struct mapped_allocator {
    using value_type = T;
    template <class U>
    struct rebind {
        using other = mapped_allocator<U, arena>;
    };
    mapped_allocator() = default;
    template <class U>
    mapped_allocator(const mapped_allocator<U, arena> &) {}

    T *allocate(std::size_t count) { return static_cast<T *>(arena.allocate(count * sizeof(T))); }
    void deallocate(T *, std::size_t) {}
    bool operator==(const mapped_allocator &) const { return true; }
};

} // namespace sve
