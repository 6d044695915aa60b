#include "instruction_loops.h"

#include <stddef.h>

#define PASTE(a, b) a##b
#define NAME(prefix, line) PASTE(prefix, line)
#define TEXT_OF(x) #x
#define TEXT(x) TEXT_OF(x)

// The compiler knows nothing of SVE here, so the predicates are nobody's but the loop's.
#define LOOP(name, body)                                                                           \
    static void name(unsigned long iterations, const struct operands *operands) {                  \
        const uint8_t *z = operands->z[1];                                                         \
        register uint8_t *memory __asm__("x3") = operands->memory;                                 \
        __asm__ volatile(".arch_extension sve\n"                                                   \
                         "ldr p1, [%[p1]]\n"                                                       \
                         "ldr p3, [%[p3]]\n"                                                       \
                         "ptrue p0.b\n"                                                            \
                         "ptrue p2.b\n"                                                            \
                         "setffr\n"                                                                \
                         "ldr z1, [%[z]]\n"                                                        \
                         "add %[z], %[z], #256\n"                                                  \
                         "ldr z2, [%[z]]\n"                                                        \
                         "add %[z], %[z], #256\n"                                                  \
                         "ldr z3, [%[z]]\n"                                                        \
                         "add %[z], %[z], #256\n"                                                  \
                         "ldr z4, [%[z]]\n"                                                        \
                         "mov z0.d, z3.d\n"                                                        \
                         "mov x4, #0\n"                                                            \
                         "mov x5, #1000\n"                                                         \
                         "mov x7, #0\n"                                                            \
                         "1:\n" body "subs %[iterations], %[iterations], #1\n"                     \
                         "b.ne 1b\n"                                                               \
                         : [iterations] "+r"(iterations), [z] "+r"(z), "+r"(memory)                \
                         : [p1] "r"(operands->p1), [p3] "r"(operands->p3)                          \
                         : "x4", "x5", "x7", "v0", "v1", "v2", "v3", "v4", "cc", "memory");        \
    }

LOOP(empty_loop, "")
#define INSTRUCTION(family, route, size, text)                                                     \
    extern const uint32_t NAME(word_, __LINE__);                                                   \
    LOOP(NAME(loop_, __LINE__), "word_" TEXT(__LINE__) ":\n"                                       \
                                                       ".rept " TEXT(COPIES) "\n" text "\n"        \
                                                                             ".endr\n")
#include "instructions.def"
#undef INSTRUCTION

enum element_bytes { B = 1, H = 2, S = 4, D = 8 };
const struct instruction_loop instruction_loops[] = {
    {NULL, NULL, "nothing", B, empty_loop, NULL},
#define INSTRUCTION(family, route, size, text)                                                     \
    {family, #route, text, size, NAME(loop_, __LINE__), &NAME(word_, __LINE__)},
#include "instructions.def"
#undef INSTRUCTION
};
const unsigned instruction_loop_count = sizeof instruction_loops / sizeof *instruction_loops;
