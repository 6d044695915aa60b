// What the tests of the launcher run. The first argument says what it does.
#define _GNU_SOURCE
#include <arm_neon.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

// Of the shared library.
uint32x4_t library_add(uint32x4_t a, uint32x4_t b);
void library_asks(int *has_sve, int *vector_bytes);

// One block of two sites and two other instructions, run `count` times.
static uint32_t add_pairs(uint64_t count) {
    register uint32x4_t z0 __asm__("v0") = vdupq_n_u32(0);
    __asm__ volatile(".arch_extension sve\n"
                     "1:\tadd z0.s, z0.s, #1\n\t"
                     "subs %0, %0, #1\n\t"
                     "add z0.s, z0.s, #2\n\t"
                     "b.ne 1b"
                     : "+r"(count), "+w"(z0)
                     :
                     : "cc");
    return vgetq_lane_u32(z0, 3);
}

static void skip(int number, siginfo_t *info, void *context) {
    ucontext_t *machine = context;
    printf("signal %d %d\n", number, info->si_addr == (void *)machine->uc_mcontext.pc);
    machine->uc_mcontext.pc += 4;
}

int main(int argc, char **argv) {
    const char *what = argc > 1 ? argv[1] : "";
    const int number = argc > 2 ? atoi(argv[2]) : 0;
    if (strcmp(what, "pairs") == 0) {
        printf("%u\n", add_pairs((uint64_t)number));
    } else if (strcmp(what, "status") == 0) {
        add_pairs(1);
        return number;
    } else if (strcmp(what, "fork") == 0) {
        const pid_t child = fork();
        const uint32_t sum = add_pairs(1);
        if (child != 0)
            waitpid(child, NULL, 0);
        printf(child != 0 ? "%u" : "%u ", sum);
    } else if (strcmp(what, "signal") == 0) {
        add_pairs(1);
        raise(number);
    } else if (strcmp(what, "copy") == 0) {
        char buffer[1000];
        for (size_t got; (got = fread(buffer, 1, sizeof buffer, stdin)) > 0;)
            fwrite(buffer, 1, got, stdout);
    } else if (strcmp(what, "file") == 0) {
        FILE *file = fopen(argv[2], "w"); // may be the standard error stream's number
        fprintf(file, "%u\n", add_pairs(10));
    } else if (strcmp(what, "words") == 0) {
        for (int i = 0; i < argc; i++)
            printf("<%s>", argv[i]);
    } else if (strcmp(what, "environment") == 0) {
        for (char **variable = environ; *variable; variable++)
            puts(*variable);
    } else if (strcmp(what, "library") == 0) {
        const struct sigaction action = {.sa_sigaction = skip, .sa_flags = SA_SIGINFO};
        if (number == 1)
            sigaction(SIGILL, &action, NULL);
        const uint32_t sum = vgetq_lane_u32(library_add(vdupq_n_u32(3), vdupq_n_u32(4)), 0);
        printf("%u %u\n", sum, add_pairs(1));
    } else if (strcmp(what, "asks") == 0) {
        int library_has_sve, library_bytes;
        library_asks(&library_has_sve, &library_bytes);
        const int bytes = prctl(PR_SVE_GET_VL);
        printf("%d %d, library %d %d\n", (getauxval(AT_HWCAP) & HWCAP_SVE) != 0, bytes,
               library_has_sve, library_bytes);
    } else if (strcmp(what, "flags") == 0) {
        // What a processor with this one length answers; a flag for execve changes nothing now.
        const unsigned long bytes = (unsigned long)prctl(PR_SVE_GET_VL);
        const unsigned long requests[] = {bytes,
                                          16,
                                          8192,
                                          bytes | PR_SVE_VL_INHERIT,
                                          bytes | PR_SVE_VL_INHERIT | PR_SVE_SET_VL_ONEXEC,
                                          0,
                                          bytes + 4,
                                          8192 + 16,
                                          bytes | 1 << 16};
        for (unsigned i = 0; i < sizeof requests / sizeof *requests; i++) {
            errno = 0;
            const int answer = prctl(PR_SVE_SET_VL, requests[i]);
            printf("%x %d %x,", (unsigned)answer, errno == EINVAL, (unsigned)prctl(PR_SVE_GET_VL));
        }
    }
    return 0;
}
