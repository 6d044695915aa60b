// The functions that take a mask of signals. The ones that emulation needs can't be blocked: a
// thread that blocks them dies of the first trap. These stand in front of the C library's functions
// of the same names, and hand everything else on.
#include "platform/include/dr_api.h"
#include "platform/src/libc_functions.h"
#include "platform/src/memory.h"
#include "platform/src/signal_set.h"

#include <mqueue.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <time.h>

using namespace platform;

namespace {

// The set without the signals that emulation needs.
class allowed {
public:
    explicit allowed(const sigset_t *set) : given_(set) {
        if (set) {
            copy_ = *set;
            set_kernel_set(copy_, kernel_set(copy_) & ~own_signals);
        }
    }
    operator const sigset_t *() const { return given_ ? &copy_ : nullptr; }

private:
    const sigset_t *given_;
    sigset_t copy_;
};

// The first 32 signals as the oldest functions have them.
sigset_t from_bits(int bits) {
    sigset_t set;
    sigemptyset(&set);
    set_kernel_set(set, static_cast<unsigned>(bits));
    return set;
}
int to_bits(const sigset_t &set) {
    return static_cast<int>(kernel_set(set));
}

int change_mask(int how, int bits) {
    const sigset_t set = from_bits(bits);
    sigset_t former;
    sigprocmask(how, &set, &former);
    return to_bits(former);
}

int change_mask_by_one(int how, int signal) {
    sigset_t set;
    sigemptyset(&set);
    return sigaddset(&set, signal) == 0 ? sigprocmask(how, &set, nullptr) : -1;
}

int wait_without(int signal) {
    sigset_t set;
    sigprocmask(SIG_BLOCK, nullptr, &set);
    return sigdelset(&set, signal) == 0 ? sigsuspend(&set) : -1;
}

} // namespace

// ---- The mask of the thread ---------------------------------------------------------------------

DR_EXPORT int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    const allowed filtered(set);
    return libc().pthread_sigmask(how, how == SIG_UNBLOCK ? set : filtered, old);
}
DR_EXPORT int sigprocmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    const allowed filtered(set);
    return libc().sigprocmask(how, how == SIG_UNBLOCK ? set : filtered, old);
}
DR_EXPORT int pthread_attr_setsigmask_np(pthread_attr_t *attributes, const sigset_t *set) {
    return libc().pthread_attr_setsigmask_np(attributes, allowed(set));
}

DR_EXPORT int sigblock(int bits) noexcept {
    return change_mask(SIG_BLOCK, bits);
}
DR_EXPORT int sigsetmask(int bits) noexcept {
    return change_mask(SIG_SETMASK, bits);
}
DR_EXPORT int sighold(int signal) noexcept {
    return change_mask_by_one(SIG_BLOCK, signal);
}
DR_EXPORT int sigrelse(int signal) noexcept {
    return change_mask_by_one(SIG_UNBLOCK, signal);
}

// ---- Threads that the C library makes, with all signals blocked ---------------------------------

namespace {

// What the program wants called in such a thread. Kept for good, since a thread may be on its way
// when its timer is deleted; programs that make one like another get the same again.
struct notification {
    void (*function)(union sigval);
    union sigval value;
};

const notification *keep(const notification &wanted) {
    constexpr unsigned per_piece = 512;
    static constinit pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    static constinit notification *piece;
    static constinit unsigned used;

    const signals_blocked_but_own blocked;
    pthread_mutex_lock(&lock);
    notification *found = nullptr;
    for (unsigned i = 0; piece && i < used && !found; i++)
        if (piece[i].function == wanted.function &&
            piece[i].value.sival_ptr == wanted.value.sival_ptr)
            found = &piece[i];
    if (!found) {
        if (!piece || used == per_piece) {
            piece = static_cast<notification *>(map_memory(per_piece * sizeof *piece));
            used = 0;
        }
        if (piece) {
            found = &piece[used++];
            *found = wanted;
        }
    }
    pthread_mutex_unlock(&lock);
    return found;
}

void notify(union sigval kept) {
    exchange_mask(exchange_mask(~signal_set{0}) & ~own_signals);
    const auto &wanted = *static_cast<const notification *>(kept.sival_ptr);
    wanted.function(wanted.value);
}

// The event with the same meaning whose thread, if it has one, can emulate.
struct sigevent with_own_signals(const struct sigevent &event) {
    struct sigevent result = event;
    if (event.sigev_notify == SIGEV_THREAD)
        if (const notification *kept = keep({event.sigev_notify_function, event.sigev_value})) {
            result.sigev_notify_function = notify;
            result.sigev_value.sival_ptr = const_cast<notification *>(kept);
        }
    return result;
}

} // namespace

DR_EXPORT int timer_create(clockid_t clock, struct sigevent *event, timer_t *timer) noexcept {
    if (!event)
        return libc().timer_create(clock, event, timer);
    struct sigevent changed = with_own_signals(*event);
    return libc().timer_create(clock, &changed, timer);
}
DR_EXPORT int mq_notify(mqd_t queue, const struct sigevent *event) noexcept {
    if (!event)
        return libc().mq_notify(queue, event);
    const struct sigevent changed = with_own_signals(*event);
    return libc().mq_notify(queue, &changed);
}

// ---- Masks while a call waits. All of them may end by the thread's cancellation -----------------

DR_EXPORT int sigsuspend(const sigset_t *set) {
    return libc().sigsuspend(allowed(set));
}
extern "C" DR_EXPORT int __sigsuspend(const sigset_t *set) {
    return sigsuspend(set);
}
// sigpause has two meanings, by a set of bits and by the signal to let in, and this name for both.
extern "C" DR_EXPORT int __sigpause(int signal_or_bits, int is_signal) {
    if (is_signal)
        return wait_without(signal_or_bits);
    const sigset_t set = from_bits(signal_or_bits);
    return sigsuspend(&set);
}
extern "C" DR_EXPORT int __xpg_sigpause(int signal) {
    return wait_without(signal);
}

DR_EXPORT int ppoll(pollfd *files, nfds_t count, const timespec *timeout, const sigset_t *set) {
    return libc().ppoll(files, count, timeout, allowed(set));
}
extern "C" DR_EXPORT int __ppoll_chk(pollfd *files, nfds_t count, const timespec *timeout,
                                     const sigset_t *set, size_t room) {
    return libc().__ppoll_chk(files, count, timeout, allowed(set), room);
}
DR_EXPORT int pselect(int count, fd_set *reading, fd_set *writing, fd_set *exceptional,
                      const timespec *timeout, const sigset_t *set) {
    return libc().pselect(count, reading, writing, exceptional, timeout, allowed(set));
}
DR_EXPORT int epoll_pwait(int file, epoll_event *events, int count, int timeout,
                          const sigset_t *set) {
    return libc().epoll_pwait(file, events, count, timeout, allowed(set));
}
extern "C" DR_EXPORT int epoll_pwait2(int file, epoll_event *events, int count,
                                      const timespec *timeout, const sigset_t *set) {
    return libc().epoll_pwait2(file, events, count, timeout, allowed(set));
}
