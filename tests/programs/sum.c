// Reductions as the compiler vectorises them: sums into wider elements, least and greatest values, bitwise
// ones, dot products, conditional ones and the last match; from sizes of 0 to beyond three vectors, and a
// long array by eight threads.
#include "program.h"

#define REDUCE(name, result_type, type, start, step)                                               \
    KERNEL uint64_t name(const void *data, const void *other, size_t n) {                          \
        const type *restrict a = data, *restrict b = other;                                        \
        result_type r = start;                                                                     \
        (void)b;                                                                                   \
        for (size_t i = 0; i < n; i++)                                                             \
            step;                                                                                  \
        return (uint64_t)r;                                                                        \
    }

#define LESS(x, y) ((x) < (y) ? (x) : (y))
#define GREATER(x, y) ((x) > (y) ? (x) : (y))

REDUCE(sum_u8_u32, uint32_t, uint8_t, 0, r += a[i])
REDUCE(sum_s8_s64, int64_t, int8_t, 0, r += a[i])
REDUCE(sum_u16_u16, uint16_t, uint16_t, 0, r = (uint16_t)(r + a[i]))
REDUCE(sum_s16_s64, int64_t, int16_t, 0, r += a[i])
REDUCE(sum_s32_s64, int64_t, int32_t, 0, r += a[i])
REDUCE(sum_u64_u64, uint64_t, uint64_t, 0, r += a[i])
REDUCE(least_s8, int8_t, int8_t, INT8_MAX, r = LESS(a[i], r))
REDUCE(greatest_u16, uint16_t, uint16_t, 0, r = GREATER(a[i], r))
REDUCE(least_u32, uint32_t, uint32_t, UINT32_MAX, r = LESS(a[i], r))
REDUCE(greatest_s32, int32_t, int32_t, INT32_MIN, r = GREATER(a[i], r))
REDUCE(least_s64, int64_t, int64_t, INT64_MAX, r = LESS(a[i], r))
REDUCE(greatest_u64, uint64_t, uint64_t, 0, r = GREATER(a[i], r))
REDUCE(and_u32, uint32_t, uint32_t, UINT32_MAX, r &= a[i] | b[i])
REDUCE(or_u64, uint64_t, uint64_t, 0, r |= a[i] & b[i])
REDUCE(xor_u8, uint8_t, uint8_t, 0, r ^= a[i])
REDUCE(dot_s8_s32, int32_t, int8_t, 0, r += a[i] * b[i])
REDUCE(dot_u8_u32, uint32_t, uint8_t, 0, r += (uint32_t)a[i] * b[i])
REDUCE(dot_s16_s64, int64_t, int16_t, 0, r += (int64_t)a[i] * b[i])
REDUCE(dot_u32_u32, uint32_t, uint32_t, 0, r += a[i] * b[i])
REDUCE(differences_u8, uint32_t, uint8_t, 0, r += (uint32_t)abs(a[i] - b[i]))
REDUCE(sum_of_odd_s32, int32_t, int32_t, 0, r += a[i] & 1 ? a[i] : -(a[i] >> 3))
REDUCE(quotients_u32, uint32_t, uint32_t, 0, r += a[i] / (b[i] >> 9 | 1))
REDUCE(matches_u16, uint64_t, uint16_t, 0, r += (a[i] ^ b[i]) % 4 == 0)
REDUCE(last_match_u32, int64_t, uint32_t, -1, if (a[i] < b[i] >> 1) r = a[i])
REDUCE(place_u64, uint64_t, uint64_t, 0, r = r + (a[i] ^ i) * (2 * i + 1))

static const struct {
    const char *name;
    uint64_t (*run)(const void *, const void *, size_t);
    size_t size;
} kernels[] = {
    {"sum u8 into u32", sum_u8_u32, 1},
    {"sum s8 into s64", sum_s8_s64, 1},
    {"sum u16", sum_u16_u16, 2},
    {"sum s16 into s64", sum_s16_s64, 2},
    {"sum s32 into s64", sum_s32_s64, 4},
    {"sum u64", sum_u64_u64, 8},
    {"least s8", least_s8, 1},
    {"greatest u16", greatest_u16, 2},
    {"least u32", least_u32, 4},
    {"greatest s32", greatest_s32, 4},
    {"least s64", least_s64, 8},
    {"greatest u64", greatest_u64, 8},
    {"and u32", and_u32, 4},
    {"or u64", or_u64, 8},
    {"xor u8", xor_u8, 1},
    {"dot s8 into s32", dot_s8_s32, 1},
    {"dot u8 into u32", dot_u8_u32, 1},
    {"dot s16 into s64", dot_s16_s64, 2},
    {"dot u32", dot_u32_u32, 4},
    {"differences u8", differences_u8, 1},
    {"sum of odd s32", sum_of_odd_s32, 4},
    {"quotients u32", quotients_u32, 4},
    {"matches u16", matches_u16, 2},
    {"last match u32", last_match_u32, 4},
    {"place u64", place_u64, 8},
};

enum { count = sizeof kernels / sizeof *kernels, threads = 8, part_bytes = 8192 };

struct work {
    const uint8_t *a, *b;
    uint64_t results[threads][count];
};

static void reduce_part(unsigned number, void *shared) {
    struct work *work = shared;
    const size_t from = number * (size_t)part_bytes;
    for (unsigned k = 0; k < count; k++)
        work->results[number][k] =
            kernels[k].run(work->a + from, work->b + from, part_bytes / kernels[k].size);
}

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), bytes = size ? size : threads * part_bytes;
    const struct guarded a = make_guarded(bytes), b = make_guarded(bytes);
    fill_random(a.begin, (size_t)(a.end - a.begin), 1);
    fill_random(b.begin, (size_t)(b.end - b.begin), 2);
    if (size) {
        for (unsigned k = 0; k < count; k++)
            printf("%s: %llx\n", kernels[k].name,
                   (unsigned long long)kernels[k].run(a.begin, b.begin, size / kernels[k].size));
        return 0;
    }
    struct work work = {a.begin, b.begin, {{0}}};
    run_threads(threads, reduce_part, &work);

    for (unsigned k = 0; k < count; k++) {
        const size_t size = kernels[k].size, most = 3 * vector_bytes() / size + 3;
        uint32_t all = 0;
        printf("%s:", kernels[k].name);
        for (size_t n = 0; n <= most; n++) {
            // Against the lower guard page, against the upper, and one element into the buffers.
            const uint64_t low = kernels[k].run(a.begin, b.end - n * size, n);
            const uint64_t high = kernels[k].run(a.end - n * size, b.begin, n);
            const uint64_t in = kernels[k].run(a.begin + size, b.begin + 3 * size, n);
            all = checksum_value(checksum_value(checksum_value(all, low), high), in);
            if (n && n % (most / 3) == 0)
                printf(" %zu=%llx", n, (unsigned long long)low);
        }
        uint64_t of_threads = 0;
        for (unsigned i = 0; i < threads; i++)
            of_threads = of_threads * 3 + work.results[i][k];
        printf(" all=%08x threads=%llx\n", all, (unsigned long long)of_threads);
    }
    return 0;
}
