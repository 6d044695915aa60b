// What the test of sverun-gdb.py stops in: emulated instructions in a function that keeps nothing on the stack,
// called by one that does. Plain words, so that a debugger without SVE reads them.
#include <stdint.h>
#include <stdio.h>

__attribute__((noinline)) static uint32_t leaf(const uint32_t *numbers) {
    uint32_t sum;
    __asm__ volatile(".arch_extension sve\n\t"
                     "ptrue p0.s, vl4\n\t"
                     "ld1w {z0.s}, p0/z, [%1]\n\t"
                     "add z0.s, z0.s, #1\n\t"
                     "uaddv d0, p0, z0.s\n\t"
                     "fmov %w0, s0"
                     : "=r"(sum)
                     : "r"(numbers)
                     : "v0", "memory");
    return sum;
}

__attribute__((noinline)) static uint32_t caller(const uint32_t *numbers) {
    uint32_t sum = 0;
    for (uint32_t round = 0; round < 3; round++)
        sum += leaf(numbers);
    return sum;
}

int main(void) {
    const uint32_t numbers[] = {1, 2, 3, 4};
    printf("%u\n", caller(numbers));
    return 0;
}
