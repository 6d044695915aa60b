// What an emulated instruction costs at many addresses and in many threads.
//
//     scaling sites SITES EXECUTIONS      the same instruction at so many addresses, as often in all
//     scaling threads THREADS EXECUTIONS  one loop of one instruction in each thread, as often in each
//
// Prints nanoseconds of one execution, those of the loop around it included. For sites it is processor time, of the
// first execution at each address and of the later ones, and the bytes of memory follow that the program has come to
// use by then; for threads it is the time that all took, divided by the executions of all.
#include "clock.h"

#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#define MOST_SITES 10000
#define TEXT_OF(x) #x
#define TEXT(x) TEXT_OF(x)

// Goes `rounds` times through the last `sites` of the sites.
__attribute__((noinline)) static void run_sites(unsigned long sites, unsigned long rounds) {
    __asm__ volatile(".arch_extension sve\n"
                     "adr x9, 2f\n"
                     "sub x9, x9, %[sites], lsl #2\n"
                     "1: br x9\n"
                     ".rept " TEXT(MOST_SITES) "\n"
                                               "add z0.s, z1.s, z2.s\n"
                                               ".endr\n"
                                               "2: subs %[rounds], %[rounds], #1\n"
                                               "b.ne 1b\n"
                     : [rounds] "+r"(rounds)
                     : [sites] "r"(sites)
                     : "x9", "v0", "cc");
}

// Bytes of the anonymous memory that is in use. The processor emulator's own is not in the list.
static unsigned long memory_in_use(void) {
    const unsigned long page = (unsigned long)sysconf(_SC_PAGESIZE);
    unsigned long pages = 0;
    FILE *const maps = fopen("/proc/self/maps", "r");
    char line[1024];
    while (maps && fgets(line, sizeof line, maps)) {
        uintptr_t begin, end;
        unsigned long inode;
        if (sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %*s %*s %*s %lu", &begin, &end, &inode) != 3 ||
            inode)
            continue;
        for (uintptr_t at = begin; at < end; at += page) {
            unsigned char in_use;
            if (mincore((void *)at, page, &in_use) == 0)
                pages += in_use & 1;
        }
    }
    if (maps)
        fclose(maps);
    return pages * page;
}

static unsigned long executions;
static pthread_barrier_t start;

static void *run_thread(void *unused) {
    (void)unused;
    run_sites(1, 10);
    pthread_barrier_wait(&start);
    run_sites(1, executions);
    return NULL;
}

static int measure_sites(unsigned long sites) {
    const unsigned long rounds = (executions + sites - 1) / sites;
    if (sites > MOST_SITES)
        return 2;
    const double start_time = processor_time();
    run_sites(sites, 1); // the traps
    const double first_end = processor_time();
    run_sites(sites, rounds);
    const double end = processor_time();
    printf("%.4f %.4f %lu\n", (first_end - start_time) / (double)sites,
           (end - first_end) / (double)(rounds * sites), memory_in_use());
    return 0;
}

static int measure_threads(unsigned long count) {
    pthread_t threads[64];
    if (count > sizeof threads / sizeof *threads)
        return 2;
    pthread_barrier_init(&start, NULL, (unsigned)count + 1);
    for (unsigned long i = 0; i < count; i++)
        if (pthread_create(&threads[i], NULL, run_thread, NULL))
            return 1;
    pthread_barrier_wait(&start);
    const double before = nanoseconds_of(CLOCK_MONOTONIC);
    for (unsigned long i = 0; i < count; i++)
        pthread_join(threads[i], NULL);
    printf("%.4f\n", (nanoseconds_of(CLOCK_MONOTONIC) - before) / (double)(executions * count));
    return 0;
}

int main(int argc, char **argv) {
    const char *const what = argc > 1 ? argv[1] : "";
    const unsigned long count = argc == 4 ? strtoul(argv[2], NULL, 0) : 0;
    executions = argc == 4 ? strtoul(argv[3], NULL, 0) : 0;
    int status = 2;
    if (count && executions && !strcmp(what, "sites"))
        status = measure_sites(count);
    if (count && executions && !strcmp(what, "threads"))
        status = measure_threads(count);
    if (status)
        fprintf(stderr, "usage: scaling sites|threads COUNT EXECUTIONS\n");
    return status;
}
