#include "platform/src/detour.h"

#include "platform/src/counters.h"
#include "platform/src/signal_set.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <cstddef>
#include <cstring>

// In call.S.
extern "C" {
extern const platform::a64::word_t sve_platform_call[], sve_platform_call_saved[],
    sve_platform_call_loaded[], sve_platform_call_end[];
}

namespace platform {

namespace {

using a64::word_t;

uint64_t address_of(const void *place) {
    return reinterpret_cast<uint64_t>(place);
}

// Behind the trampoline's copy. It isn't aligned as its members want.
struct [[gnu::packed]] detour_end {
    word_t trap;
    uint64_t next;
    uint64_t pushed; // a register's value
};
static_assert(trampoline::longest + sizeof(detour_end) <= detour_bytes);

detour_end *end_of(trampoline &copy) {
    return reinterpret_cast<detour_end *>(reinterpret_cast<char *>(&copy) + copy.bytes());
}

trampoline *own_copy() {
    return static_cast<trampoline *>(own_detour());
}

// What holds an address, in the calling thread: a trampoline, shared code, or the detour.
trampoline *code_around(uint64_t address) {
    return in_detour(address) ? own_copy() : find_trampoline(address);
}

// An address in a trampoline or detour, and the place that it is kept in.
class way {
public:
    explicit way(mcontext_t &machine) {
        const uint64_t pc = machine.pc;
        const bool in_call =
            pc >= address_of(sve_platform_call) && pc < address_of(sve_platform_call_end);
        const bool is_kept =
            pc >= address_of(sve_platform_call_saved) && pc < address_of(sve_platform_call_loaded);
        if (inside_client(machine.sp) || (in_call && is_kept))
            place_ = &dr_thread_area.returns_to;
        else
            place_ = in_call ? &machine.regs[30] : &machine.pc;
        around_ = code_around(address());
        if (around_ && !around_->site)
            leave_shared_code(machine);
    }
    trampoline *around() const { return around_; } // null: there is none
    uint64_t address() const {
        uint64_t result;
        std::memcpy(&result, place_, sizeof result);
        return result;
    }
    void move_to(uint64_t address) { std::memcpy(place_, &address, sizeof address); }

private:
    void leave_shared_code(mcontext_t &machine) {
        const trampoline::return_place &keeps = around_->keeps_return();
        const uint64_t word = around_->word_at(address());
        if (word >= keeps.first && word < keeps.last)
            place_ = static_cast<char *>(dr_thread_area.tls_field[keeps.field]) + keeps.offset;
        else
            place_ = &machine.regs[30];
        around_ = code_around(address());
    }

    void *place_;
    trampoline *around_;
};

// Where the program goes on behind a trampoline.
uint64_t next_of(trampoline &around) {
    const word_t *exit = around.code() + around.exit;
    if (a64::is_b(*exit))
        return address_of(exit) + static_cast<uint64_t>(a64::b_distance(*exit));
    uint64_t next;
    std::memcpy(&next, exit + 1, sizeof next);
    return next;
}

void flush(trampoline &copy) {
    __builtin___clear_cache(reinterpret_cast<char *>(&copy),
                            reinterpret_cast<char *>(end_of(copy) + 1));
}

trampoline *make_copy(trampoline &original) {
    auto *copy = static_cast<trampoline *>(need_detour());
    std::memcpy(static_cast<void *>(copy), &original, original.bytes());
    *end_of(*copy) = {trap_to_application, next_of(original), 0};
    word_t *exit = copy->code() + copy->exit;
    *exit = a64::b(static_cast<int64_t>(address_of(end_of(*copy)) - address_of(exit)));
    flush(*copy);
    count(counters.detours);
    return copy;
}

} // namespace

bool is_on_its_way(mcontext_t &machine) {
    return way(machine).around();
}

void take_detour(mcontext_t &machine) {
    way to(machine);
    if (!to.around() || in_detour(to.address()))
        return;
    const uint64_t distance = to.address() - address_of(to.around());
    to.move_to(address_of(make_copy(*to.around())) + distance);
}

bool in_detour(uintptr_t address) {
    trampoline *copy = own_copy();
    return copy && copy->word_at(address) < copy->words;
}

bool at_detour_end(uintptr_t address) {
    trampoline *copy = own_copy();
    return copy && address == address_of(end_of(*copy));
}

bool resume_at_fault(mcontext_t &machine) {
    trampoline *around = code_around(machine.pc);
    if (!around)
        return false;
    const uint64_t word = around->word_at(machine.pc);
    for (const dr_fault_range_t *range = around->faults();
         range != around->faults() + around->fault_count; range++)
        if (word >= range->first && word < range->last) {
            machine.pc = address_of(around->code() + range->resume);
            return true;
        }
    return false;
}

bool step_back(mcontext_t &machine) {
    trampoline *around = code_around(machine.pc);
    const bool has_done_nothing =
        around && around->site && machine.pc == address_of(around->code());
    if (has_done_nothing)
        machine.pc = around->site;
    return has_done_nothing;
}

bool resume_at_push(ucontext_t &context) {
    mcontext_t &machine = context.uc_mcontext;
    trampoline *around = code_around(machine.pc);
    if (!around)
        return false;
    const uint64_t first = around->word_at(machine.pc);
    const word_t word = around->code()[first];
    const unsigned reg = word & 0x1f;
    uint64_t last = first;
    while (last < around->words && around->code()[last] != a64::pop(reg))
        last++;
    if (word != a64::push(reg) || last == around->words)
        return false;

    const signals_blocked blocked;
    need_platform_stack();
    put_off_signals(context);
    take_detour(machine);
    trampoline &copy = *own_copy();
    detour_end &end = *end_of(copy);
    end.pushed = machine.regs[reg];
    const uint64_t value_at = address_of(&end) + offsetof(detour_end, pushed);
    copy.code()[first] = a64::nop;
    copy.code()[last] =
        a64::ldr_literal(reg, static_cast<int>(value_at - address_of(copy.code() + last)));
    flush(copy);
    return true;
}

} // namespace platform
