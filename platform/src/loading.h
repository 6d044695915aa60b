#pragma once

// What has to be out of the way while the client is loaded, before anything of the program can be
// emulated.

#include "platform/src/a64.h"

#include <cstdint>

namespace platform {

// A program may bring its own malloc, and the loader uses it. Its instructions can't be emulated
// until the client is there; so for the time of this scope, calls of malloc, calloc, realloc and
// free go to a small heap of the platform's if they are emulated code. What is taken from that is
// for good: it belongs to the client. Only with one thread.
class heap_diverted {
public:
    heap_diverted();
    ~heap_diverted();
    heap_diverted(const heap_diverted &) = delete;
    heap_diverted &operator=(const heap_diverted &) = delete;

private:
    static constexpr unsigned function_count = 4;
    struct diversion {
        uintptr_t entry; // 0: not diverted
        a64::word_t word;
    } diversions_[function_count];
};

// Runs what the program wants run before all constructors (DT_PREINIT_ARRAY). The loader would do
// it before this library could be started; it has been kept from it.
void run_preinit_functions(int argc, char **argv, char **environment);

} // namespace platform
