#pragma once

// The process's memory map, read without the loader and without the heap.

#include <cstdint>

namespace platform {

struct mapping {
    uintptr_t start;
    uintptr_t end;
    int protection;  // PROT_ flags
    uint64_t offset; // in the file
    uint64_t device;
    uint64_t inode;   // 0: no file
    const char *path; // empty where there is none; valid during the call that hands it over

    bool contains(uintptr_t address) const { return address >= start && address < end; }
};

// Calls visit(context, mapping) for each mapping in ascending order, until it returns false.
// Returns false if the map can't be read.
bool visit_mappings(bool (*visit)(void *context, const mapping &), void *context);

template <class F>
bool for_each_mapping(F &&visit) {
    return visit_mappings(
        [](void *context, const mapping &m) { return (*static_cast<F *>(context))(m); }, &visit);
}

} // namespace platform
