// What instructions cost: for each of instructions.def a line with its family, route, text and the nanoseconds
// that it takes, without those of the loop around it. The columns are parted by tabs.
//
//     instruction_cost MILLISECONDS       measures each loop for so long, at least
//     instruction_cost ITERATIONS TEXT    runs the loop of one instruction, of 16 copies, for a counter of
//                                         instructions; TEXT may be nothing, to run the loop alone
#include "clock.h"
#include "instruction_loops.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// Whatever their size, elements have about the same values: numbers in z1 to z3, lane numbers in z4.
static void fill(struct operands *operands, unsigned element_bytes) {
    uint32_t state = 1;
    for (unsigned v = 1; v < 5; v++)
        for (unsigned lane = 0; lane < 256 / element_bytes; lane++) {
            state = state * 1664525 + 1013904223;
            const double value = 0.25 + 0.75 * (state >> 8) * 0x1p-24;
            const __fp16 half = (__fp16)value;
            const float single = (float)value;
            const uint64_t number = lane;
            const void *const formats[] = {&state, &half, &single, &value};
            const unsigned format = element_bytes == 8 ? 3 : element_bytes / 2;
            memcpy(operands->z[v] + lane * element_bytes, v == 4 ? &number : formats[format],
                   element_bytes);
        }
    for (unsigned i = 0; i < sizeof operands->p1; i++) {
        operands->p1[i] = element_bytes == 1   ? 0x55
                          : element_bytes == 2 ? 0x11
                          : element_bytes == 4 ? 0x01
                                               : i % 2 == 0;
        operands->p3[i] = (uint8_t)(0x9d + 57 * i);
    }
}

// Nanoseconds of an iteration, by a run that takes long enough.
static double cost_of(const struct instruction_loop *loop, const struct operands *operands,
                      double least_time) {
    loop->run(2, operands); // the traps, and the processor's own warm-up
    for (unsigned long iterations = 16;; iterations *= 2) {
        const double start = processor_time();
        loop->run(iterations, operands);
        const double time = processor_time() - start;
        if (time >= least_time)
            return time / (double)iterations;
    }
}

int main(int argc, char **argv) {
    static uint8_t memory[65536] __attribute__((aligned(64)));
    static struct operands operands;
    operands.memory = memory;
    const unsigned long number = argc > 1 ? strtoul(argv[1], NULL, 0) : 0;
    if (argc == 2 && number) {
        double empty = 0;
        for (unsigned i = 0; i < instruction_loop_count; i++) {
            const struct instruction_loop *const loop = &instruction_loops[i];
            fill(&operands, loop->element_bytes);
            const double cost = cost_of(loop, &operands, (double)number * 1e6);
            if (i == 0)
                empty = cost;
            else
                printf("%s\t%s\t%s\t%.4f\n", loop->family, loop->route, loop->text,
                       (cost - empty) / COPIES);
        }
        return 0;
    }
    for (unsigned i = 0; argc == 3 && number && i < instruction_loop_count; i++)
        if (!strcmp(argv[2], instruction_loops[i].text)) {
            fill(&operands, instruction_loops[i].element_bytes);
            instruction_loops[i].run(number, &operands);
            return 0;
        }
    fprintf(stderr, "usage: instruction_cost MILLISECONDS\n"
                    "       instruction_cost ITERATIONS TEXT\n");
    return 2;
}
