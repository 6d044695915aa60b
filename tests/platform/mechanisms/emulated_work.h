#pragma once

// What the programs of this directory share. Each exercises one mechanism of the platform with work
// that comes out wrong if the mechanism fails, and prints the same on a processor with SVE.

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/mman.h>
#include <sys/time.h>

extern "C" {
// `rounds` times three emulated instructions on whole vectors under predicates, native ones between
// them. X26 to X28, the flags and the upper bytes of Z registers live across all of them.
uint64_t emulated_work(uint32_t seed, uint64_t rounds);

// Changes every Z and P register by emulated instructions.
void emulated_disturbance(void);

uint64_t emulated_lanes(void); // words of a vector
}

// The result of emulated_work, by ordinary arithmetic.
inline uint64_t expected_work(uint32_t seed, uint64_t rounds, uint64_t lanes = emulated_lanes()) {
    uint64_t sum = 0, partial = 0;
    const auto n = static_cast<uint32_t>(rounds);
    for (uint32_t lane = 0; lane < lanes; lane++) {
        uint32_t value = seed + 7 * lane + n * seed;
        if (lane < 3) {
            value += n * seed + n * (n - 1) / 2; // a multiple of 2 before the division: n is small
            partial += static_cast<uint32_t>(seed + n);
        }
        sum += value;
    }
    uint64_t x26 = seed, x27 = 1, x28 = 2;
    for (uint64_t i = 0; i < rounds; i++) {
        x26 += 5;
        x27 += x26;
        x28 += x27;
    }
    return (sum + (partial << 20) + 4 * 9) ^ x28 << 8;
}

// ---- Checks -------------------------------------------------------------------------------------

inline std::atomic<int> failures;

// Usable in a signal handler; what went wrong is told by check_all.
inline std::atomic<int> first_failure;
inline bool expect_at(bool right, int line) {
    int none = 0;
    if (!right) {
        failures++;
        first_failure.compare_exchange_strong(none, line);
    }
    return right;
}
#define EXPECT(condition) expect_at((condition), __LINE__)

inline bool expect_work(uint32_t seed, uint64_t rounds, int line) {
    return expect_at(emulated_work(seed, rounds) == expected_work(seed, rounds), line);
}
#define EXPECT_WORK(seed, rounds) expect_work((seed), (rounds), __LINE__)

// Prints the verdict, and returns the status.
inline int verdict(const char *what) {
    if (failures == 0)
        printf("%s: right\n", what);
    else
        printf("%s: %d wrong, the first in line %d\n", what, failures.load(), first_failure.load());
    return failures != 0;
}

// Of the whole address space.
inline size_t mapped_kilobytes() {
    size_t total = 0;
    if (FILE *file = fopen("/proc/self/maps", "r")) {
        for (unsigned long start, end; fscanf(file, "%lx-%lx%*[^\n]", &start, &end) == 2;)
            total += end - start;
        fclose(file);
    }
    return total / 1024;
}

// ---- Timers -------------------------------------------------------------------------------------

// Two timers with signals of their own, so that one handler may interrupt the other's beginning. Where handlers are
// slow they may leave no time for anything else: the handler that has seen enough stops the timers, not the code that
// it interrupts.
class two_timers {
public:
    explicit two_timers(void (*handler)(int, siginfo_t *, void *)) {
        struct sigaction action = {};
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigaction(SIGALRM, &action, nullptr);
        sigaction(SIGRTMIN + 3, &action, nullptr);
        struct sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGRTMIN + 3;
        timer_create(CLOCK_MONOTONIC, &event, &timer_);
        const itimerspec fast = {{0, 600'000}, {0, 600'000}};
        timer_settime(timer_, 0, &fast, nullptr);
        const itimerval also_fast = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &also_fast, nullptr);
    }
    ~two_timers() {
        stop();
        timer_delete(timer_);
    }
    static void stop() {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        const itimerspec not_again = {};
        timer_settime(timer_, 0, &not_again, nullptr);
    }
    two_timers(const two_timers &) = delete;
    two_timers &operator=(const two_timers &) = delete;

private:
    static inline timer_t timer_;
};

// ---- Instructions that have not run yet ---------------------------------------------------------

// Functions of one emulated instruction each, in pages of their own: w0 + 1 of the first lane.
class fresh_sites {
public:
    fresh_sites() {
        void *pages =
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        code_ = static_cast<uint32_t *>(pages);
        for (unsigned i = 0; i < count; i++) {
            uint32_t *function = code_ + 4 * i;
            function[0] = 0x1e270000; // fmov s0, w0
            function[1] = 0x25a0c020; // add z0.s, z0.s, #1
            function[2] = 0x1e260000; // fmov w0, s0
            function[3] = 0xd65f03c0; // ret
        }
        mprotect(pages, bytes, PROT_READ | PROT_EXEC);
        __builtin___clear_cache(static_cast<char *>(pages), static_cast<char *>(pages) + bytes);
    }
    ~fresh_sites() { munmap(code_, bytes); }
    fresh_sites(const fresh_sites &) = delete;
    fresh_sites &operator=(const fresh_sites &) = delete;

    // Runs the next one; its first trap must be handled for the result to be right.
    bool run_next() { return run(next_++ % count); }
    bool run(unsigned i) {
        return reinterpret_cast<uint32_t (*)(uint32_t)>(code_ + 4 * i)(i) == i + 1;
    }

private:
    static constexpr size_t bytes = 64 << 10;
    static constexpr unsigned count = bytes / 16;
    uint32_t *code_;
    std::atomic<unsigned> next_ = 0;
};
