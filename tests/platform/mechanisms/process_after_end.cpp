// When the totals have been printed nothing is emulated any more, though other threads go on. A library that
// is loaded late, and so ends late, looks at that. The argument is the library.
#include "emulated_work.h"

#include <dlfcn.h>
#include <thread>

static std::atomic<unsigned long> works_done;

int main(int argc, char **argv) {
    void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : nullptr;
    if (!library)
        return 2;
    *static_cast<std::atomic<unsigned long> **>(dlsym(library, "watched")) = &works_done;
    for (uint32_t t = 0; t < 4; t++)
        std::thread([t] {
            for (;;) {
                emulated_work(t, 1);
                works_done++;
            }
        }).detach();
    while (works_done < 100)
        EXPECT_WORK(1, 5);
    return failures;
}
