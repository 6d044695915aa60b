// The ways in which a process ends, the argument, while other threads emulate. Emulated instructions run
// until the last moment that each way has, and are counted.
#include "emulated_work.h"

#include <csignal>
#include <cstring>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

static void tell_work(const char *when) {
    EXPECT_WORK(1, 10); // 38 emulated instructions
    printf("%s: %s\n", when, failures == 0 ? "right" : "wrong");
    fflush(stdout);
}

static struct static_object {
    static_object() { tell_work("constructor"); }
    ~static_object() { tell_work("destructor"); }
} object;
[[gnu::destructor]] static void at_fini() {
    tell_work("fini");
}

static void emulate_for_ever(uint32_t seed) {
    for (;;)
        emulated_work(seed, 50);
}

int main(int argc, char **argv) {
    const std::string how = argc > 1 ? argv[1] : "", who = argc > 2 ? argv[2] : "";
    const rlimit no_core_files = {};
    setrlimit(RLIMIT_CORE, &no_core_files);
    atexit([] { tell_work("atexit"); });
    at_quick_exit([] { tell_work("at_quick_exit"); });
    if (who == "threads")
        for (uint32_t t = 0; t < 6; t++)
            std::thread(emulate_for_ever, t).detach();
    tell_work("main");
    if (how == "exit")
        exit(3);
    if (how == "_exit")
        _exit(4);
    if (how == "_Exit")
        _Exit(5);
    if (how == "quick_exit")
        quick_exit(6);
    if (how == "abort")
        abort();
    if (how == "signal")
        raise(SIGTERM);
    if (how == "handler") {
        signal(SIGALRM, [](int) {
            tell_work("handler");
            _exit(7);
        });
        ualarm(20'000, 0);
        emulate_for_ever(1);
    }
    if (how == "other") {
        std::thread([] { exit(8); }).detach();
        emulate_for_ever(1);
    }
    if (how == "both") {
        std::thread([] { _exit(9); }).detach();
        _exit(9);
    }
    if (how == "last_thread") {
        std::thread([] { tell_work("last thread"); }).detach();
        pthread_exit(nullptr);
    }
    return 10;
}
