// What code_of_libraries loads, built for two values of NUMBER: the same code but for one word of SVE.
#include <stdint.h>

__attribute__((visibility("default"))) uint32_t add_number(uint32_t value);
static uint32_t started;

#define TEXT(number) #number
#define ADD(number)                                                                                \
    ".arch_extension sve\n\tdup z0.s, %w1\n\tadd z0.s, z0.s, #" TEXT(number) "\n\tumov %w0, "      \
                                                                             "v0.s[3]"
// The native write clears all of z0; the last element is then the number.
#define LAST(number)                                                                               \
    ".arch_extension sve\n\tmov z0.b, #-1\n\tptrue p0.s\n\tmovi d0, #0\n\tadd z0.s, z0.s, #" TEXT( \
        number) "\n\tlastb %w0, p0, z0.s"

uint32_t add_number(uint32_t value) {
    uint32_t result, last;
    __asm__(ADD(NUMBER) : "=r"(result) : "r"(value) : "v0");
    __asm__(LAST(NUMBER) : "=r"(last) : : "v0"); // P0 is nobody's here
    return result + started + last - NUMBER;
}

__attribute__((constructor)) static void start(void) {
    started = add_number(100);
}
