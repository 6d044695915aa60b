// Gathers and scatters by every kind of index that the compiler vectorises a look-up with, and by addresses
// in lanes of 32 bits. Tables lie against guard pages.
#include "program.h"

// Element indices of the width and sign that give each form of address; results of every width.
#define LOOK_UP(name, to_type, table_type, index_type)                                             \
    KERNEL void name(void *restrict to_, const void *restrict table_, const void *restrict index_, \
                     size_t n) {                                                                   \
        to_type *restrict to = to_;                                                                \
        const table_type *restrict table = table_;                                                 \
        const index_type *restrict index = index_;                                                 \
        for (size_t i = 0; i < n; i++)                                                             \
            to[i] = table[index[i]];                                                               \
    }
LOOK_UP(u8_by_u32, uint32_t, uint8_t, uint32_t)
LOOK_UP(s16_by_s32, int32_t, int16_t, int32_t)
LOOK_UP(u32_by_u32, uint32_t, uint32_t, uint32_t)
LOOK_UP(u32_by_s32, uint32_t, uint32_t, int32_t)
LOOK_UP(s8_by_u64, int64_t, int8_t, uint64_t)
LOOK_UP(u16_by_u64, uint64_t, uint16_t, uint64_t)
LOOK_UP(s32_by_s32, int64_t, int32_t, int32_t)
LOOK_UP(s32_by_u64, int64_t, int32_t, uint64_t)
LOOK_UP(u64_by_u64, uint64_t, uint64_t, uint64_t)
LOOK_UP(u64_by_s32, uint64_t, uint64_t, int32_t)
LOOK_UP(u64_by_u32, uint64_t, uint64_t, uint32_t)
#undef LOOK_UP

// The other way: elements go where the index says, the higher one last where two meet.
#define PUT(name, table_type, from_type, index_type)                                               \
    KERNEL void name(void *restrict table_, const void *restrict from_,                            \
                     const void *restrict index_, size_t n) {                                      \
        table_type *restrict table = table_;                                                       \
        const from_type *restrict from = from_;                                                    \
        const index_type *restrict index = index_;                                                 \
        for (size_t i = 0; i < n; i++)                                                             \
            table[index[i]] = (table_type)from[i];                                                 \
    }
PUT(put_u8_by_u32, uint8_t, uint32_t, uint32_t)
PUT(put_u16_by_s32, uint16_t, uint32_t, int32_t)
PUT(put_u32_by_s32, uint32_t, uint32_t, int32_t)
PUT(put_u32_by_u64, uint32_t, uint64_t, uint64_t)
PUT(put_u64_by_u64, uint64_t, uint64_t, uint64_t)
PUT(put_u64_by_s32, uint64_t, uint64_t, int32_t)
#undef PUT

// Lanes of 32 bits hold addresses too, where memory lies low enough: for each address the sum of what it
// points at in three widths, which is left there in a half.
KERNEL void visit_low_addresses(uint32_t *to, const uint32_t *addresses, size_t n) {
    for (size_t i = 0; i < n; i += svcntw()) {
        const svbool_t pg = svwhilelt_b32_u64(i, n);
        const svuint32_t at = svld1_u32(pg, addresses + i);
        svuint32_t sum = svld1_gather_u32base_offset_u32(pg, at, 4);
        sum = svadd_u32_x(pg, sum, svld1sh_gather_u32base_offset_u32(pg, at, 8));
        sum = svadd_u32_x(pg, sum, svld1ub_gather_u32base_offset_u32(pg, at, 3));
        svst1h_scatter_u32base_offset_u32(pg, at, 10, sum);
        svst1_u32(pg, to + i, sum);
    }
}

