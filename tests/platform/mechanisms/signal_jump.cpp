// Handlers that are left by a jump or an exception, again and again: emulation goes on, and nothing is
// used up.
#include "emulated_work.h"

#include <csetjmp>
#include <csignal>
#include <stdexcept>
#include <sys/time.h>

static sigjmp_buf back;
static volatile sig_atomic_t may_jump;
static volatile uint32_t *volatile nowhere; // null

static void on_tick(int) {
    emulated_disturbance();
    if (may_jump) {
        may_jump = 0;
        siglongjmp(back, 1);
    }
}

static void jump_out_of_work(uint32_t seed) {
    if (sigsetjmp(back, 1) == 0) {
        may_jump = 1;
        for (;;)
            emulated_work(seed, 1000);
    }
    EXPECT_WORK(seed, 10);
}

static void throw_out_of_handler(int) {
    EXPECT_WORK(5, 3);
    throw std::runtime_error("fault");
}

// Only the call of a function that isn't known is a place where every compiler expects an exception.
static void (*volatile store_nowhere)() = [] { *nowhere = 1; };

static void catch_from_handler(uint32_t seed) {
    try {
        EXPECT_WORK(seed, 2);
        store_nowhere();
        EXPECT(false);
    } catch (const std::runtime_error &) {
    }
    EXPECT_WORK(seed, 4);
}

int main() {
    struct sigaction action = {};
    action.sa_handler = throw_out_of_handler;
    action.sa_flags = SA_NODEFER;
    sigaction(SIGSEGV, &action, nullptr);
    for (uint32_t i = 0; i < 30; i++)
        catch_from_handler(i);

    signal(SIGALRM, on_tick);
    const itimerval fast = {{0, 700}, {0, 700}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    for (uint32_t i = 0; i < 10; i++)
        jump_out_of_work(i);
    const size_t before = mapped_kilobytes();
    for (uint32_t i = 0; i < 80; i++)
        jump_out_of_work(i);
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT(mapped_kilobytes() < before + 200);
    return verdict("jump");
}
