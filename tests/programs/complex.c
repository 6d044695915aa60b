// Arithmetic of complex numbers, built with leave to calculate as if they were finite: the compiler finds FCADD
// and FCMLA for it.
#include "floats.h"
#include <complex.h>

#define LOOP(name, type, element)                                                                  \
    KERNEL void name(type complex *restrict c, const type complex *restrict a,                     \
                     const type complex *restrict b, size_t n) {                                   \
        for (size_t i = 0; i < n; i++)                                                             \
            element;                                                                               \
    }
#define FORMAT(type, suffix)                                                                       \
    LOOP(multiply_##suffix, type, c[i] = a[i] * b[i])                                              \
    LOOP(accumulate_##suffix, type, c[i] += a[i] * b[i])                                           \
    LOOP(subtract_##suffix, type, c[i] -= a[i] * b[i])                                             \
    LOOP(conjugate_##suffix, type, c[i] += a[i] * ~b[i])                                           \
    LOOP(turn_left_##suffix, type, c[i] = a[i] + b[i] * I)                                         \
    LOOP(turn_right_##suffix, type, c[i] = a[i] - b[i] * I)                                        \
    static void run_##suffix(size_t n) {                                                           \
        static void (*const loops[])(type complex *restrict, const type complex *restrict,         \
                                     const type complex *restrict, size_t) = {                     \
            multiply_##suffix,  accumulate_##suffix, subtract_##suffix,                            \
            conjugate_##suffix, turn_left_##suffix,  turn_right_##suffix};                         \
        type complex *numbers[3];                                                                  \
        for (int i = 0; i < 3; i++) {                                                              \
            numbers[i] = (type complex *)make_guarded(n * sizeof *numbers[i]).end - n;             \
            fill_##suffix((type *)numbers[i], 2 * n, 3, n + i);                                    \
        }                                                                                          \
        for (size_t i = 0; i < sizeof loops / sizeof *loops; i++) {                                \
            loops[i](numbers[2], numbers[0], numbers[1], n);                                       \
            print_##suffix("complex", (type *)numbers[2], 2 * n);                                  \
        }                                                                                          \
    }
FORMAT(float, f32)
FORMAT(double, f64)
#undef FORMAT

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), most = size ? size : 5 * vector_bytes();
    for (size_t n = size; n <= most; n += 1 + n / 4) {
        run_f32(n);
        run_f64(n);
    }
    return 0;
}
