// Threads that start, emulate and end by the dozen while others emulate; threads whose first emulated
// instruction runs in a destructor of their own data; and threads that the C library makes.
#include "emulated_work.h"

#include <climits>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <vector>

static void short_ones_beside_long_ones() {
    std::atomic<bool> done = false;
    std::vector<std::thread> long_ones;
    for (uint32_t t = 0; t < 2; t++)
        long_ones.emplace_back([&done, t] {
            for (uint32_t i = 0; !done; i++)
                EXPECT_WORK(t + i, 30);
        });
    std::vector<std::thread> short_ones;
    for (uint32_t t = 0; t < 64; t++)
        short_ones.emplace_back([t] { EXPECT_WORK(t, 3 + t % 5); });
    for (std::thread &thread : short_ones)
        thread.join();
    done = true;
    for (std::thread &thread : long_ones)
        thread.join();
}

struct at_thread_end {
    ~at_thread_end() {
        EXPECT_WORK(21, 2);
        destroyed++;
    }
    static inline std::atomic<int> destroyed;
};
static thread_local at_thread_end with_destructor;

// Destructors of thread-specific data, in all rounds that there are.
static pthread_key_t keys[3];
static std::atomic<int> rounds;
static void in_destructor(void *value) {
    const auto round = reinterpret_cast<uintptr_t>(value);
    EXPECT_WORK(static_cast<uint32_t>(round), 2);
    rounds++;
    if (round < PTHREAD_DESTRUCTOR_ITERATIONS - 1)
        pthread_setspecific(keys[0], reinterpret_cast<void *>(round + 1));
}

static void destructors() {
    for (pthread_key_t &key : keys)
        pthread_key_create(&key, in_destructor);
    const auto run_threads = [](int count, bool emulate_before) {
        for (int i = 0; i < count; i++)
            std::thread([=] {
                if (emulate_before) {
                    EXPECT_WORK(1, 2);
                    (void)&with_destructor;
                }
                pthread_setspecific(keys[0], reinterpret_cast<void *>(1));
            }).join();
    };
    run_threads(2, true);
    run_threads(2, false);
    const size_t before = mapped_kilobytes();
    run_threads(8, true);
    run_threads(8, false);
    EXPECT(mapped_kilobytes() < before + 500);
    EXPECT(rounds == 20 * (PTHREAD_DESTRUCTOR_ITERATIONS - 1));
    EXPECT(at_thread_end::destroyed == 10);
}

// A timer that makes a thread for each notification.
static std::atomic<int> notified;
static void timer_threads() {
    struct sigevent event = {};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = [](union sigval value) {
        EXPECT_WORK(static_cast<uint32_t>(value.sival_int), 4);
        static auto *sites = new fresh_sites; // a notification may be on its way at the end
        EXPECT(sites->run_next());
        notified++;
    };
    event.sigev_value.sival_int = 40;
    timer_t timer;
    EXPECT(timer_create(CLOCK_MONOTONIC, &event, &timer) == 0);
    const itimerspec every_millisecond = {{0, 1'000'000}, {0, 1'000'000}};
    timer_settime(timer, 0, &every_millisecond, nullptr);
    while (notified < 5)
        EXPECT_WORK(6, 10);
    timer_delete(timer);
}

int main() {
    short_ones_beside_long_ones();
    destructors();
    timer_threads();
    return verdict("thread ends");
}
