// Histograms, where two lanes of a vector may count in the same place. Three ways that must agree with the
// scalar loop: lanes that meet take turns, a table for every lane, and a table for every thread.
#include "program.h"

enum { bins = 64, threads = 8 };

KERNEL void count_scalar(uint32_t *counts, const uint8_t *keys, size_t n) {
    for (size_t i = 0; i < n; i++)
        counts[keys[i] % bins]++;
}

// Every lane leaves its number in the place where it would count. Whoever reads its own number there has
// won and counts; the others try again.
KERNEL void count_in_turns(uint32_t *counts, const uint8_t *keys, size_t n) {
    uint32_t winners[bins];
    const svuint32_t self = svindex_u32(0, 1);
    for (size_t i = 0; i < n; i += svcntw()) {
        svbool_t waiting = svwhilelt_b32_u64(i, n);
        const svuint32_t bin = svand_n_u32_x(waiting, svld1ub_u32(waiting, keys + i), bins - 1);
        while (svptest_any(svptrue_b32(), waiting)) {
            svst1_scatter_u32index_u32(waiting, winners, bin, self);
            const svuint32_t winner = svld1_gather_u32index_u32(waiting, winners, bin);
            const svbool_t won = svcmpeq_u32(waiting, winner, self);
            const svuint32_t count = svld1_gather_u32index_u32(won, counts, bin);
            svst1_scatter_u32index_u32(won, counts, bin, svadd_n_u32_x(won, count, 1));
            waiting = svbic_b_z(waiting, waiting, won);
        }
    }
}

// Every lane counts in a table of its own, which are added up at the end.
KERNEL void count_by_lane(uint32_t *counts, const uint8_t *keys, size_t n) {
    const size_t lanes = svcntd();
    uint32_t *const tables = calloc(lanes * bins, sizeof *tables);
    const svuint64_t table = svindex_u64(0, bins);
    for (size_t i = 0; i < n; i += lanes) {
        const svbool_t pg = svwhilelt_b64_u64(i, n);
        const svuint64_t bin = svand_n_u64_x(pg, svld1ub_u64(pg, keys + i), bins - 1);
        const svuint64_t place = svadd_u64_x(pg, table, bin);
        const svuint64_t count = svld1uw_gather_u64index_u64(pg, tables, place);
        svst1w_scatter_u64index_u64(pg, tables, place, svadd_n_u64_x(pg, count, 1));
    }
    for (size_t lane = 0; lane < lanes; lane++)
        for (size_t bin = 0; bin < bins; bin++)
            counts[bin] += tables[lane * bins + bin];
    free(tables);
}

struct work {
    const uint8_t *keys;
    size_t n;
    uint32_t counts[threads][bins];
};

static void count_part(unsigned number, void *shared) {
    struct work *work = shared;
    const size_t from = work->n * number / threads, to = work->n * (number + 1) / threads;
    (number % 2 ? count_in_turns : count_by_lane)(work->counts[number], work->keys + from,
                                                  to - from);
}

KERNEL void count_by_threads(uint32_t *counts, const uint8_t *keys, size_t n) {
    struct work work = {keys, n, {{0}}};
    run_threads(threads, count_part, &work);
    for (size_t i = 0; i < threads; i++)
        for (size_t bin = 0; bin < bins; bin++)
            counts[bin] += work.counts[i][bin];
}

// Counts by all ways, prints the first, and fails if they differ.
static void count(const char *name, const uint8_t *keys, size_t n, int with_threads) {
    uint32_t scalar[bins] = {0}, in_turns[bins] = {0}, by_lane[bins] = {0}, by_threads[bins] = {0};
    count_scalar(scalar, keys, n);
    count_in_turns(in_turns, keys, n);
    count_by_lane(by_lane, keys, n);
    if (with_threads)
        count_by_threads(by_threads, keys, n);
    printf("%s %zu: %u %u %u %u all=%08x\n", name, n, in_turns[0], in_turns[1], in_turns[32],
           in_turns[63], checksum(0, in_turns, sizeof in_turns));
    if (memcmp(scalar, in_turns, sizeof scalar) || memcmp(scalar, by_lane, sizeof scalar) ||
        (with_threads && memcmp(scalar, by_threads, sizeof scalar)))
        fail("the ways of counting differ");
}

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv);
    const struct guarded keys = make_guarded(size ? size : 16384);
    const size_t all = (size_t)(keys.end - keys.begin);
    fill_random(keys.begin, all, 1);
    count("any keys", keys.begin, all, 1);
    if (size)
        return 0;
    for (size_t n = 0; n <= 2 * svcntb(); n += n < 3 * svcntw() ? 1 : 7)
        count("up to the end", keys.end - n, n, 0);

    for (size_t i = 0; i < 4096; i++) // few places, so that lanes meet often
        keys.begin[i] = keys.begin[i] % 4 * (keys.begin[i] / 4 % 4) * 7;
    count("few keys", keys.begin, 4096, 1);
    memset(keys.begin, 32, 600); // and one, where all do
    count("one key", keys.begin + 3, 597, 1);
    return 0;
}
