// Sixteen threads in first-fault and non-fault loads across unreadable pages at once, each load checked: of
// the elements that FFR vouches for, active ones are what is in memory and can be read, and inactive ones
// are 0; after a first-fault load FFR is a run from the first element on that includes the first active one.
//
// A processor emulator is known to lose first active elements behind inactive ones before a page end, and to
// fault where an element reaches from an unreadable page into the next. `tame` does without both, so that
// there is something to compare with.
//
//     fault_storm SECONDS [tame]
#include "first_fault.h"
#include <time.h>

// Each thread tries every form so often, however slow the machine is.
enum { threads = 16, pages = 24, least_rounds = 40 };

struct lanes {
    uint8_t values[256], ffr[256];
};

// Loads by the predicate whose bits are in the bytes of `active`, and leaves what FFR says of it.
#define LOAD(name, letter, bits, load)                                                             \
    KERNEL void name(const void *table, const void *offsets, const uint8_t *active,                \
                     struct lanes *to) {                                                           \
        const svbool_t all = svptrue_b8(), pg = svcmpne_n_u8(all, svld1_u8(all, active), 0);       \
        const svint##bits##_t offset = svld1_s##bits(all, offsets);                                \
        const svuint##bits##_t at = svreinterpret_u##bits##_s##bits(offset);                       \
        (void)table, (void)at;                                                                     \
        svsetffr();                                                                                \
        const __typeof__(load) loaded = load;                                                      \
        const svbool_t ffr = svrdffr();                                                            \
        svst1_##letter##bits(all, (void *)to->values, loaded);                                     \
        svst1_u8(all, to->ffr, svdup_n_u8_z(ffr, 1));                                              \
    }
