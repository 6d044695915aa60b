// The exponential function by FEXPA in each format, compared with the C library's.
#include "expa.h"

enum { most = 6000 };

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void apply_##suffix(type *to, const type *from, size_t n) {                             \
        for (size_t i = 0; i < n; i += svcntb() * 8 / bits) {                                      \
            const svbool_t pg = svwhilelt_b##bits##_u64(i, n);                                     \
            const svfloat##bits##_t x = svld1_##suffix(pg, (const void *)(from + i));              \
            svst1_##suffix(pg, (void *)(to + i), exponential_##suffix##_of(pg, x));                \
        }                                                                                          \
    }                                                                                              \
    static void run_##suffix(size_t n, double limit, double tolerance) {                           \
        type *const in = (type *)make_guarded(n * sizeof(type)).end - n;                           \
        type *const out = (type *)make_guarded(n * sizeof(type)).end - n;                          \
        fill_##suffix(in, n, limit, n);                                                            \
        apply_##suffix(out, in, n);                                                                \
        for (size_t i = 0; i < n; i++)                                                             \
            if (fabs((double)out[i] / exp((double)in[i]) - 1) > tolerance)                         \
                fail("that is no exponential");                                                    \
        print_##suffix("exponential", out, n);                                                     \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(void) {
    for (size_t n = 0; n <= most; n = 2 * n + 1) {
        run_f16(n, 8, 0x1p-9);
        run_f32(n, 80, 0x1p-21);
        run_f64(n, 700, 0x1p-50);
    }
    return 0;
}
