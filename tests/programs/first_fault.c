// Sums up to an element that is 0, by every form of contiguous first-fault and non-fault load. The element
// lies right before a page that can't be read, or a few bytes before.
#include "first_fault.h"

// One search for each form of load: elements of `size` bytes in lanes of `bits`. A non-fault load may refuse
// the first element, which an ordinary load then has to take; a first-fault load may not.
#define SEARCH(kind, form, size, type, letter, bits)                                               \
    KERNEL struct found kind##form(const uint8_t *data) {                                          \
        const svbool_t all = svptrue_b##bits();                                                    \
        struct found found = {0, 0};                                                               \
        for (;;) {                                                                                 \
            svsetffr();                                                                            \
            const sv##type##bits##_t elements =                                                    \
                svld##kind##form(all, (const void *)(data + size * found.place));                  \
            const svbool_t loaded = svrdffr_z(all);                                                \
            const svbool_t end = svcmpeq_n_##letter##bits(loaded, elements, 0);                    \
            const svbool_t before = svbrkb_b_z(loaded, end);                                       \
            found.sum += (uint64_t)svaddv_##letter##bits(before, elements);                        \
            found.place += svcntp_b##bits(all, before);                                            \
            if (svptest_any(all, end))                                                             \
                return found;                                                                      \
            if (!svptest_any(all, loaded)) {                                                       \
                if (#kind[0] == 'f')                                                               \
                    fail("a first-fault load brings nothing");                                     \
                if (!take_one(&found, data, size, #letter[0] == 's'))                              \
                    return found;                                                                  \
            }                                                                                      \
        }                                                                                          \
    }
#define BOTH_KINDS(...) SEARCH(ff1, __VA_ARGS__) SEARCH(nf1, __VA_ARGS__)
FOR_EACH_FORM(BOTH_KINDS)

int main(void) {
    const struct guarded data = make_guarded(8192);
    fill_without_zeros(data);

    static const struct {
        const char *name;
        struct found (*run[2])(const uint8_t *);
        size_t size;
        int is_signed;
    } searches[] = {
#define ROW(form, size, type, letter, bits)                                                        \
    {#form, {ff1##form, nf1##form}, size, #letter[0] == 's'},
        FOR_EACH_FORM(ROW)
#undef ROW
    };
    for (size_t s = 0; s < sizeof searches / sizeof *searches; s++) {
        const size_t size = searches[s].size, most = 2 * svcntb() + 3;
        uint32_t sum = 0;
        for (size_t n = 0; n <= most; n += n < 10 ? 1 : 7) {
            for (size_t left = 0; left <= size;
                 left++) { // bytes between the end and the guard page
                uint8_t *const end = data.end - left - size, *const begin = end - n * size;
                uint8_t kept[8];
                memcpy(kept, end, size);
                memset(end, 0, size);
                const struct found expected = search_scalar(begin, size, searches[s].is_signed);
                for (int kind = 0; kind < 2; kind++)
                    sum = check(sum, searches[s].name, searches[s].run[kind](begin), expected);
                memcpy(end, kept, size);
            }
        }
        printf("ldff1%s, ldnf1%s: %08x\n", searches[s].name, searches[s].name, sum);
    }
    return 0;
}
