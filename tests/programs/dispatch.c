// A program that is built for any processor, asks which one it has, and uses SVE only where it is told that
// there is some: by the auxiliary vector, with the vector length by prctl.
#include <arm_sve.h>
#include <errno.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/auxv.h>
#include <sys/prctl.h>

#define SVE_FUNCTION __attribute__((noinline, target("+sve"))) static

static uint64_t sum_of_squares(const uint32_t *from, uint64_t n) {
    uint64_t sum = 0;
    for (uint64_t i = 0; i < n; i++)
        sum += (uint64_t)from[i] * from[i];
    return sum;
}

SVE_FUNCTION uint64_t sum_of_squares_sve(const uint32_t *from, uint64_t n) {
    svuint64_t sum = svdup_u64(0);
    for (uint64_t i = 0; i < n; i += svcntd()) {
        const svbool_t pg = svwhilelt_b64_u64(i, n);
        const svuint64_t x = svld1uw_u64(pg, from + i);
        sum = svmla_u64_m(pg, sum, x, x);
    }
    return svaddv_u64(svptrue_b64(), sum);
}

SVE_FUNCTION unsigned vector_bytes(void) {
    return (unsigned)svcntb();
}

static unsigned long capabilities(void) {
    volatile unsigned long value = getauxval(AT_HWCAP); // the question comes from here
    return value;
}

static void tell(const char *what, int value) {
    printf("%s: %d, errno %d\n", what, value, value < 0 ? errno : 0);
}

static void *ask_in_thread(void *argument) {
    tell("length in a thread", prctl(PR_SVE_GET_VL));
    return argument;
}

int main(void) {
    static uint32_t numbers[1001];
    for (uint32_t i = 0; i < 1001; i++)
        numbers[i] = i * 2654435761u;

    const int length = prctl(PR_SVE_GET_VL);
    tell("length", length);
    if (capabilities() & HWCAP_SVE) {
        const unsigned bytes = vector_bytes();
        printf("SVE with vectors of %u bytes: %lu\n", bytes, sum_of_squares_sve(numbers, 1001));
        printf("%s\n", length == (int)bytes ? "the same length" : "another length");
    } else {
        printf("no SVE: %lu\n", sum_of_squares(numbers, 1001));
    }
    printf("%d\n", sum_of_squares(numbers, 1001) == sum_of_squares_sve(numbers, 1001));

    tell("this length", prctl(PR_SVE_SET_VL, length));
    tell("the longest", prctl(PR_SVE_SET_VL, 256));
    tell("no multiple of 16", prctl(PR_SVE_SET_VL, length + 8));
    tell("beyond all", prctl(PR_SVE_SET_VL, 8192 + 16));
    tell("unknown flag", prctl(PR_SVE_SET_VL, length | 1 << 20));
    tell("length", prctl(PR_SVE_GET_VL));
    pthread_t thread;
    pthread_create(&thread, NULL, ask_in_thread, NULL);
    pthread_join(thread, NULL);

    // What has nothing to do with SVE.
    char name[16] = "";
    tell("name", prctl(PR_SET_NAME, "dispatching"));
    tell("name", prctl(PR_GET_NAME, name));
    puts(name);
    tell("no such thing", prctl(-1, 0, 0, 0, 0));
    errno = 0;
    printf("%lu %d\n", getauxval(12345), errno == ENOENT);
    printf("%d\n", getauxval(AT_PAGESZ) == getauxval(AT_PAGESZ) && getauxval(AT_PAGESZ) > 0);
    return 0;
}
