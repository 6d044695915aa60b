// The functions that set actions, and the table behind them. They stand in front of the C library's
// functions of the same names.
#include "platform/src/signal_actions.h"

#include "platform/include/dr_api.h"
#include "platform/src/thread.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <initializer_list>
#include <pthread.h>

using namespace platform;

namespace {

constexpr int signal_count = 64;

// One action. Writers wait for each other, readers for writers only: a signal handler may read it
// while the thread that it interrupted does.
class shared_action {
public:
    void store(const signal_action &action) {
        unsigned version = version_.load(std::memory_order_relaxed) & ~1u;
        while (!version_.compare_exchange_weak(version, version + 1, std::memory_order_acq_rel))
            version &= ~1u;
        std::atomic_thread_fence(std::memory_order_release);
        handler_.store(action.handler, std::memory_order_relaxed);
        flags_.store(action.flags, std::memory_order_relaxed);
        mask_.store(action.mask, std::memory_order_relaxed);
        version_.fetch_add(1, std::memory_order_release);
    }
    signal_action load() const {
        for (;;) {
            const unsigned before = version_.load(std::memory_order_acquire);
            const signal_action action = {handler_.load(std::memory_order_relaxed),
                                          flags_.load(std::memory_order_relaxed), 0,
                                          mask_.load(std::memory_order_relaxed)};
            std::atomic_thread_fence(std::memory_order_acquire);
            if (before % 2 == 0 && before == version_.load(std::memory_order_relaxed))
                return action;
        }
    }

private:
    std::atomic<unsigned> version_;
    std::atomic<uint64_t> handler_, flags_;
    std::atomic<signal_set> mask_;
};

constinit shared_action application_actions[signal_count + 1];
constinit shared_action client_actions[signal_count + 1];

// Guards the application's, and what the kernel has of them. Taken with signals blocked only, so
// that no handler meets it held. The client's need no lock: what it sets doesn't reach the kernel.
pthread_mutex_t actions_lock = PTHREAD_MUTEX_INITIALIZER;

bool own_signals_taken;
pid_t process; // that took them

// The C library has no more than this of a kernel's action.
signal_action kernel_form(const struct sigaction &action) {
    return {reinterpret_cast<uint64_t>(action.sa_sigaction),
            static_cast<uint64_t>(static_cast<unsigned>(action.sa_flags)), 0,
            kernel_set(action.sa_mask)};
}
struct sigaction library_form(const signal_action &action) {
    struct sigaction result = {};
    result.sa_sigaction = reinterpret_cast<decltype(result.sa_sigaction)>(action.handler);
    result.sa_flags = static_cast<int>(action.flags);
    set_kernel_set(result.sa_mask, action.mask);
    return result;
}

// For a signal of the application's only: the handler gets what it would get from the kernel, and
// the mask that is wanted but for the own signals. SA_RESETHAND is left to on_signal, which may
// have to wait with a signal.
int set_other_action(int signal, const signal_action *action, signal_action *old) {
    const signal_action former = application_actions[signal].load();
    signal_action wanted;
    if (action) {
        wanted = *action;
        if (wanted.has_handler()) {
            application_actions[signal].store(wanted);
            wanted.handler = reinterpret_cast<uint64_t>(&on_signal);
            wanted.flags = (wanted.flags | SA_SIGINFO) & ~uint64_t{SA_RESETHAND};
            wanted.mask &= ~own_signals;
        }
    }
    const int result = set_kernel_action(signal, action ? &wanted : nullptr, old);
    if (result == 0 && old && old->handler == reinterpret_cast<uint64_t>(&on_signal))
        *old = former;
    return result;
}

// For one that emulation needs: nothing reaches the kernel.
int set_own_action(int signal, const signal_action *action, signal_action *old) {
    // A child of vfork shares this memory with its parent, but not the kernel's actions.
    const bool in_borrowed_memory = own_signals_taken && getpid() != process;
    *old = application_actions[signal].load();
    if (action && !in_borrowed_memory)
        application_actions[signal].store(*action);
    return 0;
}

int set_action(int signal, const signal_action *action, signal_action *old) {
    if (signal < 1 || signal > signal_count || signal == SIGKILL || signal == SIGSTOP ||
        (signal >= __SIGRTMIN && signal < SIGRTMIN)) { // the C library's own
        errno = EINVAL;
        return -1;
    }
    if (inside_client(reinterpret_cast<uint64_t>(__builtin_frame_address(0)))) {
        *old = client_actions[signal].load();
        if (action)
            client_actions[signal].store(*action);
        return 0;
    }
    const signals_blocked blocked;
    pthread_mutex_lock(&actions_lock);
    int result = 0;
    if (is_own_signal(signal) && own_signals_taken) {
        result = set_own_action(signal, action, old);
    } else {
        result = set_other_action(signal, action, old);
    }
    pthread_mutex_unlock(&actions_lock);
    return result;
}

} // namespace

int platform::set_kernel_action(int signal, const signal_action *action, signal_action *old) {
    return static_cast<int>(syscall(SYS_rt_sigaction, signal, action, old, sizeof(signal_set)));
}

