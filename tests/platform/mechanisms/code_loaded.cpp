// A library that is loaded and unloaded while the program emulates, and that calls emulated code of
// the program. The argument is the library.
#include "emulated_work.h"

#include <dlfcn.h>
#include <thread>

static uint64_t work(uint32_t seed) {
    return emulated_work(seed, 10);
}

int main(int argc, char **argv) {
    if (argc != 2)
        return 2;
    std::atomic<bool> done = false;
    std::thread other([&done] {
        for (uint32_t i = 0; !done; i++)
            EXPECT_WORK(i, 10);
    });
    for (uint32_t i = 0; i < 20; i++) {
        void *library = dlopen(argv[1], RTLD_NOW);
        using call_twice_function = uint64_t(uint64_t(*)(uint32_t), uint32_t);
        auto *call_twice =
            library ? reinterpret_cast<call_twice_function *>(dlsym(library, "call_twice"))
                    : nullptr;
        EXPECT(call_twice &&
               call_twice(work, i) == expected_work(i, 10) + expected_work(i + 1, 10));
        if (library)
            dlclose(library);
    }
    done = true;
    other.join();
    return verdict("loaded");
}
