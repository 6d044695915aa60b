#pragma once

// Kernels that both the vector and the predicate forms of ZIP and UZP use: a P row, one byte for
// each predicate bit, has the shape of a Z row.

#include "sve/core/cpu_state.h"

// The size codes of elements. An element has 1 << code bytes.
enum element_size : unsigned {
    element_size_b = sve_size_b,
    element_size_h = sve_size_h,
    element_size_s = sve_size_s,
    element_size_d = sve_size_d,
};

// All take rows of sve_vector_bytes and write all of `result`, which must not overlap a source.

// Elements of the lower halves of n and m, in turn.
SVE_EXPORT void sve_zip1(char *result, char *n, char *m, element_size size);
// Elements of the upper halves of n and m, in turn.
SVE_EXPORT void sve_zip2(char *result, char *n, char *m, element_size size);
// The even elements of n, and behind them those of m.
SVE_EXPORT void sve_uzp1(char *result, char *n, char *m, element_size size);