#define CONTIGUOUS(form, size, type, letter, bits)                                                 \
    LOAD(first_fault##form, letter, bits, svldff1##form(pg, table))                                \
    LOAD(non_fault##form, letter, bits, svldnf1##form(pg, table))
#define GATHER(name, type, letter, bits, load) LOAD(name, letter, bits, load)
FOR_EACH_FORM(CONTIGUOUS)
FOR_EACH_GATHER(GATHER)

static const struct form {
    const char *name;
    void (*load)(const void *, const void *, const uint8_t *, struct lanes *);
    enum { first_fault, non_fault, gather } kind;
    size_t size, lane_size;
    int is_signed;
} forms[] = {
#define CONTIGUOUS_ROWS(form, size, type, letter, bits)                                            \
    {"ldff1" #form, first_fault##form, first_fault, size, bits / 8, #letter[0] == 's'},            \
        {"ldnf1" #form, non_fault##form, non_fault, size, bits / 8, #letter[0] == 's'},
#define GATHER_ROW(name, type, letter, bits, load)                                                 \
    {#name, name, gather, sizeof(type), bits / 8, #letter[0] == 's'},
    FOR_EACH_FORM(CONTIGUOUS_ROWS) FOR_EACH_GATHER(GATHER_ROW)};
enum { form_count = sizeof forms / sizeof *forms };

static struct guarded memory;
static size_t page;
static uint8_t readable[pages];
static struct timespec deadline;
static int tame;
static uint64_t loaded_elements[threads][form_count], trials[threads];
static __thread unsigned own_number;

static int can_read(const uint8_t *element, size_t size) {
    const size_t offset = (size_t)(element - memory.begin);
    return readable[offset / page] && readable[(offset + size - 1) / page];
}

static void wrong(const struct form *form, const char *what) {
    fprintf(stderr, "%s: ", form->name);
    fail(what);
}

// One load of that form at a random place. Returns how many elements it brought behind the first active.
static size_t try_form(const struct form *form, uint64_t *state) {
    const size_t count = svcntb() / form->lane_size, first_bits = next_random(state) % 4;
    const uint8_t *elements[256], *const origin = gather_origin(form->name, memory);
    uint8_t active[256] = {0}, offsets[256] = {0};
    const uint8_t *const boundary = memory.begin + (1 + next_random(state) % (pages - 2)) * page;
    const uint8_t *begin = boundary - next_random(state) % (count * form->size + 9);
    if (tame)
        begin -= (uintptr_t)begin % form->size;
    size_t first = count;
    for (size_t e = 0; e < count; e++) {
        elements[e] = begin + e * form->size;
        if (form->kind == gather) {
            elements[e] = memory.begin + (1 + next_random(state) % (pages - 2)) * page;
            elements[e] += (ptrdiff_t)(next_random(state) % 40) - 20;
            if (strstr(form->name, "_index_"))
                elements[e] -= (uintptr_t)elements[e] % form->size;
            const int64_t offset = gather_offset(form->name, form->size, origin, elements[e]);
            memcpy(offsets + e * form->lane_size, &offset, form->lane_size);
        }
        // All of the elements, a third, a ninth, or about one.
        const uint64_t bits = next_random(state);
        if ((tame && form->kind != gather) ||
            bits % (first_bits == 3 ? count : 1 + (first_bits << first_bits)) == 0) {
            active[e * form->lane_size] = 1;
            first = first < count ? first : e;
        }
    }
    if (form->kind != non_fault && first < count && !can_read(elements[first], form->size))
        return 0; // that would be a fault

    struct lanes lanes;
    form->load(form->kind == gather ? origin : begin, offsets, active, &lanes);
    size_t brought = 0;
    for (size_t e = 0; e < count; e++) {
        const size_t at = e * form->lane_size, unused = 64 - 8 * form->size;
        uint64_t value = 0, expected = 0;
        memcpy(&value, lanes.values + at, form->lane_size);
        if (!lanes.ffr[at]) {
            if (form->kind != non_fault && e <= first && first < count)
                wrong(form, "the first active element was not loaded");
            continue;
        }
        if (form->kind != non_fault && e && !lanes.ffr[at - form->lane_size])
            wrong(form, "FFR is no run");
        if (active[at]) {
            if (!can_read(elements[e], form->size))
                wrong(form, "FFR vouches for an element that can't be read");
            memcpy(&expected, elements[e], form->size);
            if (form->is_signed)
                expected = (uint64_t)((int64_t)(expected << unused) >> unused);
            expected &= ~(uint64_t)0 >> (64 - 8 * form->lane_size);
            brought += e > first;
        }
        if (value != expected)
            wrong(form, "wrong value");
    }
    return brought;
}

static void run(unsigned number, void *unused) {
    (void)unused;
    own_number = number;
    uint64_t state = number + 1;
    struct timespec now;
    unsigned rounds = 0;
    do {
        for (unsigned form = 0; form < form_count; form++)
            loaded_elements[number][form] += try_form(&forms[form], &state);
        trials[number] += form_count;
        if (own_number != number)
            fail("a thread is in another's place");
        clock_gettime(CLOCK_MONOTONIC, &now);
    } while (++rounds < least_rounds || now.tv_sec < deadline.tv_sec ||
             (now.tv_sec == deadline.tv_sec && now.tv_nsec < deadline.tv_nsec));
}

int main(int argc, char **argv) {
    page = (size_t)sysconf(_SC_PAGESIZE);
    memory = make_guarded_at((void *)0x60000000, pages * page); // low, for lanes of 32 bits
    fill_random(memory.begin, pages * page, 5);
    for (size_t i = 0; i < pages; i++) {
        readable[i] = (uint8_t)(0xd92c65 >> i & 1);
        if (!readable[i] && mprotect(memory.begin + i * page, page, PROT_NONE))
            fail("mprotect");
    }
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += argc > 1 ? atoi(argv[1]) : 1;
    tame = argc > 2 && strcmp(argv[2], "tame") == 0;
    run_threads(threads, run, NULL);

    uint64_t all = 0;
    for (unsigned form = 0; form < form_count; form++) {
        uint64_t brought = 0;
        for (unsigned i = 0; i < threads; i++)
            brought += loaded_elements[i][form];
        if (brought == 0)
            wrong(&forms[form], "no progress");
        all += brought;
    }
    uint64_t loads = 0;
    for (unsigned i = 0; i < threads; i++)
        loads += trials[i];
    fprintf(stderr, "%llu loads, %llu elements behind the first\n", (unsigned long long)loads,
            (unsigned long long)all);
    printf("%d forms of loads in %d threads: all right\n", form_count, threads);
    return 0;
}
