#pragma once

// What memory instructions stand on. The application's memory is the emulator's: an emulated access is
// a host access at the address that the application computed, of the element's width and with no
// alignment rule. A fault in it is an ordinary fault, unless one of two measures was taken before:
//
// - A protected read (ReadMemLib1 to ReadMemLib8) reports a fault to its caller. The reference tier
//   reads the elements that may be missing so.
// - A probe (addr_is_readable) tells whether a byte can be read, and so whether its page can. The
//   direct tier asks so, once a page.
//
// Both are for any number of threads at once.

#include "sve/core/cpu_context.h"
#include "sve/core/page_size.h"

#include <concepts>
#include <cstdint>

// The element of 1, 2, 4 or 8 bytes at the address. With a null `fault` or non_fault = 0 it is a plain
// load. Else it is a protected read: if a byte of the element can't be read, *fault becomes true and the
// result is 0; *fault is not written otherwise. Needs SVEInitialize's handler.
unsigned char ReadMemLib1(unsigned long address, int non_fault, bool *fault, CpuContext *);
unsigned short ReadMemLib2(unsigned long address, int non_fault, bool *fault, CpuContext *);
unsigned int ReadMemLib4(unsigned long address, int non_fault, bool *fault, CpuContext *);
unsigned long ReadMemLib8(unsigned long address, int non_fault, bool *fault, CpuContext *);

// Stores the value's 1, 2, 4 or 8 bytes.
void WriteMemLib1(unsigned char value, unsigned long address, CpuContext *);
void WriteMemLib2(unsigned short value, unsigned long address, CpuContext *);
void WriteMemLib4(unsigned int value, unsigned long address, CpuContext *);
void WriteMemLib8(unsigned long value, unsigned long address, CpuContext *);

// Hooks for a simulator with a memory of its own; no instruction calls them. The reads set *fault to
// false and return 0, the writes do nothing.
unsigned long ReadMem(unsigned long address, int bytes, int non_fault, bool *fault, CpuContext *);
unsigned long ReadMemSim(unsigned long address, int bytes, int non_fault, bool *fault, bool,
                         CpuContext *);
void WriteMem(unsigned long value, unsigned long address, int bytes, CpuContext *);
void WriteMemSim(unsigned long value, unsigned long address, int bytes, bool, CpuContext *);

// Whether the byte at the address can be read, without a SIGSEGV that anyone notices. A SIGBUS is not
// caught.
template <std::same_as<char> Byte>
bool addr_is_readable(const volatile Byte *address);

namespace sve {

// The offset of an address in its page.
inline unsigned page_offset(uint64_t address) {
    return static_cast<unsigned>(address) & static_cast<unsigned>(page_size - 1);
}

// One host access of the width of T. The compiler neither splits it nor leaves it out nor changes its
// order with others of these; behind element_done(), nor that with stores to the register file.
template <class T>
T load_memory(uint64_t address) {
    using unaligned [[gnu::aligned(1), gnu::may_alias]] = T;
    return *reinterpret_cast<const volatile unaligned *>(address);
}
template <class T>
void store_memory(uint64_t address, T value) {
    using unaligned [[gnu::aligned(1), gnu::may_alias]] = T;
    *reinterpret_cast<volatile unaligned *>(address) = value;
}

// A fault in the next element's access finds this element where it belongs.
inline void element_done() {
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

// A protected read or, without non_fault, a plain one: by the accessor that has the width of T, with the sign of T.
template <class T>
T read_memory(uint64_t address, int non_fault, bool *fault, CpuContext *context) {
    if constexpr (sizeof(T) == 1)
        return static_cast<T>(ReadMemLib1(address, non_fault, fault, context));
    else if constexpr (sizeof(T) == 2)
        return static_cast<T>(ReadMemLib2(address, non_fault, fault, context));
    else if constexpr (sizeof(T) == 4)
        return static_cast<T>(ReadMemLib4(address, non_fault, fault, context));
    else
        return static_cast<T>(ReadMemLib8(address, non_fault, fault, context));
}

} // namespace sve
