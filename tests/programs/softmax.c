// Softmax of rows of numbers in half precision, three ways: all in half precision by FEXPA with a tree sum; the
// same with a sum in order; and widened to single precision, where only the result is half.
#include "expa.h"

KERNEL float16_t greatest(const float16_t *row, size_t n) {
    svfloat16_t most = svdup_n_f16(-INFINITY);
    for (size_t i = 0; i < n; i += svcnth()) {
        const svbool_t pg = svwhilelt_b16_u64(i, n);
        most = svmaxnm_f16_m(pg, most, svld1_f16(pg, row + i));
    }
    return svmaxnmv_f16(svptrue_b16(), most);
}

KERNEL void divide(float16_t *row, float16_t by, size_t n) {
    for (size_t i = 0; i < n; i += svcnth()) {
        const svbool_t pg = svwhilelt_b16_u64(i, n);
        svst1_f16(pg, row + i, svdiv_n_f16_x(pg, svld1_f16(pg, row + i), by));
    }
}

KERNEL void softmax_half(float16_t *to, const float16_t *from, size_t n, int in_order) {
    const float16_t most = greatest(from, n);
    svfloat16_t sums = svdup_n_f16(0);
    float16_t sum = 0;
    for (size_t i = 0; i < n; i += svcnth()) {
        const svbool_t pg = svwhilelt_b16_u64(i, n);
        // Where e^x is less than half precision holds, FEXPA would be asked for an exponent that isn't there.
        svfloat16_t x = svsub_n_f16_x(pg, svld1_f16(pg, from + i), most);
        x = svmax_n_f16_x(pg, x, (float16_t)-9.5);
        const svfloat16_t powers = exponential_f16_of(pg, x);
        svst1_f16(pg, to + i, powers);
        if (in_order)
            sum = svadda_f16(pg, sum, powers);
        else
            sums = svadd_f16_m(pg, sums, powers);
    }
    divide(to, in_order ? sum : svaddv_f16(svptrue_b16(), sums), n);
}

KERNEL void softmax_single(float16_t *to, const float16_t *from, size_t n) {
    const float16_t most = greatest(from, n);
    float *const powers = malloc((n + 1) * sizeof(float));
    svfloat32_t sums = svdup_n_f32(0);
    for (size_t i = 0; i < n; i += svcntw()) {
        const svbool_t pg = svwhilelt_b32_u64(i, n);
        const svfloat16_t halves =
            svreinterpret_f16_u32(svld1uh_u32(pg, (const uint16_t *)(const void *)from + i));
        const svfloat32_t x = svsub_n_f32_x(pg, svcvt_f32_f16_x(pg, halves), (float)most);
        const svfloat32_t power = exponential_f32_of(pg, x);
        svst1_f32(pg, powers + i, power);
        sums = svadd_f32_m(pg, sums, power);
    }
    const float sum = svaddv_f32(svptrue_b32(), sums);
    for (size_t i = 0; i < n; i++) // left to the compiler
        to[i] = (float16_t)(powers[i] / sum);
    free(powers);
}

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), most = size ? size : 5000;
    for (size_t n = size ? size : 1; n <= most; n = 2 * n + 1) {
        half *const from = (half *)make_guarded(2 * n).end - n,
                    *const to = (half *)make_guarded(2 * n).end - n;
        float16_t *const in = (void *)from, *const out = (void *)to;
        for (int sharpness = 1; sharpness <= 30; sharpness *= 5) {
            fill_f16(from, n, sharpness, n);
            softmax_half(out, in, n, 0);
            print_f16("half, tree", to, n);
            softmax_half(out, in, n, 1);
            print_f16("half, order", to, n);
            softmax_single(out, in, n);
            print_f16("single", to, n);
            double sum = 0;
            for (size_t i = 0; i < n; i++)
                sum += (double)to[i];
            if (fabs(sum - 1) > 0.01)
                fail("shares do not add up to one");
        }
    }
    return 0;
}
