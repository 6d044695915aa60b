// A replaced instruction's code hands the registers over to the client's memory, calls the client
// and takes them back. Who comes to a context in the middle of it finishes it, word by word, on the
// context's registers, but leaves the call out: what was handed over is then taken back as it was,
// and the instruction has not run. If the call was over already, it has.
//
// No table is needed that tells where which register is: the code itself does.
//
// The code may also begin with the application's instruction itself, which nobody but the processor
// runs: a context at it is put back to where the instruction stands in the program, and one behind
// it is finished like any other.
#include "platform/src/sequence.h"

#include "platform/src/a64.h"
#include "platform/src/context.h"
#include "platform/src/counters.h"
#include "platform/src/message.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <cstring>

// In call.S.
extern "C" {
extern const platform::a64::word_t sve_platform_call[], sve_platform_call_returned[],
    sve_platform_call_end[];
}

namespace platform {

namespace {

using a64::word_t;

uint64_t address_of(const word_t *code) {
    return reinterpret_cast<uint64_t>(code);
}
word_t word_at(uint64_t pc) {
    return *reinterpret_cast<const word_t *>(pc);
}

// Runs words of trampolines on a context.
class interpreter {
public:
    explicit interpreter(mcontext_t &machine)
        : machine_(machine), fp_(*floating_point_of(machine)) {}

    // Runs from the context's pc on, until the application is reached, and sets pc to the boundary.
    void finish();
    // Instead of that, where the application's own instruction is next: only sets pc.
    void step_back();
    bool is_at_application_instruction() const;

private:
    // X or SP; XZR can't come where these are used.
    unsigned long long &x_or_sp(unsigned n) { return n == 31 ? machine_.sp : machine_.regs[n]; }
    uint64_t x(unsigned n) { return n == 31 ? 0 : machine_.regs[n]; }
    void *memory(unsigned base, uint64_t offset) {
        return reinterpret_cast<void *>(x_or_sp(base) + offset);
    }
    template <class F>
    void walk(F &&visit);
    void run(word_t word);
    void run_push_or_pop(word_t word);
    void run_load_store(word_t word);
    void run_pair(word_t word);
    void run_system(word_t word);

