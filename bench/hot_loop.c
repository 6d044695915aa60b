// A loop with one SVE instruction. Prints the nanoseconds that an iteration takes, the loop's own two
// instructions included.
//
//     hot_loop ITERATIONS
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static void run(unsigned long iterations) {
    __asm__ volatile(".arch_extension sve\n"
                     "1: add z0.s, z1.s, z2.s\n"
                     "subs %0, %0, #1\n"
                     "b.ne 1b\n"
                     : "+r"(iterations)
                     :
                     : "v0", "cc");
}

static double seconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

int main(int argc, char **argv) {
    const unsigned long iterations = argc == 2 ? strtoul(argv[1], NULL, 0) : 0;
    if (iterations == 0) {
        fprintf(stderr, "usage: hot_loop ITERATIONS\n");
        return 2;
    }
    run(100); // the trap, and the processor's own warm-up
    const double start = seconds();
    run(iterations);
    printf("%.1f\n", (seconds() - start) * 1e9 / (double)iterations);
    return 0;
}
