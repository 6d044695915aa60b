#include "platform/src/signals.h"

#include "platform/src/counters.h"
#include "platform/src/detour.h"
#include "platform/src/later_instructions.h"
#include "platform/src/message.h"
#include "platform/src/modules.h"
#include "platform/src/signal_actions.h"
#include "platform/src/start.h"
#include "platform/src/text.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/trapped_code.h"
#include "platform/src/traps.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ucontext.h>

using namespace platform;

namespace {

// si_code tells a trap or fault of the processor from a signal that someone sent.
bool is_sent(const siginfo_t *info) {
    return info->si_code <= 0;
}

// ---- To the application -------------------------------------------------------------------------

// Says in one line which instruction ends the process, and what to do.
void say_fatal_instruction(uintptr_t pc) {
    char path[PATH_MAX] = "", place[PATH_MAX + 40];
    module_record module = {};
    const bool known = find_module(pc, module, path);
    if (known)
        snprintf(place, sizeof place, "0x%lx in %s", address_in_file(module, pc), module.path);
    else
        snprintf(place, sizeof place, "%p in generated code", reinterpret_cast<void *>(pc));
    a64::word_t word;
    std::memcpy(&word, reinterpret_cast<const void *>(pc), sizeof word);

    if (const later_instruction *later = find_later_instruction(word))
        say("%s instruction 0x%08x%s%s%s at %s is not emulated: build it for SVE alone "
            "(-march=armv8.2-a+sve)",
            later->extension, word, later->names ? " (" : "", later->names ? later->names : "",
            later->names ? ")" : "", place);
    else if (!a64::is_in_sve_space(word))
        say("illegal instruction 0x%08x at %s: this processor doesn't have it, and it is none of "
            "SVE",
            word, place);
    else if (is_emulated_code(pc))
        say("unknown SVE instruction 0x%08x at %s", word, place);
    else if (is_program_library(module))
        say("SVE instruction 0x%08x at %s: sverun --libraries emulates SVE in shared libraries",
            word, place);
    else
        say("SVE instruction 0x%08x at %s, where SVE is not emulated", word, place);
}

// Does what the kernel does where there is no handler: nothing, or the end of the process. Only for
// the signals that emulation needs; the kernel itself does it for the others.
[[gnu::noinline]] void take_default(int signal, const siginfo_t *info, const ucontext_t &context) {
    if (is_sent(info) && application_action(signal).is_ignored())
        return;
    if (signal == SIGILL && !is_sent(info) && !inside_client(context.uc_mcontext.sp))
        run_on_platform_stack([&] { say_fatal_instruction(context.uc_mcontext.pc); });
    give_up_own_signal(signal);
    if (is_sent(info)) // no instruction will raise it again
        syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), signal);
}

// The handler may be on the smallest alternate stack, of which the kernel's context leaves a few
// hundred bytes. So what is not on its way stays out of line here, and the work is done on the
// platform stack.

// Runs the application's handler. It sees the registers as they are between two instructions, and
// the client's memory is afterwards as before, like the registers in the context.
void run_handler(const signal_action &action, int signal, siginfo_t *info, ucontext_t &context) {
    const int interrupted_errno = errno;
    // What is interrupted may be the handler of another signal, which came in a trampoline.
    reg_t spill_slots[SPILL_SLOT_MAX + 1];
    std::memcpy(spill_slots, dr_thread_area.spill_slot, sizeof spill_slots);
    const reg_t returns_to = dr_thread_area.returns_to;
    memory_copy *copy = nullptr;
    if (has_platform_stack())
        run_on_platform_stack([&] { copy = copy_thread_memory(&context); });
    if (is_own_signal(signal)) {
        // The kernel blocks all for these.
        const bool blocks_itself = !(action.flags & SA_NODEFER);
        exchange_mask(
            (kernel_set(context.uc_sigmask) | action.mask | (blocks_itself ? set_of(signal) : 0)) &
            ~own_signals);
    }
    count(counters.signals_delivered);
    errno = interrupted_errno;
    action.call(signal, info, &context);
    const int handlers_errno = errno;
    if (copy)
        run_on_platform_stack([&] { restore_thread_memory(copy); });
    std::memcpy(dr_thread_area.spill_slot, spill_slots, sizeof spill_slots);
    dr_thread_area.returns_to = returns_to;
    set_kernel_set(context.uc_sigmask, kernel_set(context.uc_sigmask) & ~own_signals);
    errno = handlers_errno;
}

void deliver(int signal, siginfo_t *info, ucontext_t &context) {
    const signal_action action = application_action(signal);
    if (!action.has_handler()) {
        take_default(signal, info, context);
        return;
    }
    if (action.flags & SA_RESETHAND)
        reset_application_action(signal);
    run_handler(action, signal, info, context);
}

// ---- Traps --------------------------------------------------------------------------------------

