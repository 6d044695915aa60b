// Forks while other threads emulate: the child emulates on, forks again and ends in its
// own way; the parent's threads don't notice.
#include "emulated_work.h"

#include <csignal>
#include <pthread.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

static int status_of(pid_t child) {
    int status = 0;
    EXPECT(waitpid(child, &status, 0) == child);
    return status;
}

static fresh_sites *sites;
constexpr unsigned run_before = 50; // of them, once

static void child(uint32_t number) {
    EXPECT_WORK(number, 20);
    EXPECT(sites->run_next()); // takes what a thread of the parent's may have had
    for (int time = 0; time < 3; time++)
        for (unsigned i = 0; i < run_before; i++)
            EXPECT(sites->run(i));
    if (number % 3 == 0) {
        const pid_t grandchild = fork();
        if (grandchild == 0)
            _exit(emulated_work(3, 3) == expected_work(3, 3) ? 33 : 34);
        const int status = status_of(grandchild);
        EXPECT(WIFEXITED(status) && WEXITSTATUS(status) == 33);
    }
    const int result = failures == 0 ? 40 + static_cast<int>(number) : 1;
    if (number % 2)
        exit(result);
    _exit(result);
}

int main() {
    signal(SIGALRM, [](int) { EXPECT_WORK(2, 3); });
    pthread_atfork([] { EXPECT_WORK(1, 1); }, [] { EXPECT_WORK(1, 2); }, [] { EXPECT_WORK(1, 3); });
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < 2; t++)
        threads.emplace_back([&done, t] {
            for (uint32_t i = 0; !done; i++)
                EXPECT_WORK(t + i, 20);
        });
    threads.emplace_back([&done] {
        while (!done) {
            fresh_sites always_new;
            for (int i = 0; i < 50; i++)
                EXPECT(always_new.run_next());
        }
    });
    const itimerval fast = {{0, 2000}, {0, 2000}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    sites = new fresh_sites;
    for (unsigned i = 0; i < run_before; i++)
        EXPECT(sites->run_next());
    for (uint32_t i = 0; i < 4; i++) {
        fflush(stdout);
        const pid_t pid = fork();
        if (pid == 0)
            child(i);
        const int status = status_of(pid);
        EXPECT(WIFEXITED(status) && WEXITSTATUS(status) == 40 + static_cast<int>(i));
        EXPECT(sites->run_next());
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    done = true;
    for (std::thread &thread : threads)
        thread.join();
    return verdict("fork");
}
