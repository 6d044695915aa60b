// What process_after_end loads.
#include <atomic>
#include <cstdio>
#include <unistd.h>

extern "C" [[gnu::visibility("default")]] std::atomic<unsigned long> *watched;
std::atomic<unsigned long> *watched;

[[gnu::destructor]] static void look() {
    const unsigned long before = *watched;
    usleep(20'000);
    // Each thread may have been on the way from its work to its count.
    puts(*watched <= before + 4 ? "nothing after the end" : "emulated after the end");
    fflush(stdout);
}
