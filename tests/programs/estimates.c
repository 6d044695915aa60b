// Reciprocals and square roots without division: from the estimates of FRECPE and FRSQRTE by the steps of FRECPS
// and FRSQRTS, compared with divisions; exponents by FRECPX and FSCALE; roundings to whole numbers. Numbers come
// from all bit patterns, so that many are tiny, huge or no numbers.
#include "floats.h"

enum { most = 3000 };

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void estimate_##suffix(type *restrict to, const type *restrict from, size_t n) {        \
        for (size_t i = 0; i < n; i += svcntb() * 8 / bits) {                                      \
            const svbool_t pg = svwhilelt_b##bits##_u64(i, n);                                     \
            const svfloat##bits##_t x = svld1_##suffix(pg, (const void *)(from + i));              \
            svfloat##bits##_t reciprocal = svrecpe_##suffix(x), root = svrsqrte_##suffix(x);       \
            for (int step = 0; step < (bits == 16 ? 1 : bits == 32 ? 2 : 3); step++) {             \
                const svfloat##bits##_t right = svrecps_##suffix(x, reciprocal);                   \
                reciprocal = svmul_##suffix##_x(pg, reciprocal, right);                            \
                const svfloat##bits##_t square = svmul_##suffix##_x(pg, root, root);               \
                root = svmul_##suffix##_x(pg, root, svrsqrts_##suffix(x, square));                 \
            }                                                                                      \
            const svint##bits##_t exponent = svreinterpret_s##bits##_##suffix(x);                  \
            svst1_##suffix(pg, (void *)(to + i), reciprocal);                                      \
            svst1_##suffix(pg, (void *)(to + n + i), root);                                        \
            svst1_##suffix(pg, (void *)(to + 2 * n + i), svrecpx_##suffix##_x(pg, x));             \
            svst1_##suffix(                                                                        \
                pg, (void *)(to + 3 * n + i),                                                      \
                svscale_##suffix##_x(pg, x, svasr_n_s##bits##_x(pg, exponent, bits / 2)));         \
            svst1_##suffix(pg, (void *)(to + 4 * n + i), svmulx_##suffix##_x(pg, x, reciprocal));  \
            svst1_##suffix(pg, (void *)(to + 5 * n + i), svrinta_##suffix##_x(pg, x));             \
            svst1_##suffix(pg, (void *)(to + 6 * n + i), svrintx_##suffix##_x(pg, x));             \
            svst1_##suffix(pg, (void *)(to + 7 * n + i), svabd_##suffix##_x(pg, x, root));         \
        }                                                                                          \
    }                                                                                              \
    static void run_##suffix(size_t n, double tolerance) {                                         \
        type *const from = (type *)make_guarded(n * sizeof(type)).end - n;                         \
        type *const to = (type *)make_guarded(8 * n * sizeof(type)).end - 8 * n;                   \
        fill_##suffix(from, n, 300, n);                                                            \
        estimate_##suffix(to, from, n);                                                            \
        for (size_t i = 0; i < n; i++) {                                                           \
            const double x = (double)from[i];                                                      \
            if (!(fabs((double)to[i] * x - 1) <= tolerance) ||                                     \
                (x > 0 && !(fabs((double)to[n + i] * sqrt(x) - 1) <= tolerance)))                  \
                fail("that is no reciprocal");                                                     \
        }                                                                                          \
        print_##suffix("numbers", to, 8 * n);                                                      \
        fill_random(from, n * sizeof(type), n + bits);                                             \
        estimate_##suffix(to, from, n);                                                            \
        print_##suffix("any bits", to, 8 * n);                                                     \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(void) {
    for (size_t n = 0; n <= most; n = 2 * n + 1) {
        run_f16(n, 0x1p-8);
        run_f32(n, 0x1p-20);
        run_f64(n, 0x1p-48);
    }
    return 0;
}
