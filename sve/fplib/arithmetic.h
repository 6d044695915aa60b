#pragma once

// The fused multiply-add that FPMulAdd and the step functions are made of.

#include "sve/fplib/rounding.h"

namespace fplib {

// (a + b * c) * 2^scale with one rounding.
template <FPPattern T>
T fp_muladd(T a, T b, T c, int scale, int mode, int *flags);

inline unsigned short fp16_muladd(unsigned short a, unsigned short b, unsigned short c, int scale,
                                  int mode, int *flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}
inline unsigned int fp32_muladd(unsigned int a, unsigned int b, unsigned int c, int scale, int mode,
                                int *flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}
inline unsigned long fp64_muladd(unsigned long a, unsigned long b, unsigned long c, int scale,
                                 int mode, int *flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}

} // namespace fplib
