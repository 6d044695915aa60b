// Loops that execute one SVE instruction over and over.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define COPIES 16 // of the instruction, in a loop

// What the instructions operate on, for vectors of up to 2048 bits.
struct operands {
    uint8_t z[5][256], p1[32], p3[32]; // z[0] is not used
    uint8_t *memory;
};

struct instruction_loop {
    const char *family, *route, *text;
    unsigned element_bytes;
    void (*run)(unsigned long iterations, const struct operands *operands);
    const uint32_t *word; // of the instruction, as it was assembled
};

// The first one is the loop without an instruction: no family, no route, no word.
extern const struct instruction_loop instruction_loops[];
extern const unsigned instruction_loop_count;

#ifdef __cplusplus
}
#endif
