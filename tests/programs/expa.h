// The exponential function by FEXPA: the accelerator gives 2^(i/64), or in half precision 2^(i/32), for the
// exponent and i that the low bits of a number hold after a great constant is added to it.
#pragma once

#include "floats.h"

// What is added to x / ln 2 to round it to 1/64 (1/32) and leave it in the low bits with the exponent's bias,
// ln 2 as a sum of two numbers, and the coefficients of the rest r: 1 + r + c2 r^2 + ...
static const struct exponential {
    double shift, high, low, terms;
} exponential_f16 = {0x1.78p5, 0x1.62p-1, 0x1.c84p-10, 2},
  exponential_f32 = {0x1.803f8p17, 0x1.62e4p-1, 0x1.7f7d1cp-20, 3},
  exponential_f64 = {0x1.800000000ffc0p+46, 0x1.62e42fefa3800p-1, 0x1.ef35793c76730p-45, 6};

#define FORMAT(type, suffix, bits)                                                                 \
    static inline svfloat##bits##_t exponential_##suffix##_of(svbool_t pg, svfloat##bits##_t x) {  \
        const struct exponential e = exponential_##suffix;                                         \
        const svfloat##bits##_t shifted =                                                          \
            svmla_n_##suffix##_x(pg, svdup_n_##suffix((type)e.shift), x, 1.4426950408889634);      \
        const svfloat##bits##_t multiple = svsub_n_##suffix##_x(pg, shifted, (type)e.shift);       \
        svfloat##bits##_t rest = svmls_n_##suffix##_x(pg, x, multiple, (type)e.high);              \
        rest = svmls_n_##suffix##_x(pg, rest, multiple, (type)e.low);                              \
        svfloat##bits##_t sum = svdup_n_##suffix(1);                                               \
        for (double term = e.terms; term > 1; term--) /* 1 + r/2 (1 + r/3 (1 + ...)) */            \
            sum = svmad_n_##suffix##_x(pg, sum, svmul_n_##suffix##_x(pg, rest, (type)(1 / term)),  \
                                       1);                                                         \
        const svfloat##bits##_t power =                                                            \
            svexpa_##suffix(svreinterpret_u##bits##_##suffix(shifted));                            \
        return svmla_##suffix##_x(pg, power, power, svmul_##suffix##_x(pg, sum, rest));            \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT
