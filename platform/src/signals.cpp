#include "platform/src/signals.h"

#include "platform/src/message.h"
#include "platform/src/modules.h"
#include "platform/src/rewrite.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <ucontext.h>

using namespace platform;

namespace {

// The C library's own functions behind the names that this file defines again.
template <class Function>
Function *next_definition(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int real_sigaction(int signal, const struct sigaction *action, struct sigaction *old) {
    static const auto function = next_definition<decltype(sigaction)>("sigaction");
    return function(signal, action, old);
}

// What the application has set for SIGILL. Written and read under a lock that a signal handler may
// hold: taken with signals blocked.
struct sigaction application_sigill = {};

// Blocks every signal of the calling thread for a scope.
class signals_blocked {
public:
    signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        set_mask(&all, &former_);
    }
    ~signals_blocked() { set_mask(&former_, nullptr); }
    signals_blocked(const signals_blocked &) = delete;
    signals_blocked &operator=(const signals_blocked &) = delete;

    static void set_mask(const sigset_t *mask, sigset_t *former) {
        static const auto function = next_definition<decltype(pthread_sigmask)>("pthread_sigmask");
        function(SIG_SETMASK, mask, former);
    }

private:
    sigset_t former_;
};

std::atomic_flag application_sigill_lock;

// Replaces (if `action` is given) and returns what the application has set.
struct sigaction exchange_application_sigill(const struct sigaction *action) {
    const signals_blocked blocked;
    while (application_sigill_lock.test_and_set(std::memory_order_acquire)) {
    }
    const struct sigaction former = application_sigill;
    if (action)
        application_sigill = *action;
    application_sigill_lock.clear(std::memory_order_release);
    return former;
}

// ---- The application's own SIGILL --------------------------------------------------------------

// Says in one line which instruction ends the process.
void say_fatal_instruction(uintptr_t pc) {
    char path[PATH_MAX] = "";
    module_record module = {};
    const bool known = find_module(pc, module, path);
    a64::word_t word;
    std::memcpy(&word, reinterpret_cast<const void *>(pc), sizeof word);
    say("illegal instruction 0x%08x at %p, which is not emulated, in %s", word,
        reinterpret_cast<void *>(pc), known ? module.path : "no module");
}

// si_code tells a trap of the processor from a signal that someone sent.
bool is_sent(const siginfo_t *info) {
    return info->si_code <= 0;
}

// Does what the kernel would have done without the platform.
void deliver_to_application(int signal, siginfo_t *info, ucontext_t *context) {
    const struct sigaction action = exchange_application_sigill(nullptr);
    const bool has_handler = (action.sa_flags & SA_SIGINFO) ||
                             (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
    if (!has_handler) {
        if (is_sent(info) && action.sa_handler == SIG_IGN)
            return;
        if (!is_sent(info) && !inside_client(context->uc_mcontext.sp))
            run_on_platform_stack([=] { say_fatal_instruction(context->uc_mcontext.pc); });
        struct sigaction fatal = {};
        fatal.sa_handler = SIG_DFL;
        real_sigaction(SIGILL, &fatal, nullptr);
        if (is_sent(info)) // the instruction won't raise it again
            raise(SIGILL);
        return;
    }

    if (action.sa_flags & SA_RESETHAND) {
        struct sigaction reset = {};
        reset.sa_handler = SIG_DFL;
        exchange_application_sigill(&reset);
    }
    sigset_t mask = context->uc_sigmask;
    for (int number = 1; number < NSIG; number++)
        if (sigismember(&action.sa_mask, number) == 1)
            sigaddset(&mask, number);
    sigdelset(&mask, SIGILL);
    signals_blocked::set_mask(&mask, nullptr);
    if (action.sa_flags & SA_SIGINFO)
        action.sa_sigaction(signal, info, context);
    else
        action.sa_handler(signal);
}

// ---- The platform's ----------------------------------------------------------------------------

// Goes on from a trap of the platform's own in a trampoline. False if it isn't one.
bool resume_trampoline(mcontext_t &machine) {
    a64::word_t word;
    std::memcpy(&word, reinterpret_cast<const void *>(machine.pc), sizeof word);
    if (is_trap_for_thread_state(word)) {
        need_thread_state();
        machine.regs[trap_register(word)] =
            reinterpret_cast<uint64_t>(dr_thread_area.tls_field[trap_field(word)]);
        machine.pc += 4;
        return true;
    }
    if (word == trap_to_application) {
        uint64_t target;
        std::memcpy(&target, reinterpret_cast<const void *>(machine.pc + 4), sizeof target);
        machine.pc = target;
        return true;
    }
    return false;
}

bool resume(mcontext_t &machine) {
    if (in_trampolines(machine.pc))
        return resume_trampoline(machine);
    need_thread_state();
    const uintptr_t go_on = handle_trapped_instruction(machine.pc);
    if (go_on)
        machine.pc = go_on;
    return go_on != 0;
}

// Runs on whatever stack the application has, which may be the smallest alternate one: all work is
// done on the platform's.
void on_sigill(int signal, siginfo_t *info, void *argument) {
    const int saved_errno = errno;
    auto *context = static_cast<ucontext_t *>(argument);
    mcontext_t &machine = context->uc_mcontext;
    bool resumed = false;
    if (!is_sent(info) && !inside_client(machine.sp))
        run_on_platform_stack([&] { resumed = resume(machine); });
    if (!resumed)
        deliver_to_application(signal, info, context);
    errno = saved_errno;
}

// A thread that blocks SIGILL would die of the first trap.
const sigset_t *without_sigill(const sigset_t *set, sigset_t &copy) {
    if (!set)
        return nullptr;
    copy = *set;
    sigdelset(&copy, SIGILL);
    return &copy;
}

} // namespace

void platform::start_signal_support() {
    struct sigaction action = {};
    action.sa_sigaction = on_sigill;
    sigfillset(&action.sa_mask);
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    struct sigaction inherited;
    if (real_sigaction(SIGILL, &action, &inherited) != 0)
        refuse(125, "can't take SIGILL: %s", std::strerror(errno));
    exchange_application_sigill(&inherited);
    sigset_t sigill;
    sigemptyset(&sigill);
    sigaddset(&sigill, SIGILL);
    next_definition<decltype(pthread_sigmask)>("pthread_sigmask")(SIG_UNBLOCK, &sigill, nullptr);
}

// ---- What the application calls ----------------------------------------------------------------

DR_EXPORT int sigaction(int signal, const struct sigaction *action,
                        struct sigaction *old) noexcept {
    if (signal != SIGILL) {
        if (!action)
            return real_sigaction(signal, action, old);
        struct sigaction copy = *action;
        sigdelset(&copy.sa_mask, SIGILL); // the handler may run emulated code
        return real_sigaction(signal, &copy, old);
    }
    const struct sigaction former = exchange_application_sigill(action);
    if (old)
        *old = former;
    return 0;
}

DR_EXPORT sighandler_t signal(int signal, sighandler_t handler) noexcept {
    struct sigaction action = {}, old;
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    return sigaction(signal, &action, &old) == 0 ? old.sa_handler : SIG_ERR;
}

DR_EXPORT int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    static const auto function = next_definition<decltype(pthread_sigmask)>("pthread_sigmask");
    sigset_t copy;
    return function(how, how == SIG_UNBLOCK ? set : without_sigill(set, copy), old);
}

DR_EXPORT int sigprocmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    static const auto function = next_definition<decltype(sigprocmask)>("sigprocmask");
    sigset_t copy;
    return function(how, how == SIG_UNBLOCK ? set : without_sigill(set, copy), old);
}
