// Timer signals whose handler emulates, in the middle of emulated work.
#include "emulated_work.h"

#include <csignal>
#include <sys/time.h>

static volatile sig_atomic_t ticks;

static void on_tick(int) {
    emulated_disturbance();
    EXPECT_WORK(77, 3);
    emulated_disturbance();
    ticks = ticks + 1;
}

int main() {
    signal(SIGALRM, on_tick);
    const itimerval fast = {{0, 700}, {0, 700}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    for (uint32_t i = 0; ticks < 60; i++)
        EXPECT_WORK(i, 50 + i % 100);
    setitimer(ITIMER_REAL, &never, nullptr);
    return verdict("timer");
}
