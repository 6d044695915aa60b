#pragma once

// The C library's own functions behind the names that the platform defines again.

#include <dlfcn.h>
#include <mqueue.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <time.h>

namespace platform {

struct libc_functions {
    decltype(&::pthread_sigmask) pthread_sigmask;
    decltype(&::sigprocmask) sigprocmask;
    int (*pthread_attr_setsigmask_np)(pthread_attr_t *, const sigset_t *);
    decltype(&::timer_create) timer_create;
    decltype(&::mq_notify) mq_notify;
    decltype(&::sigsuspend) sigsuspend;
    decltype(&::ppoll) ppoll;
    int (*__ppoll_chk)(pollfd *, nfds_t, const timespec *, const sigset_t *, size_t);
    decltype(&::pselect) pselect;
    decltype(&::epoll_pwait) epoll_pwait;
    int (*epoll_pwait2)(int, epoll_event *, int, const timespec *, const sigset_t *);
    decltype(&::getauxval) getauxval;
    int (*prctl)(int, ...);
    decltype(&::dlclose) dlclose;
    decltype(&::mmap) mmap;
    decltype(&::munmap) munmap;
    decltype(&::mremap) mremap;
    decltype(&::mprotect) mprotect;
    decltype(&::pkey_mprotect) pkey_mprotect;
};

// Found when they are first needed, which the start makes sure is not in a signal handler. A
// function that the library at hand doesn't have is null; no program can call it then.
const libc_functions &libc();

// Whether they have been found.
bool libc_is_known();

} // namespace platform