int main(void) {
    const struct guarded table = make_guarded(4096), index = make_guarded(4096),
                         to = make_guarded(8192);

    static const struct {
        const char *name;
        void (*run)(void *restrict to, const void *restrict from, const void *restrict index,
                    size_t n);
        size_t to_size, index_size;
        uint32_t table_size; // bytes of an element that the index counts
        int is_put;
    } kernels[] = {
        {"u8 by u32", u8_by_u32, 4, 4, 1, 0},
        {"s16 by s32", s16_by_s32, 4, 4, 2, 0},
        {"u32 by u32", u32_by_u32, 4, 4, 4, 0},
        {"u32 by s32", u32_by_s32, 4, 4, 4, 0},
        {"s8 by u64", s8_by_u64, 8, 8, 1, 0},
        {"u16 by u64", u16_by_u64, 8, 8, 2, 0},
        {"s32 by s32", s32_by_s32, 8, 4, 4, 0},
        {"s32 by u64", s32_by_u64, 8, 8, 4, 0},
        {"u64 by u64", u64_by_u64, 8, 8, 8, 0},
        {"u64 by s32", u64_by_s32, 8, 4, 8, 0},
        {"u64 by u32", u64_by_u32, 8, 4, 8, 0},
        {"put u8 by u32", put_u8_by_u32, 4, 4, 1, 1},
        {"put u16 by s32", put_u16_by_s32, 4, 4, 2, 1},
        {"put u32 by s32", put_u32_by_s32, 4, 4, 4, 1},
        {"put u32 by u64", put_u32_by_u64, 8, 8, 4, 1},
        {"put u64 by u64", put_u64_by_u64, 8, 8, 8, 1},
        {"put u64 by s32", put_u64_by_s32, 8, 4, 8, 1},
    };
    for (size_t k = 0; k < sizeof kernels / sizeof *kernels; k++) {
        // The whole table is reached, its first and last element too; signed indices count from its middle.
        const uint32_t elements = (uint32_t)(table.end - table.begin) / kernels[k].table_size;
        const int is_signed = strstr(kernels[k].name, "by s") != NULL;
        const uint32_t middle = is_signed ? elements / 2 : 0;
        const size_t most = 3 * svcntb() / kernels[k].to_size + 3;
        uint32_t all = 0;
        printf("%s:", kernels[k].name);
        for (size_t n = 0; n <= most; n++) {
            uint64_t state = n + 1;
            uint8_t *const indices = index.end - n * kernels[k].index_size;
            for (size_t i = 0; i < n; i++) {
                const uint32_t which = (uint32_t)(next_random(&state) >> 40) % (elements + 8);
                const uint32_t element = which < elements ? which : which % 2 * (elements - 1);
                const int64_t value = (int64_t)element - middle;
                memcpy(indices + i * kernels[k].index_size, &value, kernels[k].index_size);
            }
            uint8_t *const origin = table.begin + (size_t)middle * kernels[k].table_size;
            fill_random(table.begin, 4096, kernels[k].is_put ? 0 : k + 1);
            fill_random(to.begin, 8192, 2);
            uint8_t *const vector = n % 2 ? to.begin : to.end - n * kernels[k].to_size;
            if (kernels[k].is_put)
                kernels[k].run(origin, vector, indices, n);
            else
                kernels[k].run(vector, origin, indices, n);
            const uint32_t sum = checksum(checksum(0, table.begin, 4096), to.begin, 8192);
            all = checksum_value(all, sum);
            if (n && n % (most / 3) == 0)
                printf(" %zu=%08x", n, sum);
        }
        printf(" all=%08x\n", all);
    }

    uint64_t state = 99;
    uint8_t *const low = make_guarded_at((void *)0x50000000, 4096).begin;
    fill_random(low, 4096, 7);
    uint32_t addresses[100], visited[100];
    for (unsigned i = 0; i < 100; i++)
        addresses[i] = (uint32_t)(uintptr_t)low + (uint32_t)(next_random(&state) % 2040 * 2);
    visit_low_addresses(visited, addresses, 100);
    printf("low addresses: %08x, %08x, all=%08x, left=%08x\n", visited[0], visited[99],
           checksum(0, visited, sizeof visited), checksum(0, low, 4096));
    return 0;
}
