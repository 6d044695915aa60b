// Arithmetic in every rounding mode, with subnormal numbers and without, and what the exception flags say after
// it; conversions between formats and to and from integers. The loops are the compiler's.
#include "floats.h"

enum { count = 203 };

#define half_sqrt __builtin_sqrtf16
#define float_sqrt sqrtf
#define double_sqrt sqrt
#define half_fma __builtin_fmaf16
#define float_fma fmaf
#define double_fma fma

#define LOOP(name, to_type, from_type, element)                                                    \
    KERNEL void name(void *restrict to_, const void *restrict a_, const void *restrict b_) {       \
        to_type *restrict to = to_;                                                                \
        const from_type *restrict a = a_, *restrict b = b_;                                        \
        (void)b;                                                                                   \
        for (size_t i = 0; i < count; i++)                                                         \
            to[i] = (to_type)(element);                                                            \
    }
#define FORMAT(type, suffix, bits)                                                                 \
    LOOP(add_##suffix, type, type, a[i] + b[i])                                                    \
    LOOP(subtract_##suffix, type, type, a[i] - b[count - 1 - i])                                   \
    LOOP(multiply_##suffix, type, type, a[i] * b[i])                                               \
    LOOP(divide_##suffix, type, type, a[i] / b[i])                                                 \
    LOOP(root_##suffix, type, type, type##_sqrt(a[i]))                                             \
    LOOP(fuse_##suffix, type, type, type##_fma(a[i], b[i], a[count - 1 - i]))                      \
    LOOP(least_##suffix, type, type, a[i] < b[i] ? a[i] : -b[i])                                   \
    LOOP(to_integer_##suffix, int##bits##_t, type, a[i])                                           \
    LOOP(from_integer_##suffix, type, int##bits##_t, a[i])                                         \
    LOOP(from_unsigned_##suffix, type, uint##bits##_t, a[i])
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT
LOOP(double_to_float, float, double, a[i])
LOOP(double_to_half, half, double, a[i])
LOOP(float_to_half, half, float, a[i])
LOOP(half_to_float, float, half, a[i])
LOOP(half_to_double, double, half, a[i])
LOOP(float_to_double, double, float, a[i])
LOOP(long_to_float, float, int64_t, a[i])
LOOP(double_to_int, int32_t, double, a[i])
LOOP(float_to_long, int64_t, float, a[i])

static const struct {
    const char *name;
    void (*run)(void *restrict to, const void *restrict a, const void *restrict b);
    size_t to_size, from_size;
} loops[] = {
#define ROW(name, to_type, from_type) {#name, name, sizeof(to_type), sizeof(from_type)},
#define FORMAT(type, suffix, bits)                                                                 \
    ROW(add_##suffix, type, type)                                                                  \
    ROW(subtract_##suffix, type, type)                                                             \
    ROW(multiply_##suffix, type, type)                                                             \
    ROW(divide_##suffix, type, type)                                                               \
    ROW(root_##suffix, type, type)                                                                 \
    ROW(fuse_##suffix, type, type)                                                                 \
    ROW(least_##suffix, type, type)                                                                \
    ROW(to_integer_##suffix, type, type)                                                           \
    ROW(from_integer_##suffix, type, type)                                                         \
    ROW(from_unsigned_##suffix, type, type)
    FOR_EACH_FORMAT(FORMAT)
#undef FORMAT
        ROW(double_to_float, float, double) ROW(double_to_half, half, double)
            ROW(float_to_half, half, float) ROW(half_to_float, float, half)
                ROW(half_to_double, double, half) ROW(float_to_double, double, float)
                    ROW(long_to_float, float, int64_t) ROW(double_to_int, int32_t, double)
                        ROW(float_to_long, int64_t, float)
#undef ROW
};

// The control word: bits 23:22 say how to round, 24 flushes to zero, 25 asks for the default NaN, 19 flushes in
// half precision.
static void set_control(uint64_t control) {
    __asm__ volatile("msr fpcr, %0" ::"r"(control) : "memory");
}

// Clears the status word and returns its flags of exceptions: from bit 0 on invalid, division by zero,
// overflow, underflow and inexact; bit 7 says that a subnormal operand was flushed.
static unsigned take_status(void) {
    uint64_t status;
    __asm__ volatile("mrs %0, fpsr\n\tmsr fpsr, xzr" : "=r"(status)::"memory");
    return status & 0x9f;
}

int main(void) {
    static const struct {
        const char *name;
        uint64_t control;
    } modes[] = {
        {"nearest", 0},
        {"up", 1 << 22},
        {"down", 2 << 22},
        {"to zero", 3 << 22},
        {"flush", 1 << 24 | 1 << 19},
        {"default NaN, up", 1 << 25 | 1 << 22},
    };
    // Any bits; and numbers of like sizes, where most results are inexact but nothing worse.
    static uint8_t inputs[2][2][8 * count], output[8 * count];
    for (size_t m = 0; m < sizeof modes / sizeof *modes; m++) {
        printf("%s\n", modes[m].name);
        for (size_t l = 0; l < sizeof loops / sizeof *loops; l++) {
            const size_t size = loops[l].from_size, bytes = count * loops[l].to_size;
            fill_random(inputs[0][0], sizeof inputs[0], l);
            void *const a = inputs[1][0], *const b = inputs[1][1];
            if (size == 2)
                fill_f16(a, count, 4, l), fill_f16(b, count, 4, l + 50);
            else if (size == 4)
                fill_f32(a, count, 4, l), fill_f32(b, count, 4, l + 50);
            else
                fill_f64(a, count, 4, l), fill_f64(b, count, 4, l + 50);
            printf("%s:", loops[l].name);
            for (int kind = 0; kind < 2; kind++) {
                take_status();
                set_control(modes[m].control);
                loops[l].run(output, inputs[kind][0], inputs[kind][1]);
                set_control(0);
                const unsigned status = take_status();
                printf(" %08x flags %02x", checksum(0, output, bytes), status);
            }
            printf("\n");
        }
    }
    return 0;
}
