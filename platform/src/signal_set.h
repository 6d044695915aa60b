#pragma once

// Sets of signals as the kernel has them, and the calling thread's mask.

#include <csignal>
#include <cstdint>
#include <cstring>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

// Bit number-1 stands for a signal.
using signal_set = uint64_t;

constexpr signal_set set_of(int signal) {
    return signal_set{1} << (signal - 1);
}

// The signals that emulation itself needs. The application can't block them.
inline constexpr signal_set own_signals = set_of(SIGILL) | set_of(SIGSEGV) | set_of(SIGBUS);
constexpr bool is_own_signal(int signal) {
    return (own_signals & set_of(signal)) != 0;
}

// The C library's sets are longer than the kernel's; the kernel's part comes first.
inline signal_set kernel_set(const sigset_t &set) {
    signal_set result;
    std::memcpy(&result, &set, sizeof result);
    return result;
}
inline void set_kernel_set(sigset_t &set, signal_set value) {
    std::memcpy(&set, &value, sizeof value);
}

// Changes the mask of the calling thread and returns the former one.
inline signal_set exchange_mask(signal_set mask) {
    signal_set former = 0;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, &mask, &former, sizeof mask);
    return former;
}

// Blocks signals of the calling thread for a scope.
template <signal_set which>
class signals_blocked_of {
public:
    signals_blocked_of() : former_(exchange_mask(which)) {}
    ~signals_blocked_of() { exchange_mask(former_); }
    signals_blocked_of(const signals_blocked_of &) = delete;
    signals_blocked_of &operator=(const signals_blocked_of &) = delete;

private:
    signal_set former_;
};
using signals_blocked = signals_blocked_of<~signal_set{0}>;
using signals_blocked_but_own = signals_blocked_of<~own_signals>;

} // namespace platform
