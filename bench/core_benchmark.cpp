// The core without a platform: looking a word up, and stepping through one.
#include "sve/core/sve_utils.h"

#include <benchmark/benchmark.h>

// Translation pays this once for each instruction that it sees.
static void BM_IsSve(benchmark::State &state) {
    const auto word = static_cast<unsigned int>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(is_sve(word));
}
BENCHMARK(BM_IsSve)
    ->ArgName("word")
    ->Arg(0x04a20020)  // add z0.s, z1.s, z2.s
    ->Arg(0x4ea28420); // add v0.4s, v1.4s, v2.4s: in no map

// A handler as rewritten code calls it.
static void BM_Handler(benchmark::State &state) {
    const auto word = static_cast<unsigned int>(state.range(0));
    const aarch64_handler handler = is_sve(word);
    cpu_state registers = {};
    for (auto _ : state)
        benchmark::DoNotOptimize(handler(&registers, word));
}
BENCHMARK(BM_Handler)
    ->ArgName("word")
    ->Arg(0x04a20020)  // add z0.s, z1.s, z2.s
    ->Arg(0x04800440)  // add z0.s, p1/m, z0.s, z2.s
    ->Arg(0x25a0c0a0); // add z0.s, z0.s, #5

static void BM_ExecuteSveInstruction(benchmark::State &state) {
    unsigned int word = 0x04a20020; // add z0.s, z1.s, z2.s
    cpu_state registers = {};
    for (auto _ : state) {
        registers.pc = &word;
        benchmark::DoNotOptimize(execute_sve_instruction(&registers));
    }
}
BENCHMARK(BM_ExecuteSveInstruction);