// Goes on from a trap of the platform's own in a trampoline or a detour. False if it isn't one.
bool resume_trampoline(ucontext_t &context) {
    mcontext_t &machine = context.uc_mcontext;
    a64::word_t word;
    std::memcpy(&word, reinterpret_cast<const void *>(machine.pc), sizeof word);
    if (is_trap_for_thread_state(word)) {
        run_on_platform_stack([] { need_thread_state(); });
        machine.regs[trap_register(word)] =
            reinterpret_cast<uint64_t>(dr_thread_area.tls_field[trap_field(word)]);
        machine.pc += 4;
        return true;
    }
    if (word == trap_to_application) {
        const bool is_end = at_detour_end(machine.pc);
        std::memcpy(&machine.pc, reinterpret_cast<const void *>(machine.pc + 4), sizeof machine.pc);
        if (is_end)
            let_signals_in(context);
        return true;
    }
    return false;
}

bool resume(mcontext_t &machine) {
    need_thread_state();
    bool resumed = false;
    {
        // What is executed may fault, and the text may be gone.
        constexpr signal_set faults = set_of(SIGSEGV) | set_of(SIGBUS);
        const signals_blocked_of<~faults> scope;
        resumed = handle_trapped_instruction(machine);
    }
    if (dr_thread_area.pending)
        let_signals_come();
    return resumed;
}

// Runs on whatever stack the application has, which may be the smallest alternate one: all work is
// done on the platform's. False if the trap is the application's own.
[[gnu::noinline]] bool handle_trap(ucontext_t &context) {
    mcontext_t &machine = context.uc_mcontext;
    if (inside_client(machine.sp))
        return false;
    if (in_trampolines(machine.pc) || in_detour(machine.pc) || at_detour_end(machine.pc))
        return resume_trampoline(context);
    if (dr_thread_area.pending) {
        // Nothing of the application runs before the trap that this is.
        let_signals_in(context);
        machine.pc += 4;
        return true;
    }
    start_platform();
    count(counters.traps);
    bool resumed = false;
    run_on_platform_stack([&] { resumed = resume(machine); });
    return resumed;
}

// ---- Faults -------------------------------------------------------------------------------------

// A fault in the client is the client's, and one in the application too if the application has no
// handler of its own.
[[gnu::noinline]] void handle_fault(int signal, siginfo_t *info, ucontext_t &context) {
    if (resume_text_access(context.uc_mcontext))
        return;
    const uint64_t stack_pointer = context.uc_mcontext.sp;
    const bool in_client = inside_client(stack_pointer);
    if (!in_client && (resume_at_fault(context.uc_mcontext) || resume_at_push(context)))
        return;
    if (!in_client && step_back(context.uc_mcontext) && dr_thread_area.pending)
        let_signals_in(context);
    if (!in_client && application_action(signal).has_handler()) {
        deliver(signal, info, context);
        return;
    }
    const signal_action action = client_action(signal);
    if (!action.has_handler()) {
        take_default(signal, info, context);
        return;
    }
    // On the platform stack, which the handler may leave by a jump to its own code there: nothing
    // of the application's may come in between.
    auto call = [&] { action.call(signal, info, &context); };
    if (in_client)
        run_further_down(
            stack_pointer, [](void *f) { (*static_cast<decltype(call) *>(f))(); }, &call);
    else
        run_on_platform_stack(call);
}

// ---- Signals that can't come now ----------------------------------------------------------------

// Whether a signal has to wait until the thread is at a boundary again.
bool has_to_wait(mcontext_t &machine) {
    return inside_client(machine.sp) || dr_thread_area.pending || is_on_its_way(machine);
}

[[gnu::noinline]] void put_off(const siginfo_t &info, ucontext_t &context) {
    count(counters.signals_put_off);
    const signals_blocked blocked;
    need_platform_stack();
    put_off_signal(info, context);
    take_detour(context.uc_mcontext);
}

// ---- Messages between threads -------------------------------------------------------------------

[[gnu::noinline]] void handle_closing(ucontext_t &context) {
    if (!has_platform_stack()) // it may have ended its state meanwhile
        return;
    if (has_to_wait(context.uc_mcontext)) {
        close_this_thread_later(context);
        take_detour(context.uc_mcontext);
    } else {
        run_on_platform_stack([] { close_this_thread(); });
    }
}

} // namespace

void platform::on_signal(int signal, siginfo_t *info, void *argument) {
    const int interrupted_errno = errno;
    auto &context = *static_cast<ucontext_t *>(argument);
    const bool sent = is_sent(info) || !is_own_signal(signal);
    if (is_closing_signal(*info)) {
        handle_closing(context);
    } else if (sent && has_to_wait(context.uc_mcontext)) {
        put_off(*info, context);
    } else if (sent) {
        deliver(signal, info, context);
        return; // with the handler's errno
    } else if (signal != SIGILL) {
        handle_fault(signal, info, context);
    } else if (!handle_trap(context)) {
        deliver(signal, info, context);
        return;
    }
    errno = interrupted_errno;
}

void platform::start_signal_support() {
    take_own_signals();
    exchange_mask(exchange_mask(~signal_set{0}) & ~own_signals);
}
