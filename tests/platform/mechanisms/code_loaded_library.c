// What code_loaded loads.
#include <stdint.h>

__attribute__((visibility("default"))) uint64_t call_twice(uint64_t (*function)(uint32_t),
                                                           uint32_t seed);

uint64_t call_twice(uint64_t (*function)(uint32_t), uint32_t seed) {
    return function(seed) + function(seed + 1);
}
