// Every function that takes a mask, given one that blocks all: instructions that trap run all the same,
// in the thread, in a thread that inherits the mask, and in handlers that run while a call waits.
#include "emulated_work.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // of the oldest functions

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

static fresh_sites *sites;
static int handled;

static void on_signal(int) {
    EXPECT(sites->run_next());
    handled++;
}

static sigset_t all_but(int signal) {
    sigset_t set;
    sigfillset(&set);
    if (signal)
        sigdelset(&set, signal);
    return set;
}

static void unblock_all() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

static void *run_site(void *) {
    EXPECT(sites->run_next());
    return nullptr;
}

static void use_in_mask(int (*set_mask)()) {
    EXPECT(set_mask() == 0);
    EXPECT(sites->run_next());
    pthread_t thread;
    pthread_create(&thread, nullptr, run_site, nullptr);
    pthread_join(thread, nullptr);
    unblock_all();
}

// Waits with SIGUSR1 pending and everything else blocked.
static void use_in_wait(int (*wait)(const sigset_t *)) {
    sigset_t usr1;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    sigprocmask(SIG_BLOCK, &usr1, nullptr);
    raise(SIGUSR1);
    const int before = handled;
    const sigset_t mask = all_but(SIGUSR1);
    EXPECT(wait(&mask) == -1 && errno == EINTR);
    EXPECT(handled == before + 1);
    unblock_all();
}

int main() {
    sites = new fresh_sites;
    signal(SIGUSR1, on_signal);

    use_in_mask([] {
        const sigset_t all = all_but(0);
        return sigprocmask(SIG_SETMASK, &all, nullptr);
    });
    use_in_mask([] {
        const sigset_t all = all_but(0);
        return pthread_sigmask(SIG_BLOCK, &all, nullptr);
    });
    use_in_mask([] { return sighold(SIGILL); });
    use_in_mask([] { return sigsetmask(-1) & 0; });
    use_in_mask([] { return sigblock(-1) & 0; });
    use_in_mask([] { return sigset(SIGILL, SIG_HOLD) == SIG_ERR ? -1 : 0; });

    use_in_wait([](const sigset_t *mask) { return sigsuspend(mask); });
    use_in_wait([](const sigset_t *) { return sigpause(SIGUSR1); });
    use_in_wait([](const sigset_t *mask) { return ppoll(nullptr, 0, nullptr, mask); });
    use_in_wait(
        [](const sigset_t *mask) { return pselect(0, nullptr, nullptr, nullptr, nullptr, mask); });
    use_in_wait([](const sigset_t *mask) {
        const int file = epoll_create1(0);
        epoll_event event;
        const int result = epoll_pwait(file, &event, 1, -1, mask);
        const int error = errno;
        close(file);
        errno = error;
        return result;
    });

    // Masks of handlers, and of a new thread by its attributes.
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_mask = all_but(0);
    for (const int flags : {0, SA_RESTART, SA_NODEFER, SA_SIGINFO}) {
        action.sa_flags = flags;
        sigaction(SIGUSR2, &action, nullptr);
        raise(SIGUSR2);
    }
    for (const auto set : {signal, ssignal, sysv_signal, sigset}) {
        set(SIGUSR2, on_signal);
        raise(SIGUSR2);
    }
    signal(SIGUSR2, on_signal);
    siginterrupt(SIGUSR2, 1);
    raise(SIGUSR2);
    EXPECT(handled == 5 + 4 + 4 + 1);

    const sigset_t all = all_but(0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setsigmask_np(&attributes, &all);
    pthread_t thread;
    pthread_create(&thread, &attributes, run_site, nullptr);
    pthread_join(thread, nullptr);
    return verdict("masks");
}
