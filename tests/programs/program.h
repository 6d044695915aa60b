// What the test programs share: reproducible values, checksums of what was computed, and buffers that lie
// against memory that nobody may touch. Nothing here may depend on addresses, time or the vector length.
#pragma once

#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#ifdef __ARM_FEATURE_SVE
#include <arm_sve.h>
#endif
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#define KERNEL __attribute__((noinline, unused)) static

// Bytes of a vector; those of Advanced SIMD in a program that is built without SVE.
static inline size_t vector_bytes(void) {
#ifdef __ARM_FEATURE_SVE
    return svcntb();
#else
    return 16;
#endif
}

// The size of the one problem that a benchmark asks for by an argument, or 0: without one, a program does what
// its test wants.
static inline size_t problem_size(int argc, char **argv) {
    return argc > 1 ? (size_t)strtoul(argv[1], NULL, 0) : 0;
}

// Multiplicative xorshift: the next of a sequence of 64-bit values; `state` must not be 0.
static inline uint64_t next_random(uint64_t *state) {
    *state ^= *state >> 12;
    *state ^= *state << 25;
    *state ^= *state >> 27;
    return *state * 0x2545f4914f6cdd1d;
}

static inline void fill_random(void *data, size_t bytes, uint64_t seed) {
    uint64_t state = seed * 0x9e3779b97f4a7c15 + 1;
    for (size_t i = 0; i < bytes; i++)
        ((uint8_t *)data)[i] = (uint8_t)(next_random(&state) >> 32);
}

// Checksums are chained: `sum` is that of what came before, 0 at first. Each byte and its place counts.
static inline uint32_t checksum(uint32_t sum, const void *data, size_t bytes) {
    uint64_t hash = sum ^ 0xcbf29ce484222325;
    for (size_t i = 0; i < bytes; i++)
        hash = (hash ^ ((const uint8_t *)data)[i]) * 0x100000001b3;
    return (uint32_t)(hash ^ hash >> 32);
}

static inline uint32_t checksum_value(uint32_t sum, uint64_t value) {
    return checksum(sum, &value, sizeof value);
}

static inline void fail(const char *what) {
    fprintf(stderr, "FAILED: %s\n", what);
    exit(1);
}

// Readable and writable bytes from begin to end, whole pages of them, between two pages that are neither.
struct guarded {
    uint8_t *begin, *end;
};

// `address` says where; with NULL it may be anywhere.
static inline struct guarded make_guarded_at(void *address, size_t bytes) {
    const size_t page = (size_t)sysconf(_SC_PAGESIZE);
    const size_t inside = (bytes + !bytes + page - 1) / page * page;
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (address ? MAP_FIXED_NOREPLACE : 0);
    uint8_t *const memory = (uint8_t *)mmap(address, inside + 2 * page, PROT_NONE, flags, -1, 0);
    if (memory == MAP_FAILED || (address && memory != address))
        fail("no memory there");
    if (mprotect(memory + page, inside, PROT_READ | PROT_WRITE))
        fail("mprotect");
    return (struct guarded){memory + page, memory + page + inside};
}

static inline struct guarded make_guarded(size_t bytes) {
    return make_guarded_at(NULL, bytes);
}

// The ways in which `bytes` bytes can lie in a buffer: its first bytes, its last, and an odd distance from
// the beginning.
enum { places = 3 };
static inline void *place(struct guarded buffer, size_t bytes, int which) {
    return which == 0 ? buffer.begin : which == 1 ? buffer.end - bytes : buffer.begin + 13;
}

// Runs `body` in `count` threads at once, each with its number, and waits for them.
struct thread_start {
    void (*body)(unsigned number, void *shared);
    unsigned number;
    void *shared;
};

static inline void *start_thread(void *start) {
    const struct thread_start *self = (const struct thread_start *)start;
    self->body(self->number, self->shared);
    return NULL;
}

static inline void run_threads(unsigned count, void (*body)(unsigned, void *), void *shared) {
    pthread_t threads[64];
    struct thread_start starts[64];
    for (unsigned i = 0; i < count; i++) {
        starts[i] = (struct thread_start){body, i, shared};
        if (pthread_create(&threads[i], NULL, start_thread, &starts[i]))
            fail("pthread_create");
    }
    for (unsigned i = 0; i < count; i++)
        pthread_join(threads[i], NULL);
}
