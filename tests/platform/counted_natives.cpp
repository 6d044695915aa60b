// Emulated and native instructions in several blocks. With an argument, native ones of them are replaced before
// the blocks run.
#include "tests/platform/native_writes.h"

#include <cstdio>

extern "C" [[gnu::visibility("hidden")]] uint64_t blocks(uint64_t rounds);
extern "C" [[gnu::visibility("hidden")]] void first_block(void);
extern "C" [[gnu::visibility("hidden")]] const uint32_t natives[];
asm(R"(
    .arch_extension sve
    .text
first_block:
    add z0.s, z0.s, z1.s
    ret

blocks:
    mov v0.d[0], x0
natives:
    movi v0.4s, #1          // 0, in no block
    movi v1.4s, #2          // 1
    add z0.s, z0.s, z1.s
    movi v2.4s, #3          // 3
    movi v3.4s, #4          // 4
    add z0.s, z0.s, z2.s
    cbz x0, 2f
    movi v2.4s, #5          // 7, skipped by two rounds
    add z0.s, z0.s, z2.s
2:  movi v3.4s, #6          // 9
    add z0.s, z0.s, z3.s
    fmov w0, s0
    ret
)");

int main(int argc, char **) {
    static const native_write writes[] = {{natives + 0, 1 << 0}, {natives + 1, 1 << 1},
                                          {natives + 3, 1 << 2}, {natives + 4, 1 << 3},
                                          {natives + 7, 1 << 2}, {natives + 9, 1 << 3}};
    name_native_writes(writes, argc > 1 ? sizeof writes / sizeof *writes : 0);
    first_block();
    for (uint64_t i = 0; i < 3; i++)
        printf("%u\n", static_cast<unsigned>(blocks(i)));
    return 0;
}
