// A finite impulse response filter over sound samples: 16-bit integers become floating-point numbers, are
// filtered in each format, and become integers again, saturated.
#include "floats.h"

enum { taps = 21 };

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void from_samples_##suffix(type *restrict to, const int16_t *restrict from, size_t n) { \
        for (size_t i = 0; i < n; i++)                                                             \
            to[i] = (type)from[i] * (type)0x1p-10;                                                 \
    }                                                                                              \
    KERNEL void filter_##suffix(type *restrict to, const type *restrict from,                      \
                                const type *restrict weights, size_t n) {                          \
        for (size_t i = 0; i < n; i++)                                                             \
            to[i] = 0;                                                                             \
        for (size_t tap = 0; tap < taps; tap++)                                                    \
            for (size_t i = 0; i < n; i++)                                                         \
                to[i] += weights[tap] * from[i + tap];                                             \
    }                                                                                              \
    KERNEL void to_samples_##suffix(int16_t *restrict to, const type *restrict from, size_t n) {   \
        for (size_t i = 0; i < n; i++) {                                                           \
            const int32_t value = (int32_t)(from[i] * (type)0x1p10);                               \
            to[i] = (int16_t)(value > 20000 ? 20000 : value < -20000 ? -20000 : value);            \
        }                                                                                          \
    }                                                                                              \
    static void run_##suffix(const int16_t *samples, size_t n) {                                   \
        type weights[taps], *const in = malloc((n + taps) * sizeof(type));                         \
        type *const out = (type *)make_guarded(n * sizeof(type)).end - n;                          \
        int16_t *const result = malloc(n * sizeof(int16_t));                                       \
        for (int tap = 0; tap < taps; tap++) {                                                     \
            const double x = 0.4 * (tap - taps / 2), wave = x == 0 ? 1 : sin(x) / x;               \
            weights[tap] = (type)(wave * 0.2);                                                     \
        }                                                                                          \
        from_samples_##suffix(in, samples, n + taps);                                              \
        filter_##suffix(out, in, weights, n);                                                      \
        to_samples_##suffix(result, out, n);                                                       \
        print_##suffix("filtered", out, n);                                                        \
        printf("samples %08x %d\n", checksum(0, result, n * sizeof *result),                       \
               n ? result[n / 2] : 0);                                                             \
        free(in);                                                                                  \
        free(result);                                                                              \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), most = size ? size : 3000;
    int16_t *const samples = malloc((most + taps) * sizeof *samples);
    uint64_t state = 5;
    for (size_t i = 0; i < most + taps; i++) // two tones and noise
        samples[i] = (int16_t)(16000 * sin((double)i * 0.05) + 9000 * sin((double)i * 0.9) +
                               next_float(&state, 5000));
    for (size_t n = size; n <= most; n = 3 * n + 1) {
        run_f16(samples, n);
        run_f32(samples, n);
        run_f64(samples, n);
    }
    free(samples);
    return 0;
}
