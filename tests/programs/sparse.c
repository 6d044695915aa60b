// Products of a sparse matrix and a vector, by four threads, as the compiler vectorises them; and a walk
// through many linked lists at once, one a lane.
#include "program.h"

enum { rows = 37, entries = 128, threads = 4 };

// A sparse matrix: row r has the entries from first[r] to first[r + 1], each with its column and value.
struct matrix {
    uint32_t first[rows + 1], columns[8192];
    int32_t values[8192], vector[entries];
    int64_t product[threads][rows];
    int64_t by_column[threads][entries];
};

KERNEL int64_t row_product(const struct matrix *m, uint32_t row) {
    int64_t sum = 0;
    for (uint32_t i = m->first[row]; i < m->first[row + 1]; i++)
        sum += (int64_t)m->values[i] * m->vector[m->columns[i]];
    return sum;
}

// Adds row times factor to a dense vector; a row has no column twice.
KERNEL void add_row(int64_t *restrict to, const struct matrix *restrict m, uint32_t row,
                    int64_t factor) {
#ifdef __clang__
#pragma clang loop vectorize(assume_safety)
#else
#pragma GCC ivdep
#endif
    for (uint32_t i = m->first[row]; i < m->first[row + 1]; i++)
        to[m->columns[i]] += m->values[i] * factor;
}

static void multiply(unsigned number, void *shared) {
    struct matrix *m = shared;
    for (uint32_t row = 0; row < rows; row++)
        m->product[number][row] = row_product(m, row) * (number + 1);
    for (uint32_t row = 0; row < rows; row++)
        add_row(m->by_column[number], m, row, m->product[number][row]);
}

// Sums the nodes of lists, one list a lane, until the last list ends: addresses in the lanes, members by
// immediate offsets, and lanes whose list has ended hold an address that can't be read.
struct node {
    struct node *next;
    uint32_t value;
    int16_t weight;
    uint8_t tag;
};

KERNEL void walk_lists(uint64_t *sums, struct node *const *heads, size_t n) {
    for (size_t i = 0; i < n; i += svcntd()) {
        const svbool_t lanes = svwhilelt_b64_u64(i, n);
        svuint64_t at = svld1_u64(lanes, (const uint64_t *)heads + i);
        svuint64_t sum = svdup_n_u64(0);
        svbool_t live = svcmpne_n_u64(lanes, at, 1);
        while (svptest_any(lanes, live)) {
            const svuint64_t value =
                svld1uw_gather_u64base_offset_u64(live, at, offsetof(struct node, value));
            const svint64_t weight =
                svld1sh_gather_u64base_offset_s64(live, at, offsetof(struct node, weight));
            const svuint64_t tag =
                svld1ub_gather_u64base_offset_u64(live, at, offsetof(struct node, tag));
            sum = svmla_u64_m(live, sum, value, svreinterpret_u64_s64(weight));
            svst1b_scatter_u64base_offset_u64(live, at, offsetof(struct node, tag),
                                              svadd_n_u64_x(live, tag, 3));
            at = svld1_gather_u64base_u64(live, at);
            live = svcmpne_n_u64(live, at, 1);
        }
        svst1_u64(lanes, sums + i, sum);
    }
}

int main(void) {
    static struct matrix m;
    uint64_t state = 99;
    for (uint32_t row = 0, i = 0; row < rows; row++) {
        for (uint32_t column = 0; column < entries; column++)
            if (next_random(&state) % rows < row) {
                m.columns[i] = column;
                m.values[i++] = (int32_t)(next_random(&state) >> 40);
            }
        m.first[row + 1] = i;
    }
    for (unsigned i = 0; i < entries; i++)
        m.vector[i] = (int32_t)(next_random(&state) >> 45) - 200000;
    run_threads(threads, multiply, &m);
    for (unsigned i = 0; i < threads; i++)
        printf("thread %u: rows %08x %lld, columns %08x %lld\n", i,
               checksum(0, m.product[i], sizeof m.product[i]), (long long)m.product[i][rows - 1],
               checksum(0, m.by_column[i], sizeof m.by_column[i]),
               (long long)m.by_column[i][entries - 1]);

    enum { lists = 71, nodes = 1500 };
    static struct node node[nodes];
    static struct node *heads[lists];
    static uint64_t sums[lists];
    for (unsigned i = 0; i < lists; i++)
        heads[i] = (struct node *)1; // no node
    for (unsigned i = 0; i < nodes; i++) {
        struct node **head =
            &heads[next_random(&state) % lists * (next_random(&state) % lists) / lists];
        node[i] = (struct node){*head, (uint32_t)next_random(&state), (int16_t)next_random(&state),
                                (uint8_t)i};
        *head = &node[i];
    }
    walk_lists(sums, heads, lists);
    uint32_t tags = 0;
    for (unsigned i = 0; i < nodes; i++)
        tags = checksum_value(tags, node[i].tag);
    printf("lists: %llx, %llx, all=%08x, tags=%08x\n", (unsigned long long)sums[0],
           (unsigned long long)sums[lists / 2], checksum(0, sums, sizeof sums), tags);
    return 0;
}
