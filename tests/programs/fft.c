// Fourier transforms of complex numbers whose parts lie side by side: radix 4, in Stockham's order, with FCADD
// for quarter turns and FCMLA for products. The inverse gives the input back, as far as the format holds it.
#include "floats.h"

enum { most = 1024 };

#define FORMAT(type, suffix, bits)                                                                 \
    struct root_##suffix {                                                                         \
        type re, im;                                                                               \
    };                                                                                             \
    /* The products of complex numbers and one root, which stands in every place. */               \
    static inline svfloat##bits##_t turn_##suffix(svbool_t pg, svfloat##bits##_t x,                \
                                                  struct root_##suffix root) {                     \
        const svfloat##bits##_t w =                                                                \
            svtrn1_##suffix(svdup_n_##suffix(root.re), svdup_n_##suffix(root.im));                 \
        const svfloat##bits##_t half = svcmla_##suffix##_x(pg, svdup_n_##suffix(0), x, w, 0);      \
        return svcmla_##suffix##_x(pg, half, x, w, 90);                                            \
    }                                                                                              \
    /* Joins four transforms of n / 4 numbers, which alternate in runs of `stride`, to one. */     \
    KERNEL void stage_##suffix(type *restrict to, const type *restrict from, size_t n,             \
                               size_t stride, const struct root_##suffix *roots, int inverse) {    \
        const size_t quarter = n / 4, lanes = svcntb() * 8 / bits;                                 \
        for (size_t p = 0; p < quarter; p++)                                                       \
            for (size_t q = 0; q < 2 * stride; q += lanes) {                                       \
                const svbool_t pg = svwhilelt_b##bits##_u64(q, 2 * stride);                        \
                const type *x = from + 2 * stride * p + q;                                         \
                type *y = to + 8 * stride * p + q;                                                 \
                const svfloat##bits##_t a = LOAD(suffix, x);                                       \
                const svfloat##bits##_t b = LOAD(suffix, x + 2 * stride * quarter);                \
                const svfloat##bits##_t c = LOAD(suffix, x + 4 * stride * quarter);                \
                const svfloat##bits##_t d = LOAD(suffix, x + 6 * stride * quarter);                \
                const svfloat##bits##_t a_c = svadd_##suffix##_x(pg, a, c);                        \
                const svfloat##bits##_t b_d = svadd_##suffix##_x(pg, b, d);                        \
                const svfloat##bits##_t ac = svsub_##suffix##_x(pg, a, c);                         \
                const svfloat##bits##_t bd = svsub_##suffix##_x(pg, b, d);                         \
                const svfloat##bits##_t left = svcadd_##suffix##_x(pg, ac, bd, 90);                \
                const svfloat##bits##_t right = svcadd_##suffix##_x(pg, ac, bd, 270);              \
                const size_t at = stride * p;                                                      \
                STORE(suffix, y, svadd_##suffix##_x(pg, a_c, b_d));                                \
                STORE(suffix, y + 2 * stride,                                                      \
                      turn_##suffix(pg, inverse ? left : right, roots[at]));                       \
                STORE(suffix, y + 4 * stride,                                                      \
                      turn_##suffix(pg, svsub_##suffix##_x(pg, a_c, b_d), roots[2 * at]));         \
                STORE(suffix, y + 6 * stride,                                                      \
                      turn_##suffix(pg, inverse ? right : left, roots[3 * at]));                   \
            }                                                                                      \
    }                                                                                              \
    /* Transforms n numbers, a power of four, in place; `spare` has room for as many. */           \
    static void transform_##suffix(type *data, type *spare, size_t n, int inverse) {               \
        struct root_##suffix roots[most];                                                          \
        for (size_t i = 0; i < n; i++) {                                                           \
            const double angle = (inverse ? 2 : -2) * M_PI * (double)i / (double)n;                \
            roots[i] = (struct root_##suffix){(type)cos(angle), (type)sin(angle)};                 \
        }                                                                                          \
        for (size_t stride = 1; stride < n; stride *= 4) {                                         \
            stage_##suffix(spare, data, n / stride, stride, roots, inverse);                       \
            memcpy(data, spare, 2 * n * sizeof(type));                                             \
        }                                                                                          \
    }                                                                                              \
    static void run_##suffix(size_t n, double tolerance) {                                         \
        type data[2 * most], before[2 * most], spare[2 * most];                                    \
        fill_##suffix(before, 2 * n, 1, n);                                                        \
        memcpy(data, before, sizeof data);                                                         \
        transform_##suffix(data, spare, n, 0);                                                     \
        print_##suffix("spectrum", data, 2 * n);                                                   \
        double re = 0;                                                                             \
        for (size_t i = 0; i < n; i++) /* the second number of the spectrum, by its definition */  \
            re += (double)before[2 * i] * cos(2 * M_PI * (double)i / (double)n) +                  \
                  (double)before[2 * i + 1] * sin(2 * M_PI * (double)i / (double)n);               \
        if (n > 1 && fabs(re - (double)data[2]) > tolerance * (double)n)                           \
            fail("spectrum is wrong");                                                             \
        transform_##suffix(data, spare, n, 1);                                                     \
        for (size_t i = 0; i < 2 * n; i++)                                                         \
            if (fabs((double)data[i] / (double)n - (double)before[i]) > tolerance)                 \
                fail("the inverse is not the input");                                              \
        print_##suffix("inverse", data, 2 * n);                                                    \
    }
#define LOAD(suffix, from) svld1_##suffix(pg, (const void *)(from))
#define STORE(suffix, to, vector) svst1_##suffix(pg, (void *)(to), vector)
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(void) {
    for (size_t n = 1; n <= most; n *= 4) {
        run_f16(n, 0.02);
        run_f32(n, 1e-6);
        run_f64(n, 1e-14);
    }
    return 0;
}
