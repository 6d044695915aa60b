// Timer signals whose handlers emulate, in the middle of emulated work and of each other.
#include "emulated_work.h"

constexpr int enough = 100;
static std::atomic<int> ticks;

static void on_tick(int, siginfo_t *, void *) {
    emulated_disturbance();
    EXPECT_WORK(77, 3);
    emulated_disturbance();
    if (++ticks >= enough)
        two_timers::stop();
}

int main() {
    const two_timers timers(on_tick);
    for (uint32_t i = 0; ticks < enough; i++)
        EXPECT_WORK(i, 50 + i % 100);
    return verdict("timer");
}
