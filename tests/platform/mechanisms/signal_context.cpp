// What a handler sees and changes of the registers that it interrupts: those before or after an
// instruction of the program, and never anything of the emulation.
#include "generated_code.h"

#include <asm/sigcontext.h>
#include <thread>

// Until x0 isn't zero, which the signal handler sees to: emulated instructions with every other register at a
// known value. Returns the sum that they have counted.
extern "C" [[gnu::visibility("hidden")]] uint64_t known_registers(uint64_t x0);
extern "C" [[gnu::visibility("hidden")]] const uint32_t known_loop[], known_loop_end[],
    known_registers_end[];
asm(R"(
    .arch_extension sve
    .text
    .type known_registers, %function
known_registers:
    sub sp, sp, #176
    stp x19, x20, [sp]
    stp x21, x22, [sp, #16]
    stp x23, x24, [sp, #32]
    stp x25, x26, [sp, #48]
    stp x27, x28, [sp, #64]
    stp x29, x30, [sp, #80]
    stp d8, d9, [sp, #96]
    stp d10, d11, [sp, #112]
    stp d12, d13, [sp, #128]
    stp d14, d15, [sp, #144]
    .irp n, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30
    mov x\n, #0x1000 + \n
    .endr
    .irp n, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    movi v\n\().16b, #\n
    .endr
    dup z0.s, #0
    dup z1.s, #0
    cmp x0, x1 // less: N set, Z, C and V clear
known_loop:
    add z0.s, z0.s, #1
    add z1.s, z1.s, #2
    cbz x0, known_loop
known_loop_end:
    add z0.s, z0.s, z0.s
    sub z0.s, z0.s, z1.s // each lane is zero
    ptrue p0.s
    uaddv d0, p0, z0.s
    fmov x0, d0
    ldp x19, x20, [sp]
    ldp x21, x22, [sp, #16]
    ldp x23, x24, [sp, #32]
    ldp x25, x26, [sp, #48]
    ldp x27, x28, [sp, #64]
    ldp x29, x30, [sp, #80]
    ldp d8, d9, [sp, #96]
    ldp d10, d11, [sp, #112]
    ldp d12, d13, [sp, #128]
    ldp d14, d15, [sp, #144]
    add sp, sp, #176
    ret
known_registers_end:
)");

constexpr unsigned enough = 120; // a multiple of what ends the loop
static std::atomic<unsigned> seen_in_loop;
static thread_local uint64_t loop_sp;
static const code_copies *copies; // of known_registers

// Where code from files is: what a handler may find the program in. Emulation's own code is not there.
static struct { uint64_t start, end; } text[64];
static unsigned text_count;
static void find_text() {
    FILE *file = fopen("/proc/self/maps", "r");
    char line[4200], protection[5];
    while (file && text_count < 64 && fgets(line, sizeof line, file)) {
        auto &found = text[text_count];
        if (sscanf(line, "%lx-%lx %4s", &found.start, &found.end, protection) == 3 &&
            protection[2] == 'x' && strchr(line, '/'))
            text_count++;
    }
    if (file)
        fclose(file);
}
static bool is_in_text(uint64_t pc) {
    for (unsigned i = 0; i < text_count; i++)
        if (pc >= text[i].start && pc < text[i].end)
            return true;
    // The kernel's own two instructions: mov x8, #139; svc #0.
    const uint32_t word = *reinterpret_cast<const uint32_t *>(pc);
    return word == 0xd2801168 || word == 0xd4000001;
}

static const fpsimd_context *vectors(const mcontext_t &machine) {
    auto *record = reinterpret_cast<const _aarch64_ctx *>(machine.__reserved);
    while (record->magic != FPSIMD_MAGIC)
        record = reinterpret_cast<const _aarch64_ctx *>(reinterpret_cast<const char *>(record) +
                                                        record->size);
    return reinterpret_cast<const fpsimd_context *>(record);
}

static void on_tick(int, siginfo_t *, void *context) {
    auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
    const uint64_t pc = copies ? copies->original(machine.pc) : machine.pc;
    EXPECT(is_in_text(pc));
    if (pc < reinterpret_cast<uint64_t>(known_loop) ||
        pc >= reinterpret_cast<uint64_t>(known_loop_end))
        return;
    EXPECT(pc % 4 == 0);
    for (unsigned i = 1; i < 31; i++)
        EXPECT(machine.regs[i] == 0x1000 + i);
    EXPECT(machine.regs[0] == 0 || machine.regs[0] == 1);
    EXPECT((machine.pstate & 0xf0000000) == 0x80000000);
    EXPECT(loop_sp == 0 || machine.sp == loop_sp);
    loop_sp = machine.sp;
    for (unsigned i = 2; i < 32; i++) {
        uint8_t expected[16];
        memset(expected, static_cast<int>(i), sizeof expected);
        EXPECT(memcmp(&vectors(machine)->vregs[i], expected, sizeof expected) == 0);
    }
    emulated_disturbance();
    if (++seen_in_loop % 20 == 0)
        machine.regs[0] = 1; // what is written here reaches the program
    if (seen_in_loop >= enough)
        two_timers::stop();
}

static void run_copies() {
    loop_sp = 0;
    for (size_t i = 0; i < copies->count(); i++)
        EXPECT(copies->of(i, known_registers)(1) == 0);
}

// Code that runs once in each of two threads, before the original has run. A processor with SVE is seldom seen in it.
static void once() {
    for (int round = 0; round < 20 && seen_in_loop < enough; round++) {
        const code_copies fresh(known_registers, known_registers_end, 50);
        copies = &fresh;
        const two_timers timers(on_tick);
        std::thread other(run_copies);
        run_copies();
        other.join();
    }
    copies = nullptr;
}

static void in_loop() {
    loop_sp = 0;
    seen_in_loop = 0;
    const two_timers timers(on_tick);
    while (seen_in_loop < enough)
        EXPECT(known_registers(0) == 0);
}

int main() {
    find_text();
    once();
    in_loop();
    return verdict("context");
}
