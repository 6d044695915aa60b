// Emulated instructions at every moment of a program's life at which its own code runs.
#include "emulated_work.h"

#include <cstring>
#include <thread>
#include <unistd.h>

// Without the C library's streams, which aren't ready in the earliest moment.
static void tell(const char *moment) {
    char line[64] = {};
    strcat(strcpy(line, moment),
           emulated_work(7, 9) == expected_work(7, 9) ? ": right\n" : ": wrong\n");
    (void)!write(STDOUT_FILENO, line, strlen(line));
}

static void at_preinit(int argc, char **argv, char **environment) {
    tell(argc == 3 && strcmp(argv[2], "two") == 0 && environment && environment[0]
             ? "preinit"
             : "bad arguments");
}
[[gnu::section(".preinit_array"), gnu::used]] static void (*const preinit)(int, char **,
                                                                           char **) = at_preinit;

[[gnu::constructor(101)]] static void first_constructor() {
    tell("first constructor");
}
[[gnu::constructor]] static void constructor() {
    tell("constructor");
}
static struct static_object {
    static_object() { tell("static object"); }
    ~static_object() { tell("end of the static object"); }
} object;
static thread_local struct local_object {
    local_object() { tell("thread's object"); }
    ~local_object() { tell("end of the thread's object"); }
} local;
[[gnu::destructor]] static void destructor() {
    tell("destructor");
}
[[gnu::destructor(101)]] static void last_destructor() {
    tell("last destructor");
}

int main() {
    tell("main");
    (void)&local;
    std::thread([] { (void)&local; }).join();
    atexit([] { tell("atexit"); });
}