signal_action platform::application_action(int signal) {
    return application_actions[signal].load();
}
signal_action platform::client_action(int signal) {
    return client_actions[signal].load();
}

void platform::reset_application_action(int signal) {
    const signal_action reset = {};
    signal_action old;
    set_action(signal, &reset, &old);
}

static void take_own_signal(int signal) {
    // A trap's handler works under the patch lock. That of a fault may be left by a jump.
    const signal_action action = {reinterpret_cast<uint64_t>(&on_signal),
                                  SA_SIGINFO | SA_ONSTACK | SA_RESTART | SA_NODEFER, 0,
                                  signal == SIGILL ? ~signal_set{0} : ~own_signals};
    signal_action inherited;
    set_kernel_action(signal, &action, &inherited);
    // What has been set through the functions below is there already.
    if (inherited.handler != action.handler)
        application_actions[signal].store(inherited);
}

void platform::take_traps() {
    take_own_signal(SIGILL);
}

void platform::take_own_signals() {
    for (const int signal : {SIGILL, SIGSEGV, SIGBUS})
        take_own_signal(signal);
    process = getpid();
    own_signals_taken = true;
}

void platform::give_up_own_signal(int signal) {
    const signal_action fatal = {};
    set_kernel_action(signal, &fatal, nullptr);
}

void platform::lock_actions() {
    pthread_mutex_lock(&actions_lock);
}
void platform::unlock_actions() {
    process = getpid();
    pthread_mutex_unlock(&actions_lock);
}

// ---- What the application calls -----------------------------------------------------------------

DR_EXPORT int sigaction(int signal, const struct sigaction *action,
                        struct sigaction *old) noexcept {
    signal_action wanted = {}, former = {};
    if (action)
        wanted = kernel_form(*action);
    const int result = set_action(signal, action ? &wanted : nullptr, &former);
    if (result == 0 && old)
        *old = library_form(former);
    return result;
}

extern "C" DR_EXPORT int __sigaction(int signal, const struct sigaction *action,
                                     struct sigaction *old) noexcept {
    return sigaction(signal, action, old);
}

// The signals whose handlers, set by signal(), interrupt system calls.
static std::atomic<signal_set> interrupting;

static sighandler_t set_handler(int signal, sighandler_t handler, signal_action action) {
    signal_action old;
    action.handler = reinterpret_cast<uint64_t>(handler);
    if (handler == SIG_ERR) {
        errno = EINVAL;
        return SIG_ERR;
    }
    return set_action(signal, &action, &old) == 0 ? reinterpret_cast<sighandler_t>(old.handler)
                                                  : SIG_ERR;
}

DR_EXPORT sighandler_t signal(int signal, sighandler_t handler) noexcept {
    if (signal < 1 || signal > signal_count)
        return set_handler(signal, handler, {});
    const bool interrupts = interrupting & set_of(signal);
    return set_handler(signal, handler,
                       {0, interrupts ? 0 : uint64_t{SA_RESTART}, 0, set_of(signal)});
}
extern "C" DR_EXPORT sighandler_t bsd_signal(int number, sighandler_t handler) noexcept {
    return signal(number, handler);
}
DR_EXPORT sighandler_t ssignal(int number, sighandler_t handler) noexcept {
    return signal(number, handler);
}

DR_EXPORT sighandler_t sysv_signal(int signal, sighandler_t handler) noexcept {
    return set_handler(signal, handler, {0, uint64_t{SA_RESETHAND} | SA_NODEFER, 0, 0});
}
extern "C" DR_EXPORT sighandler_t __sysv_signal(int signal, sighandler_t handler) noexcept {
    return sysv_signal(signal, handler);
}

DR_EXPORT int sigignore(int signal) noexcept {
    return set_handler(signal, SIG_IGN, {}) == SIG_ERR ? -1 : 0;
}

DR_EXPORT sighandler_t sigset(int signal, sighandler_t handler) noexcept {
    const bool hold = handler == SIG_HOLD;
    const signal_action action = {reinterpret_cast<uint64_t>(handler), 0, 0, 0};
    signal_action old;
    if (set_action(signal, hold ? nullptr : &action, &old) != 0)
        return SIG_ERR;
    sigset_t set, former;
    sigemptyset(&set);
    sigaddset(&set, signal);
    sigprocmask(hold ? SIG_BLOCK : SIG_UNBLOCK, &set, &former);
    return sigismember(&former, signal) ? SIG_HOLD : reinterpret_cast<sighandler_t>(old.handler);
}

DR_EXPORT int siginterrupt(int signal, int interrupts) noexcept {
    signal_action action, old;
    if (set_action(signal, nullptr, &action) != 0)
        return -1;
    if (interrupts) {
        interrupting |= set_of(signal);
        action.flags &= ~uint64_t{SA_RESTART};
    } else {
        interrupting &= ~set_of(signal);
        action.flags |= SA_RESTART;
    }
    return set_action(signal, &action, &old);
}
