#pragma once

// The value types of the reference library, which is written for any vector length up to the
// architecture's 2048 bits and knows nothing of cpu_state.

#include <cstdint>
#include <cstring>

// One vector by value. Element i of type T lies at byte i * sizeof(T). Only the first (vector
// length in bytes) bytes have meaning.
struct alignas(16) VecT {
    uint8_t byte[256];

    VecT() = default;
    // Written out, since the compiler then makes an argument in its place: a plain structure is made
    // somewhere and copied there, all of it.
    VecT(const VecT &other) { std::memcpy(byte, other.byte, sizeof byte); }
    VecT &operator=(const VecT &other) = default;

    template <class T>
    T get(unsigned element) const {
        T value;
        std::memcpy(&value, byte + element * sizeof(T), sizeof value);
        return value;
    }
    template <class T>
    void set(unsigned element, T value) {
        std::memcpy(byte + element * sizeof(T), &value, sizeof value);
    }
};

// One predicate by value: bit i % 64 of word i / 64 belongs to vector byte i. Bits at and above the
// vector length are 0.
struct PredV {
    static constexpr unsigned words = 4;
    uint64_t word[words];

    bool test(unsigned bit) const { return word[bit / 64] >> bit % 64 & 1; }
    void set(unsigned bit, bool value) {
        const uint64_t mask = uint64_t{1} << bit % 64;
        word[bit / 64] = value ? word[bit / 64] | mask : word[bit / 64] & ~mask;
    }
};

// What a reference function knows beside its operands. Flags, status and FFR are read and written.
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
