// The Mandelbrot set with intrinsics, a point a lane: points that have gone far leave the predicate, until
// none is left. Drawn in each format.
#include "floats.h"

enum { width = 64, rounds = 40 };

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void row_##suffix(uint8_t *counts, type y) {                                            \
        const svbool_t all = svptrue_b##bits();                                                    \
        for (size_t i = 0; i < width; i += svcntp_b##bits(all, all)) {                             \
            const svbool_t pg = svwhilelt_b##bits##_u64(i, width);                                 \
            const svuint##bits##_t number = svindex_u##bits((uint##bits##_t)i, 1);                 \
            const svfloat##bits##_t place = svcvt_##suffix##_u##bits##_x(pg, number);              \
            const svfloat##bits##_t cx =                                                           \
                svmad_n_##suffix##_x(pg, place, svdup_n_##suffix((type)(3.0 / width)), -2.25);     \
            svfloat##bits##_t zx = cx, zy = svdup_n_##suffix(y);                                   \
            svuint##bits##_t count = svdup_n_u##bits(0);                                           \
            svbool_t near = pg;                                                                    \
            for (int round = 0; round < rounds && svptest_any(pg, near); round++) {                \
                const svfloat##bits##_t square = svmul_##suffix##_x(near, zy, zy);                 \
                const svfloat##bits##_t length = svmla_##suffix##_x(near, square, zx, zx);         \
                near = svcmple_n_##suffix(near, length, 4);                                        \
                count = svadd_n_u##bits##_m(near, count, 1);                                       \
                const svfloat##bits##_t zx_zy = svmul_##suffix##_x(near, zx, zy);                  \
                zx = svadd_##suffix##_x(near, svnmsb_##suffix##_x(near, zx, zx, square), cx);      \
                zy = svmla_n_##suffix##_x(near, svdup_n_##suffix(y), zx_zy, 2);                    \
            }                                                                                      \
            STORE_##suffix(pg, counts + i, count);                                                 \
        }                                                                                          \
    }                                                                                              \
    static void draw_##suffix(int height) {                                                        \
        uint8_t(*const counts)[width] = malloc((size_t)height * sizeof *counts);                   \
        for (int line = 0; line < height; line++)                                                  \
            row_##suffix(counts[line], (type)((line - height / 2) * (2.5 / height)));              \
        printf(#suffix ": %08x\n", checksum(0, counts, (size_t)height * sizeof *counts));          \
        for (int line = 0; line < height; line++) {                                                \
            for (int i = 0; i < width; i++)                                                        \
                putchar(" .:-=+*#%@"[counts[line][i] * 9 / rounds]);                               \
            putchar('\n');                                                                         \
        }                                                                                          \
        free(counts);                                                                              \
    }
#define STORE_f16 svst1b_u16
#define STORE_f32 svst1b_u32
#define STORE_f64 svst1b_u64
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv);
    const int height = size ? (int)size : 22;
    draw_f16(height);
    draw_f32(height);
    draw_f64(height);
    return 0;
}
