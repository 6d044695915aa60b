#pragma once

// What the host decides about a probe of memory: a load of one byte by a single instruction, and how
// a handler of its fault goes on behind that instruction.

#include <ucontext.h>

namespace sve {

#if defined(__aarch64__)

inline void probe_byte(const volatile char *address) {
    unsigned value;
    asm volatile("ldrb %w0, [%1]" : "=r"(value) : "r"(address) : "memory");
}
inline void skip_probe(ucontext_t *interrupted) {
    interrupted->uc_mcontext.pc += 4;
}

#elif defined(__x86_64__)

inline void probe_byte(const volatile char *address) {
    // Registers that make it an instruction of two bytes.
    asm volatile("movb (%%rdx), %%al" : : "d"(address) : "rax", "memory");
}
inline void skip_probe(ucontext_t *interrupted) {
    interrupted->uc_mcontext.gregs[REG_RIP] += 2;
}

#else
#error "no probe of memory for this host: give a load of one instruction, and the step over it"
#endif

} // namespace sve
