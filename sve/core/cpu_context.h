#pragma once

// The value types of the reference library, which is written for any vector length up to the
// architecture's 2048 bits and knows nothing of cpu_state.

#include <cstdint>

// One vector by value. Only the first (vector length in bytes) bytes have meaning.
struct VecT {
    uint8_t byte[256];
};

// One predicate by value: bit i % 64 of word i / 64 belongs to vector byte i.
struct PredV {
    uint64_t word[4];
};

// What a reference function knows beside its operands. Flags and status are read and written.
struct CpuContext {
    uint32_t NZCV;    // N bit 31, Z 30, C 29, V 28
    uint32_t FPSR;    // cumulative floating-point status
    uint32_t FPCR;    // floating-point control word as the library sees it
    uint32_t VL : 26; // vector length in units of 64 bits, at most 32
    PredV FFR;        // the first-fault register
};

// Two objects that SVEInitialize prepares and nothing reads: every call has a context of its own.
extern CpuContext cpu_ctxt;
extern CpuContext *ctxt;
