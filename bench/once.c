// What SVE instructions cost at many addresses that are executed once, or a few times, each.
//
//     once FUNCTIONS CALLS MAPPINGS
//
// Calls the first FUNCTIONS of the functions in once_functions.S, each of five SVE instructions, one after the other,
// and all of them CALLS times, in a process that has so many mappings more. Prints a checksum of what they computed,
// and on standard error the microseconds of an SVE instruction: of processor time, and by the clock.
#include "clock.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

enum {
    FUNCTION_BYTES = 64,
    INSTRUCTIONS = 5,
    FUNCTIONS = 4000,
    STEP = 16,
    WORDS = FUNCTIONS * STEP + 256
};

extern const char once_functions[];

typedef void function(int32_t *from, int32_t *to, uint64_t index, uint64_t end);

// Neighbours differ in what is allowed, so that they remain mappings of their own.
static int add_mappings(unsigned long count) {
    const size_t page = (size_t)sysconf(_SC_PAGESIZE);
    for (unsigned long i = 0; i < count; i++) {
        const int protection = i % 2 ? PROT_READ : PROT_READ | PROT_WRITE;
        if (mmap(NULL, page, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED) {
            perror("once: mmap");
            return 1;
        }
    }
    return 0;
}

int main(int argc, char **argv) {
    static int32_t data[WORDS];
    const unsigned long functions = argc == 4 ? strtoul(argv[1], NULL, 0) : 0;
    const unsigned long calls = argc == 4 ? strtoul(argv[2], NULL, 0) : 0;
    if (!functions || functions > FUNCTIONS || !calls) {
        fprintf(stderr, "usage: once FUNCTIONS CALLS MAPPINGS    of %d functions\n", FUNCTIONS);
        return 2;
    }
    if (add_mappings(strtoul(argv[3], NULL, 0)))
        return 1;

    uint32_t state = 1;
    for (unsigned i = 0; i < WORDS; i++) {
        state = state * 1664525 + 1013904223;
        data[i] = (int32_t)state >> 8;
    }
    // Each has its own place for what it computes, and gets what another one did.
    const double processor_start = processor_time(), start = nanoseconds_of(CLOCK_MONOTONIC);
    for (unsigned long call = 0; call < calls; call++)
        for (unsigned long i = 0; i < functions; i++) {
            function *const called = (function *)(uintptr_t)(once_functions + i * FUNCTION_BYTES);
            called(data + i * STEP / 2 + call % STEP, data + i * STEP, i % 8, 64);
        }
    const double executed = 1e3 * INSTRUCTIONS * (double)functions * (double)calls;
    fprintf(stderr, "once: %.4f us of processor time and %.4f us an instruction\n",
            (processor_time() - processor_start) / executed,
            (nanoseconds_of(CLOCK_MONOTONIC) - start) / executed);

    uint64_t sum = 0;
    for (unsigned i = 0; i < WORDS; i++)
        sum = (sum ^ (uint32_t)data[i]) * 0x100000001b3;
    printf("%016" PRIx64 "\n", sum);
    return 0;
}