    mcontext_t &machine_;
    fpsimd_context &fp_;
    bool instruction_has_run_ = true;
    // What has been pushed here and not on the stack, which may have no room.
    bool pushed_ = false;
    uint64_t pushed_value_ = 0;
};

void interpreter::finish() {
    unsigned long long &pc = machine_.pc;
    if (pc >= address_of(sve_platform_call) && pc < address_of(sve_platform_call_end)) {
        instruction_has_run_ = pc >= address_of(sve_platform_call_returned);
        pc = machine_.regs[instruction_has_run_ ? 20 : 30];
    }
    walk([this](word_t word) { run(word); });
    if (!instruction_has_run_)
        pc -= 4;
}

void interpreter::step_back() {
    walk([](word_t) {});
    machine_.pc -= 4;
}

bool interpreter::is_at_application_instruction() const {
    return in_trampolines(machine_.pc) && in_trampolines(machine_.pc - 4) &&
           word_at(machine_.pc - 4) == application_instruction_follows;
}

// Moves the context's pc to the end of the trampoline and into the application, by way of all words
// that stand for the instruction.
template <class F>
void interpreter::walk(F &&visit) {
    unsigned long long &pc = machine_.pc;
    while (in_trampolines(pc)) {
        const word_t word = word_at(pc);
        if (a64::is_b(word)) {
            pc += static_cast<uint64_t>(a64::b_distance(word));
        } else if (word == trap_to_application) {
            std::memcpy(&pc, reinterpret_cast<const void *>(pc + 4), sizeof pc);
        } else {
            visit(word);
            pc += 4;
        }
    }
}

void interpreter::run_push_or_pop(word_t word) {
    const unsigned t = word & 0x1f;
    if (word == a64::push(t)) {
        machine_.sp -= 16;
        pushed_value_ = x(t);
        pushed_ = true;
        return;
    }
    if (pushed_)
        machine_.regs[t] = pushed_value_;
    else
        std::memcpy(&machine_.regs[t], memory(31, 0), 8);
    pushed_ = false;
    machine_.sp += 16;
}

void interpreter::run_load_store(word_t word) {
    const bool load = word >> 22 & 1, vector = word >> 26 & 1, quad = vector && word >> 23 & 1;
    const unsigned bytes = quad ? 16 : 1u << (word >> 30);
    const unsigned t = word & 0x1f;
    void *where = memory(word >> 5 & 0x1f, (word >> 10 & 0xfff) * bytes);
    uint64_t low = vector ? 0 : x(t);
    void *reg = vector ? static_cast<void *>(&fp_.vregs[t]) : &low;
    if (!load) {
        std::memcpy(where, reg, bytes);
        return;
    }
    // The load of a part clears the rest.
    if (vector)
        fp_.vregs[t] = 0;
    else
        low = 0;
    std::memcpy(reg, where, bytes);
    if (!vector && t != 31)
        machine_.regs[t] = low;
}

void interpreter::run_pair(word_t word) {
    const bool load = word >> 22 & 1;
    const unsigned t[] = {word & 0x1f, word >> 10 & 0x1f};
    const int64_t offset = (static_cast<int64_t>(static_cast<int32_t>(word << 10)) >> 25) * 8;
    auto *where = static_cast<char *>(memory(word >> 5 & 0x1f, static_cast<uint64_t>(offset)));
    for (unsigned i = 0; i < 2; i++) {
        uint64_t value = x(t[i]);
        if (load && t[i] != 31)
            std::memcpy(&machine_.regs[t[i]], where + 8 * i, 8);
        else if (!load)
            std::memcpy(where + 8 * i, &value, 8);
    }
}

void interpreter::run_system(word_t word) {
    const bool read = word >> 21 & 1;
    const unsigned t = word & 0x1f;
    constexpr uint64_t flags = 0xf0000000;
    switch (word >> 5 & 0xffff) {
    case a64::tpidr_el0: // read only
        machine_.regs[t] = reinterpret_cast<uint64_t>(__builtin_thread_pointer());
        break;
    case a64::nzcv:
        if (read)
            machine_.regs[t] = machine_.pstate & flags;
        else
            machine_.pstate = (machine_.pstate & ~flags) | (x(t) & flags);
        break;
    case a64::fpcr:
        read ? void(machine_.regs[t] = fp_.fpcr) : void(fp_.fpcr = static_cast<uint32_t>(x(t)));
        break;
    case a64::fpsr:
        read ? void(machine_.regs[t] = fp_.fpsr) : void(fp_.fpsr = static_cast<uint32_t>(x(t)));
        break;
    default:
        refuse(125, "a signal met a system register that no sequence has");
    }
}

// The words that the platform and its clients can put into a trampoline (a64.h), and no others.
void interpreter::run(word_t word) {
    const unsigned d = word & 0x1f, n = word >> 5 & 0x1f;
    if (word == a64::push(d) || word == a64::pop(d)) {
        run_push_or_pop(word);
    } else if ((word & 0x3b000000) == 0x39000000) { // ldr, str with an unsigned offset
        run_load_store(word);
    } else if ((word & 0xffc00000) == 0xa9000000 || (word & 0xffc00000) == 0xa9400000) {
        run_pair(word);
    } else if ((word & 0xffd00000) == 0xd5100000) { // mrs, msr
        run_system(word);
    } else if ((word & 0xff800000) == 0x91000000) { // add xd, xn, #imm
        x_or_sp(d) = x_or_sp(n) + (uint64_t{word >> 10 & 0xfff} << (word >> 22 & 1) * 12);
    } else if ((word & 0x9f000000) == 0x10000000) { // adr xd, .+distance
        const int64_t words = static_cast<int64_t>(static_cast<int32_t>(word << 8)) >> 13;
        machine_.regs[d] = machine_.pc + static_cast<uint64_t>(words * 4) + (word >> 29 & 3);
    } else if ((word & 0xff000000) == 0x58000000) { // ldr xt, .+distance
        const auto distance = static_cast<uint64_t>(a64::literal_distance(word));
        std::memcpy(&machine_.regs[d], reinterpret_cast<const void *>(machine_.pc + distance), 8);
    } else if ((word & 0xffe0ffe0) == 0xaa0003e0) { // mov xd, xm
        machine_.regs[d] = x(word >> 16 & 0x1f);
    } else if ((word & 0xff000000) == 0xb5000000) { // cbnz xt, .+8
        if (x(d) != 0)
            machine_.pc += 4;
    } else if (is_trap_for_thread_state(word)) {
        need_thread_state();
        machine_.regs[trap_register(word)] =
            reinterpret_cast<uint64_t>(dr_thread_area.tls_field[trap_field(word)]);
    } else if ((word & 0xfffffc1f) == 0xd63f0000) { // blr: the client's call is left out
        instruction_has_run_ = false;
    } else {
        refuse(125, "a signal met the word 0x%08x, which no sequence has", word);
    }
}

} // namespace

bool is_within_instruction(const ucontext_t &context) {
    const uint64_t pc = context.uc_mcontext.pc;
    return in_trampolines(pc) ||
           (pc >= address_of(sve_platform_call) && pc < address_of(sve_platform_call_end));
}

void move_to_instruction_boundary(ucontext_t &context) {
    if (!is_within_instruction(context))
        return;
    count(counters.signals_moved);
    interpreter code(context.uc_mcontext);
    if (code.is_at_application_instruction())
        code.step_back();
    else
        code.finish();
}

} // namespace platform
