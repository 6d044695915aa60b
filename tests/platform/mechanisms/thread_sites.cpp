// Many threads that meet the same instructions for the first time, under timer signals, again and again.
#include "emulated_work.h"

#include <barrier>
#include <csignal>
#include <sys/time.h>
#include <thread>
#include <vector>

int main() {
    constexpr int thread_count = 8;
    signal(SIGALRM, [](int) { EXPECT_WORK(2, 3); });
    const itimerval fast = {{0, 1000}, {0, 1000}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    for (int round = 0; round < 3; round++) {
        fresh_sites sites;
        std::barrier start(thread_count);
        std::vector<std::thread> threads;
        for (uint32_t t = 0; t < thread_count; t++)
            threads.emplace_back([&] {
                start.arrive_and_wait();
                for (uint32_t i = 0; i < 100; i++)
                    EXPECT(sites.run(i / 2));
            });
        for (std::thread &thread : threads)
            thread.join();
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    return verdict("thread sites");
}
