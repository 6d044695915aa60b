#pragma once

// What is known of the process's map, as far as code goes. The map is read when an address comes that nothing
// is known of. What is known is given up when the program may have changed it: by the functions that
// map_changes.cpp stands in front of. What it changes behind their backs, by system calls of its own, is noticed
// where accesses fail, and before a protection is changed.

#include "platform/src/modules.h"

#include <cstdint>

namespace platform {

// The mapping of some code.
struct code_mapping {
    uintptr_t start;
    uintptr_t end;
    int protection;  // PROT_ flags, PROT_BTI included
    uint32_t number; // no other one has it, even at the same place
    bool in_module;
    module_record module;

    bool contains(uintptr_t address) const { return address >= start && address < end; }
};

// The mapping of the code at an address. Null if there is no memory to note it. Valid until the next call. Under the patch
// lock.
const code_mapping *find_code(uintptr_t pc);

// The protection of the code at an address, to be changed and put back: read anew unless it is a module's. Under the patch
// lock.
int find_protection(uintptr_t pc);

// What is mapped at [start, end) may have changed. Safe in a signal handler.
void forget_code(uintptr_t start, uintptr_t end);

} // namespace platform
