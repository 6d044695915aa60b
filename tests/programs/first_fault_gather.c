// Sums what a list of offsets or addresses leads to, up to an element that is 0, by first-fault gathers.
#include "first_fault.h"

// The list can be read; what its offsets behind the one that leads to 0 lead to can't.
#define FOLLOW(name, type, letter, bits, load)                                                     \
    KERNEL struct found name(const void *table_, const void *offsets, size_t n) {                  \
        const type *table = table_;                                                                \
        struct found found = {0, 0};                                                               \
        while (found.place < n) {                                                                  \
            const svbool_t pg = svwhilelt_b##bits##_u64(found.place, n);                           \
            const svint##bits##_t offset =                                                         \
                svld1_s##bits(pg, (const int##bits##_t *)offsets + found.place);                   \
            const svuint##bits##_t at = svreinterpret_u##bits##_s##bits(offset);                   \
            (void)table, (void)at;                                                                 \
            svsetffr();                                                                            \
            const __typeof__(load) elements = load;                                                \
            const svbool_t loaded = svrdffr_z(pg);                                                 \
            const svbool_t end = svcmpeq_n_##letter##bits(loaded, elements, 0);                    \
            const svbool_t before = svbrkb_b_z(loaded, end);                                       \
            found.sum += (uint64_t)svaddv_##letter##bits(before, elements);                        \
            found.place += svcntp_b##bits(pg, before);                                             \
            if (svptest_any(pg, end))                                                              \
                break;                                                                             \
            if (!svptest_any(pg, loaded))                                                          \
                fail("a first-fault gather brings nothing");                                       \
        }                                                                                          \
        return found;                                                                              \
    }
FOR_EACH_GATHER(FOLLOW)

int main(void) {
    const struct guarded table =
        make_guarded_at((void *)0x60000000, 4096); // low, for lanes of 32 bits
    fill_without_zeros(table);

    static const struct {
        const char *name;
        struct found (*run)(const void *, const void *, size_t);
        size_t size, lane_size;
        int is_signed;
    } searches[] = {
#define ROW(name, type, letter, bits, load)                                                        \
    {#name, name, sizeof(type), bits / 8, #letter[0] == 's'},
        FOR_EACH_GATHER(ROW)
#undef ROW
    };
    const size_t page = (size_t)sysconf(_SC_PAGESIZE), last = 3 * svcntb() / 4 + 8;
    uint8_t *const offsets = make_guarded(last * 8).end - last * 8;
    for (size_t s = 0; s < sizeof searches / sizeof *searches; s++) {
        const char *name = searches[s].name;
        const size_t size = searches[s].size, lane_size = searches[s].lane_size;
        uint8_t *const origin = gather_origin(name, table);
        uint32_t sum = 0;
        for (size_t n = 0; n < last; n += n < 10 ? 1 : 3) {
            uint64_t state = n + 1;
            struct found expected = {0, 0};
            for (size_t i = 0; i < last; i++) {
                // The table has its 0 at its end; behind the element that is there, all lead astray.
                uint8_t *element = table.end - size;
                if (i < n) {
                    element = table.begin + next_random(&state) % 4000 / size * size;
                    struct found one = {0, 0};
                    take_one(&one, element, size, searches[s].is_signed);
                    expected.sum += one.sum;
                    expected.place++;
                } else if (i > n) {
                    element = table.end + next_random(&state) % (page - 8) / size * size;
                    if (origin != table.begin && next_random(&state) >> 63)
                        element -= table.end - table.begin + (ptrdiff_t)page;
                }
                int64_t offset = gather_offset(name, size, origin, element);
                if (lane_size == 8 && strstr(name, "xtw")) // the upper half must not matter
                    offset = (int64_t)((uint32_t)offset | next_random(&state) << 32);
                memcpy(offsets + i * lane_size, &offset, lane_size);
            }
            memset(table.end - size, 0, size);
            const struct found found = searches[s].run(origin, offsets, last);
            memset(table.end - size, 1, size);
            sum = check(sum, name, found, expected);
        }
        printf("gather %s: %08x\n", name, sum);
    }
    return 0;
}
