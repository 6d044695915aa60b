// A library to preload into any program beside the platform: timers at 1 and 2 kHz, whose handlers emulate
// on every vector register and check their own results. The program must not notice.
#include "tests/platform/mechanisms/emulated_work.h"

#include <csignal>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

extern "C" [[gnu::visibility("hidden")]] const char emulated_code[], emulated_code_end[];

namespace {

// Instructions are emulated in the program and in code of no module, and not in libraries. So the work
// is a copy in pages of its own.
char *copied_code;
template <class F>
F *copied(F *function) {
    return reinterpret_cast<F *>(copied_code +
                                 (reinterpret_cast<const char *>(function) - emulated_code));
}

std::atomic<unsigned long> handled;
constexpr uint32_t seed = 17, rounds = 2;
uint64_t expected;

void on_timer(int) {
    copied(emulated_disturbance)();
    if (copied(emulated_work)(seed, rounds) != expected) {
        static const char message[] = "signal storm: a handler's result is wrong\n";
        (void)!write(STDERR_FILENO, message, sizeof message - 1);
        abort();
    }
    copied(emulated_disturbance)();
    handled.fetch_add(1, std::memory_order_relaxed);
}

void start_storm() {
    const auto size = static_cast<size_t>(emulated_code_end - emulated_code);
    void *pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    copied_code = static_cast<char *>(pages);
    memcpy(copied_code, emulated_code, size);
    mprotect(copied_code, size, PROT_READ | PROT_EXEC);
    __builtin___clear_cache(copied_code, copied_code + size);
    expected = expected_work(seed, rounds, copied(emulated_lanes)());

    struct sigaction action = {};
    action.sa_handler = on_timer;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    sigaction(SIGRTMIN + 4, &action, nullptr);
    const itimerval one_kilohertz = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &one_kilohertz, nullptr);
    struct sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGRTMIN + 4;
    timer_t timer;
    const itimerspec two_kilohertz = {{0, 500'000}, {0, 500'000}};
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) == 0)
        timer_settime(timer, 0, &two_kilohertz, nullptr);
}

using main_function = int(int, char **, char **);
main_function *programs_main;

int main_in_storm(int argc, char **argv, char **environment) {
    // Not in the launcher, which is a program of this processor on an AArch64 machine.
    if (dlsym(RTLD_DEFAULT, "dr_get_main_module"))
        start_storm();
    return programs_main(argc, argv, environment);
}

[[gnu::destructor]] void tell() {
    fprintf(stderr, "signal storm: %lu handlers\n", handled.load());
}

} // namespace

// In front of the C library's: the storm begins when everything is loaded and started.
extern "C" [[gnu::visibility("default")]] int
__libc_start_main(main_function *main, int argc, char **argv, void (*init)(), void (*fini)(),
                  void (*loader_fini)(), void *stack_end) {
    programs_main = main;
    const auto start =
        reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(main_in_storm, argc, argv, init, fini, loader_fini, stack_end);
}
