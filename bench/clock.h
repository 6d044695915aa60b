#pragma once

#include <time.h>

static inline double nanoseconds_of(clockid_t clock) {
    struct timespec time;
    clock_gettime(clock, &time);
    return (double)time.tv_sec * 1e9 + (double)time.tv_nsec;
}

// Nanoseconds that this process has had a processor, which those that it waits for one are none of.
static inline double processor_time(void) {
    return nanoseconds_of(CLOCK_PROCESS_CPUTIME_ID);
}
