#include "sve/core/short_mutex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sve {

// An emulated instruction must not change the application's errno.
static void futex(std::atomic<uint32_t> &word, int operation, uint32_t value) {
    const int errno_before = errno;
    syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
    errno = errno_before;
}

static void pause_processor() {
#if defined(__aarch64__)
    asm volatile("yield");
#elif defined(__x86_64__)
    asm volatile("pause");
#endif
}

void short_mutex::lock_when_free() {
    // The owner needs less time than a system call takes, unless it doesn't run.
    constexpr int tries = 100;
    for (int i = 0; i < tries; i++) {
        if (state_.load(std::memory_order_relaxed) == unlocked && try_lock())
            return;
        pause_processor();
    }
    while (state_.exchange(awaited, std::memory_order_acquire) != unlocked)
        futex(state_, FUTEX_WAIT_PRIVATE, awaited); // returns at once if it isn't awaited any more
}

void short_mutex::wake_one() {
    futex(state_, FUTEX_WAKE_PRIVATE, 1);
}

} // namespace sve
