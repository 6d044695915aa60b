// String functions with first-fault loads, by eight threads at once. The strings end right before a page
// that can't be read.
#include "first_fault.h"

KERNEL size_t length_of_string(const char *string) {
    const svbool_t all = svptrue_b8();
    for (size_t i = 0;;) {
        svsetffr();
        const svuint8_t bytes = svldff1_u8(all, (const uint8_t *)string + i);
        const svbool_t loaded = svrdffr_z(all);
        const svbool_t end = svcmpeq_n_u8(loaded, bytes, 0);
        if (svptest_any(loaded, end))
            return i + svcntp_b8(all, svbrkb_b_z(loaded, end));
        i += svcntp_b8(all, loaded);
    }
}

// The first difference of two strings, each of which ends on its own.
KERNEL int compare_strings(const char *a, const char *b) {
    const svbool_t all = svptrue_b8();
    for (size_t i = 0;;) {
        svsetffr();
        const svuint8_t of_a = svldff1_u8(all, (const uint8_t *)a + i);
        const svuint8_t of_b = svldff1_u8(all, (const uint8_t *)b + i);
        const svbool_t loaded = svrdffr();
        const svbool_t stop =
            svorr_b_z(loaded, svcmpne_u8(loaded, of_a, of_b), svcmpeq_n_u8(loaded, of_a, 0));
        if (svptest_any(loaded, stop)) {
            const svbool_t before = svbrka_b_z(loaded, stop);
            return svlastb_u8(before, of_a) - svlastb_u8(before, of_b);
        }
        i += svcntp_b8(all, loaded);
    }
}

enum { threads = 8 };
struct work {
    struct guarded strings;
    uint32_t sums[threads];
};

// Every thread has its own part of the strings: the lengths of those that end at the guard page, and
// comparisons with the same string elsewhere and with one that differs.
static void measure_strings(unsigned number, void *shared) {
    struct work *work = shared;
    const char *const end = (const char *)work->strings.end - 1;
    char other[1000];
    for (size_t length = number; length < 3 * svcntb(); length += threads) {
        const char *const string = end - length;
        const size_t measured = length_of_string(string);
        memcpy(other + 5, string, length + 1);
        const int same = compare_strings(string, other + 5);
        other[5 + length * 3 / 4] ^= (char)(1 + number);
        const int different = compare_strings(other + 5, string);
        if (measured != length || same != 0 ||
            different != (uint8_t)other[5 + length * 3 / 4] - (uint8_t)string[length * 3 / 4])
            fail("strings");
        work->sums[number] =
            checksum_value(checksum_value(work->sums[number], measured), (uint64_t)different);
    }
}

int main(void) {
    struct work work = {make_guarded(4096), {0}};
    fill_without_zeros(work.strings);
    work.strings.end[-1] = 0;
    run_threads(threads, measure_strings, &work);
    for (int i = 0; i < threads; i++)
        printf("thread %d: %08x\n", i, work.sums[i]);
    return 0;
}
