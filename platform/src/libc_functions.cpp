#include "platform/src/libc_functions.h"

#include <atomic>
#include <dlfcn.h>

namespace platform {

static libc_functions functions;
static std::atomic<bool> found;

template <class Function>
static void find(Function *&function, const char *name) {
    function = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

const libc_functions &libc() {
    if (!found.load(std::memory_order_acquire)) {
        find(functions.pthread_sigmask, "pthread_sigmask");
        find(functions.sigprocmask, "sigprocmask");
        find(functions.pthread_attr_setsigmask_np, "pthread_attr_setsigmask_np");
        find(functions.timer_create, "timer_create");
        find(functions.mq_notify, "mq_notify");
        find(functions.sigsuspend, "sigsuspend");
        find(functions.ppoll, "ppoll");
        find(functions.__ppoll_chk, "__ppoll_chk");
        find(functions.pselect, "pselect");
        find(functions.epoll_pwait, "epoll_pwait");
        find(functions.epoll_pwait2, "epoll_pwait2");
        find(functions.getauxval, "getauxval");
        find(functions.prctl, "prctl");
        find(functions.dlclose, "dlclose");
        find(functions.mmap, "mmap");
        find(functions.munmap, "munmap");
        find(functions.mremap, "mremap");
        find(functions.mprotect, "mprotect");
        find(functions.pkey_mprotect, "pkey_mprotect");
        found.store(true, std::memory_order_release);
    }
    return functions;
}

bool libc_is_known() {
    return found.load(std::memory_order_acquire);
}

} // namespace platform
