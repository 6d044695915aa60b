#pragma once

// How a program tells the test client which of its native instructions are to clear upper bytes
// (test_upper_bytes.cpp).

#include <cstddef>
#include <cstdint>

struct native_write {
    const uint32_t *pc;
    uint32_t written; // bit n for Zn
};

// They are replaced with the next block that the client gets. In ascending order of their
// addresses; they must stay where they are.
inline void name_native_writes(const native_write *writes, size_t count) {
    register const native_write *x0 asm("x0") = writes;
    register size_t x1 asm("x1") = count;
    asm volatile(".inst 0x25fffffd" ::"r"(x0), "r"(x1) : "memory");
}

// Where the module of an address begins, 0 if there is none: by dr_lookup_code_module, and by
// dr_lookup_module.
struct module_starts {
    uint64_t of_code, of_module;
};
inline module_starts look_up(const void *address) {
    register uint64_t x0 asm("x0") = reinterpret_cast<uint64_t>(address);
    register uint64_t x1 asm("x1");
    asm volatile(".inst 0x25fffffc" : "+r"(x0), "=r"(x1));
    return {x0, x1};
}
