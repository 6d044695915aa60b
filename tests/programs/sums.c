// Sums in order and by trees, dot products, and extremes among NaNs, infinities and signed zeros; of arrays of
// many lengths, and of a long one by threads. Built twice: as written, where the compiler must keep the order of
// a loop's sum, and with leave to change it, where subnormal numbers are flushed to zero, too.
#include "floats.h"

enum { most = 4096, threads = 4 };

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL type loop_##suffix(const type *values, size_t n) {                                      \
        type sum = 0;                                                                              \
        for (size_t i = 0; i < n; i++)                                                             \
            sum += values[i];                                                                      \
        return sum;                                                                                \
    }                                                                                              \
    KERNEL type squares_##suffix(const type *values, size_t n) {                                   \
        type sum = 0;                                                                              \
        for (size_t i = 0; i < n; i++)                                                             \
            sum += values[i] * values[i];                                                          \
        return sum;                                                                                \
    }                                                                                              \
    KERNEL type most_##suffix(const type *values, size_t n) {                                      \
        type greatest = values[0];                                                                 \
        for (size_t i = 1; i < n; i++)                                                             \
            greatest = values[i] > greatest ? values[i] : greatest;                                \
        return greatest;                                                                           \
    }                                                                                              \
    /* In order, each vector by a tree, and one tree of the sums of lanes; then the extremes. */   \
    KERNEL void reduce_##suffix(type to[7], const type *values, size_t n) {                        \
        const svbool_t all = svptrue_b##bits();                                                    \
        svfloat##bits##_t lanes = svdup_n_##suffix(0), low = svdup_n_##suffix(INFINITY);           \
        svfloat##bits##_t high = svdup_n_##suffix(-INFINITY), any = high;                          \
        type ordered = 0, trees = 0;                                                               \
        for (size_t i = 0; i < n; i += svcntb() * 8 / bits) {                                      \
            const svbool_t pg = svwhilelt_b##bits##_u64(i, n);                                     \
            const svfloat##bits##_t v = svld1_##suffix(pg, (const void *)(values + i));            \
            ordered = (type)svadda_##suffix(pg, ordered, v);                                       \
            trees += (type)svaddv_##suffix(pg, v);                                                 \
            lanes = svadd_##suffix##_m(pg, lanes, v);                                              \
            low = svminnm_##suffix##_m(pg, low, v);                                                \
            high = svmaxnm_##suffix##_m(pg, high, v);                                              \
            any = svmax_##suffix##_m(pg, any, v);                                                  \
        }                                                                                          \
        const svbool_t some = svwhilelt_b##bits##_u64(0, n);                                       \
        to[0] = ordered, to[1] = trees, to[2] = (type)svaddv_##suffix(all, lanes);                 \
        to[3] = (type)svminnmv_##suffix(all, low), to[4] = (type)svmaxnmv_##suffix(all, high);     \
        to[5] = (type)svmaxv_##suffix(some, any), to[6] = (type)svminv_##suffix(some, low);        \
    }                                                                                              \
    static type values_##suffix[most];                                                             \
    static type parts_##suffix[threads][10];                                                       \
    static void part_##suffix(unsigned number, void *unused) {                                     \
        const size_t n = most / threads;                                                           \
        const type *const values = values_##suffix + number * n;                                   \
        type *const to = parts_##suffix[number];                                                   \
        (void)unused;                                                                              \
        reduce_##suffix(to, values, n);                                                            \
        to[7] = loop_##suffix(values, n);                                                          \
        to[8] = squares_##suffix(values, n);                                                       \
        to[9] = most_##suffix(values, n);                                                          \
    }                                                                                              \
    static void run_##suffix(void) {                                                               \
        fill_##suffix(values_##suffix, most, 8, 3);                                                \
        run_threads(threads, part_##suffix, NULL);                                                 \
        print_##suffix("threads", parts_##suffix[0], threads * 10);                                \
        for (size_t n = 1; n < 3 * svcntb() * 8 / bits + 2; n += 1 + n / 8) {                      \
            type *const values = (type *)make_guarded(n * sizeof(type)).end - n, to[10];           \
            memcpy(values, values_##suffix, n * sizeof(type));                                     \
            values[n / 2] *= (type)(bits == 16 ? 0x1p-22 : bits == 32 ? 0x1p-138 : 0x1p-1050);     \
            for (int special = 0; special < 4; special++) {                                        \
                values[n / 3] = (type)(special == 1   ? INFINITY                                   \
                                       : special == 2 ? -0.0                                       \
                                       : special == 3 ? NAN                                        \
                                                      : 1);                                        \
                reduce_##suffix(to, values, n);                                                    \
                to[7] = loop_##suffix(values, n);                                                  \
                to[8] = squares_##suffix(values, n);                                               \
                to[9] = most_##suffix(values, n);                                                  \
                print_##suffix("sums", to, 10);                                                    \
            }                                                                                      \
        }                                                                                          \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(void) {
    run_f16();
    run_f32();
    run_f64();
    return 0;
}
