#include "platform/src/process.h"

#include "platform/include/dr_api.h"
#include "platform/src/counters.h"
#include "platform/src/events.h"
#include "platform/src/message.h"
#include "platform/src/signal_actions.h"
#include "platform/src/signal_set.h"
#include "platform/src/thread.h"
#include "platform/src/trapped_code.h"

#include <atomic>
#include <cstdlib>
#include <pthread.h>
#include <time.h>

namespace platform {

namespace {

// This process. A child of vfork borrows the memory of its parent, but is another.
pid_t own_process;
bool report;

// ---- The end ------------------------------------------------------------------------------------

enum class end_state { running, ending, ended };
constinit std::atomic<end_state> state{end_state::running};
constinit std::atomic<pid_t> ending_thread{0};

void say_report() {
    say("traps %lu, instructions executed at traps %lu, blocks rewritten %lu, pages changed %lu, "
        "sites rewritten %lu, native instructions rewritten %lu",
        counters.traps.load(), counters.executed_at_traps.load(), counters.blocks_rewritten.load(),
        counters.pages_changed.load(), counters.sites_rewritten.load(),
        counters.natives_rewritten.load());
    say("signals delivered %lu, put off %lu, detours %lu", counters.signals_delivered.load(),
        counters.signals_put_off.load(), counters.detours.load());
}

// Blocks signals for a scope, and forgets a SIGPIPE of the scope's own: the totals may have no
// reader, and the process ends by its own status all the same.
class without_sigpipe {
public:
    without_sigpipe() { was_pending_ = is_pending(); }
    ~without_sigpipe() {
        if (was_pending_ || !is_pending())
            return;
        const signal_set pipe = set_of(SIGPIPE);
        const timespec now = {0, 0};
        syscall(SYS_rt_sigtimedwait, &pipe, nullptr, &now, sizeof pipe);
    }

private:
    static bool is_pending() {
        signal_set pending = 0;
        syscall(SYS_rt_sigpending, &pending, sizeof pending);
        return pending & set_of(SIGPIPE);
    }
    const signals_blocked_but_own blocked_;
    bool was_pending_;
};

// ---- Forks --------------------------------------------------------------------------------------

signal_set mask_before_fork;

// No thread holds a lock of the platform's in the moment of the fork, and no signal is handled
// while this thread holds them. The client takes its own locks after this and gives them up before.
void before_fork() {
    mask_before_fork = exchange_mask(~own_signals);
    lock_actions();
    lock_threads();
    lock_patching();
}
void after_fork(bool in_child) {
    if (in_child) {
        own_process = getpid();
        if (state != end_state::ended)
            state = end_state::running;
    }
    unlock_patching();
    unlock_threads(in_child);
    unlock_actions();
    exchange_mask(mask_before_fork);
}

} // namespace

void set_report() {
    report = true;
}

void end_emulation() {
    if (!own_process || getpid() != own_process)
        return;
    const auto self = static_cast<pid_t>(syscall(SYS_gettid));
    end_state expected = end_state::running;
    if (!state.compare_exchange_strong(expected, end_state::ending)) {
        // Another thread is at it; the process must not end before it has finished.
        while (state == end_state::ending && ending_thread != self) {
            const timespec pause = {0, 200'000};
            nanosleep(&pause, nullptr);
        }
        return;
    }
    ending_thread = self;
    {
        const without_sigpipe scope;
        close_other_threads();
        run_on_platform_stack([] {
            end_thread_state();
            raise_exit_events();
        });
        if (report)
            say_report();
    }
    state = end_state::ended;
}

void start_process_support() {
    own_process = getpid();
    if (pthread_atfork(
            before_fork, [] { after_fork(false); }, [] { after_fork(true); }) != 0 ||
        at_quick_exit(end_emulation) != 0)
        refuse(125, "no room for what follows the process's life");
}

} // namespace platform

// ---- What the application calls -----------------------------------------------------------------

DR_EXPORT void _exit(int status) {
    platform::end_emulation();
    platform::end_process(status);
}
DR_EXPORT void _Exit(int status) noexcept {
    _exit(status);
}
