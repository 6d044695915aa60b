#pragma once

// What the application, and the client, have set for each signal. The kernel has the platform's
// handler wherever the application has one, and always for the signals that emulation needs.

#include "platform/src/signal_set.h"

#include <csignal>
#include <cstdint>

namespace platform {

// An action in the kernel's form.
struct signal_action {
    uint64_t handler; // SIG_DFL, SIG_IGN or a function of either form
    uint64_t flags;   // SA_
    uint64_t restorer;
    signal_set mask;

    bool has_handler() const {
        return handler != reinterpret_cast<uint64_t>(SIG_DFL) &&
               handler != reinterpret_cast<uint64_t>(SIG_IGN);
    }
    bool is_ignored() const { return handler == reinterpret_cast<uint64_t>(SIG_IGN); }
    void call(int signal, siginfo_t *info, void *context) const {
        if (flags & SA_SIGINFO)
            reinterpret_cast<void (*)(int, siginfo_t *, void *)>(handler)(signal, info, context);
        else
            reinterpret_cast<void (*)(int)>(handler)(signal);
    }
};

// The system call. Returns 0, or -1 with errno.
int set_kernel_action(int signal, const signal_action *action, signal_action *old);

// The action that the application wants for a signal that has come: its last handler, or, for the
// signals that emulation needs, whatever it has set. Safe in a signal handler.
signal_action application_action(int signal);

// The same for SIGSEGV and SIGBUS of the client's.
signal_action client_action(int signal);

// Sets the default action for the application, as its flag SA_RESETHAND asks for.
void reset_application_action(int signal);

// Takes the signals that emulation needs from the kernel. Once, at the start; until then they are
// the application's as without us.
void take_own_signals(void (*handler)(int, siginfo_t *, void *));

// Gives one of them the default action. The next one ends the process.
void give_up_own_signal(int signal);

// Around a fork.
void lock_actions();
void unlock_actions();

// The kernel's handler for all signals (signals.cpp).
void on_signal(int signal, siginfo_t *info, void *context);

} // namespace platform
