// What code_of_libraries needs: a library that asks for SVE, and uses it, from the moment on that it is loaded.
#include <stdint.h>
#include <sys/auxv.h>
#include <sys/prctl.h>

#define EXPORTED __attribute__((visibility("default")))
EXPORTED extern int needed_has_sve, needed_vector_bytes;
EXPORTED extern uint32_t needed_sum;
EXPORTED uint32_t needed_chosen(uint32_t value);

int needed_has_sve, needed_vector_bytes;
uint32_t needed_sum;

__attribute__((noinline)) static uint32_t add_seven(uint32_t value) {
    uint32_t result;
    __asm__(".arch_extension sve\n\t"
            "dup z0.s, %w1\n\t"
            "add z0.s, z0.s, #7\n\t"
            "umov %w0, v0.s[3]"
            : "=r"(result)
            : "r"(value)
            : "v0");
    return result;
}

__attribute__((constructor)) static void start(void) {
    needed_sum = add_seven(1);
    needed_has_sve = (getauxval(AT_HWCAP) & HWCAP_SVE) != 0;
    needed_vector_bytes = prctl(PR_SVE_GET_VL);
}

// Chosen by the loader while it relocates this library, and none of those that stand in front of it.
static uint32_t plain(uint32_t value) {
    return value + 7;
}
__attribute__((used)) static uint32_t (*choose(void))(uint32_t) {
    return getauxval(AT_HWCAP) & HWCAP_SVE ? add_seven : plain;
}
static uint32_t chosen(uint32_t value) __attribute__((ifunc("choose")));

uint32_t needed_chosen(uint32_t value) {
    return chosen(value);
}
