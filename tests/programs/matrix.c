// Dense matrix products as the compiler vectorises them: along a row of the result, which needs no certain
// order of its sums, and as dot products, whose terms are added in order.
#include "floats.h"

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void by_rows_##suffix(type *restrict c, const type *restrict a, const type *restrict b, \
                                 size_t rows, size_t inner, size_t columns) {                      \
        for (size_t i = 0; i < rows; i++) {                                                        \
            for (size_t j = 0; j < columns; j++)                                                   \
                c[i * columns + j] = 0;                                                            \
            for (size_t k = 0; k < inner; k++)                                                     \
                for (size_t j = 0; j < columns; j++)                                               \
                    c[i * columns + j] += a[i * inner + k] * b[k * columns + j];                   \
        }                                                                                          \
    }                                                                                              \
    KERNEL void by_dots_##suffix(type *restrict c, const type *restrict a, const type *restrict b, \
                                 size_t rows, size_t inner, size_t columns) {                      \
        for (size_t i = 0; i < rows; i++)                                                          \
            for (size_t j = 0; j < columns; j++) {                                                 \
                type sum = 0;                                                                      \
                for (size_t k = 0; k < inner; k++)                                                 \
                    sum += a[i * inner + k] * b[j * inner + k];                                    \
                c[i * columns + j] = sum;                                                          \
            }                                                                                      \
    }                                                                                              \
    static void multiply_##suffix(size_t rows, size_t inner, size_t columns) {                     \
        const size_t in_a = rows * inner, in_b = inner * columns, in_c = rows * columns;           \
        type *const a = (type *)make_guarded(in_a * sizeof(type)).end - in_a;                      \
        type *const b = (type *)make_guarded(in_b * sizeof(type)).end - in_b;                      \
        type *const c = (type *)make_guarded(in_c * sizeof(type)).end - in_c;                      \
        fill_##suffix(a, in_a, 2, 1);                                                              \
        fill_##suffix(b, in_b, 2, 2);                                                              \
        by_rows_##suffix(c, a, b, rows, inner, columns);                                           \
        print_##suffix("by rows", c, in_c);                                                        \
        by_dots_##suffix(c, a, b, rows, inner, columns);                                           \
        print_##suffix("by dots", c, in_c);                                                        \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

static void multiply(size_t rows, size_t inner, size_t columns) {
    printf("%zu x %zu x %zu\n", rows, inner, columns);
    multiply_f16(rows, inner, columns);
    multiply_f32(rows, inner, columns);
    multiply_f64(rows, inner, columns);
}

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv);
    if (size) {
        multiply(size, size, size);
        return 0;
    }
    static const size_t sizes[][3] = {{1, 1, 1},    {3, 5, 2},   {7, 4, 11},   {16, 16, 16},
                                      {19, 33, 41}, {10, 3, 97}, {40, 50, 130}};
    for (size_t i = 0; i < sizeof sizes / sizeof *sizes; i++)
        multiply(sizes[i][0], sizes[i][1], sizes[i][2]);
    return 0;
}
