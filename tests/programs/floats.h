// What the programs of floating point share. Results are compared by their bits: nothing here depends on more
// than the arithmetic of the architecture and the C library.
#pragma once

#include "program.h"
#include <math.h>

typedef _Float16 half;

// The formats: type, suffix of intrinsics, bits.
#define FOR_EACH_FORMAT(X) X(half, f16, 16) X(float, f32, 32) X(double, f64, 64)

// From -limit up to limit, with as many random bits as the format holds.
static inline double next_float(uint64_t *state, double limit) {
    return (double)(int64_t)next_random(state) * 0x1p-63 * limit;
}

#define FORMAT(type, suffix, bits)                                                                 \
    static inline void fill_##suffix(type *values, size_t n, double limit, uint64_t seed) {        \
        uint64_t state = seed * 0x9e3779b97f4a7c15 + 1;                                            \
        for (size_t i = 0; i < n; i++)                                                             \
            values[i] = (type)next_float(&state, limit);                                           \
    }                                                                                              \
    /* The bits of all values in a checksum, and some of the values. */                            \
    static inline void print_##suffix(const char *what, const type *values, size_t n) {            \
        printf("%s " #suffix " %zu: %08x", what, n, checksum(0, values, n * sizeof *values));      \
        for (size_t i = n / 4; i < n; i += n / 2 + 1)                                              \
            printf(" %a", (double)values[i]);                                                      \
        printf("\n");                                                                              \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT
