#include "platform/src/libc_functions.h"

#include <atomic>
#include <cstring>
#include <dlfcn.h>

namespace platform {

static libc_functions functions;
static std::atomic<bool> found;

// A table, since code that runs once at the start costs more.
static constinit const struct {
    const char *name;
    void *place; // in `functions`
} wanted[] = {
    {"pthread_sigmask", &functions.pthread_sigmask},
    {"sigprocmask", &functions.sigprocmask},
    {"pthread_attr_setsigmask_np", &functions.pthread_attr_setsigmask_np},
    {"timer_create", &functions.timer_create},
    {"mq_notify", &functions.mq_notify},
    {"sigsuspend", &functions.sigsuspend},
    {"ppoll", &functions.ppoll},
    {"__ppoll_chk", &functions.__ppoll_chk},
    {"pselect", &functions.pselect},
    {"epoll_pwait", &functions.epoll_pwait},
    {"epoll_pwait2", &functions.epoll_pwait2},
    {"getauxval", &functions.getauxval},
    {"prctl", &functions.prctl},
    {"dlclose", &functions.dlclose},
    {"mmap", &functions.mmap},
    {"munmap", &functions.munmap},
    {"mremap", &functions.mremap},
    {"mprotect", &functions.mprotect},
    {"pkey_mprotect", &functions.pkey_mprotect},
};

const libc_functions &libc() {
    if (!found.load(std::memory_order_acquire)) {
        for (const auto &[name, place] : wanted) {
            void *const function = dlsym(RTLD_NEXT, name);
            std::memcpy(place, &function, sizeof function);
        }
        found.store(true, std::memory_order_release);
    }
    return functions;
}

bool libc_is_known() {
    return found.load(std::memory_order_acquire);
}

} // namespace platform
