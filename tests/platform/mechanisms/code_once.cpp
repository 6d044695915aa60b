// Code that runs once, twice, three times or ten times: results, registers, flags and totals are those of a
// processor each time, however a block's instructions are executed by then.
#include "generated_code.h"

#include <barrier>
#include <initializer_list>
#include <thread>

extern "C" [[gnu::visibility("hidden")]] const uint32_t emulated_code[], emulated_code_end[];

static std::atomic<uint64_t> executed; // SVE instructions

static constexpr unsigned times_of[] = {1, 2, 3, 10};

// ---- Functions ----------------------------------------------------------------------------------

static void work(const code_copies &copies, size_t i, uint64_t lanes) {
    const auto seed = static_cast<uint32_t>(i);
    EXPECT(copies.of(i, emulated_work)(seed, 1) == expected_work(seed, 1, lanes));
    executed += 10;
}

static uint64_t lanes_by(const code_copies &copies) {
    executed++;
    return copies.of(0, emulated_lanes)();
}

// Blocks of one page that have run differently often.
static void functions() {
    const code_copies copies(emulated_code, emulated_code_end, 100);
    const uint64_t lanes = lanes_by(copies);
    for (unsigned time = 0; time < 10; time++)
        for (size_t i = 0; i < copies.count(); i++)
            if (time < times_of[i % 4])
                work(copies, i, lanes);
}

// All of them at the same time, by threads that end; then by others.
static void threads() {
    constexpr unsigned thread_count = 8;
    const code_copies copies(emulated_code, emulated_code_end, 200);
    const uint64_t lanes = lanes_by(copies);
    for (unsigned round = 0; round < 3; round++) {
        std::barrier start(thread_count);
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < thread_count; t++)
            threads.emplace_back([&] {
                start.arrive_and_wait();
                for (size_t i = 0; i < copies.count(); i++)
                    work(copies, i, lanes);
            });
        for (std::thread &thread : threads)
            thread.join();
    }
}

// ---- Shapes of blocks ---------------------------------------------------------------------------

static code_words repeated(size_t count) {
    code_words words(count, emulated_add(1));
    words.push_back(ret);
    return words;
}

static const struct shape {
    code_words words;
    size_t entry;
    uint32_t factor, sum; // of a run
    unsigned emulated;
} shapes[] = {
    {{emulated_add(1), emulated_add(2), ret}, 0, 1, 3, 2},
    {{emulated_add(1), native_double, emulated_add(2), ret}, 0, 2, 4, 2},
    // a branch over an instruction, a system call (getppid), a loop of three rounds
    {{emulated_add(1), 0x14000002 /* b +8 */, emulated_add(2), emulated_add(4), ret}, 0, 1, 5, 2},
    {{emulated_add(1), 0xd28015a8, 0xd4000001, emulated_add(2), ret}, 0, 1, 3, 2},
    {{0x52800069, emulated_add(1), 0x71000529, 0x54ffffc1, emulated_add(2), ret}, 0, 1, 5, 4},
    // more than a block holds; the second half of a block
    {repeated(300), 0, 1, 300, 300},
    {{emulated_add(1), native_double, emulated_add(2), emulated_add(4), ret}, 2, 1, 6, 2},
};

// At the beginning of a page, and across the end of one.
static void blocks() {
    for (const shape &s : shapes)
        for (const unsigned times : times_of)
            for (const size_t at : {size_t{0}, 4096 / 4 - s.entry - 1}) {
                const new_code code(s.words, at);
                for (uint32_t time = 0; time < times; time++) {
                    EXPECT(run(code + s.entry, time) == time * s.factor + s.sum);
                    executed += s.emulated;
                }
            }
}

// A block that is entered in its middle later, and one that is entered there first.
static void entries() {
    const struct { size_t first, second; } orders[] = {{0, 2}, {1, 0}};
    for (const auto &order : orders)
        for (const unsigned times : times_of) {
            const new_code code({emulated_add(1), emulated_add(2), emulated_add(4), ret});
            for (const size_t entry : {order.first, order.second})
                for (uint32_t time = 0; time < times; time++) {
                    EXPECT(run(code + entry, time) == time + 8 - (1u << entry));
                    executed += 3 - entry;
                }
        }
}

// ---- Instructions that nobody has ----------------------------------------------------------------

static uint64_t illegal_pc;
static int illegal_count;
static void on_illegal(int, siginfo_t *info, void *context) {
    auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
    EXPECT(machine.pc == illegal_pc && info->si_code > 0);
    EXPECT(reinterpret_cast<uint64_t>(info->si_addr) == illegal_pc);
    illegal_count++;
    machine.pc += 4;
}

static void illegal_instructions() {
    struct sigaction action = {};
    action.sa_sigaction = on_illegal;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGILL, &action, nullptr);
    // udf #7, a word free among those of vectors, one free among those of SVE
    for (const uint32_t illegal : {7u, ~0u, 0x25ffffffu})
        for (const size_t at : {0, 1, 3}) {
            code_words words = {emulated_add(1), emulated_add(2), native_double, emulated_add(4),
                                ret};
            words.insert(words.begin() + static_cast<long>(at), illegal);
            const new_code code(words);
            illegal_pc = reinterpret_cast<uint64_t>(code + at);
            illegal_count = 0;
            for (uint32_t time = 1; time <= 4; time++) {
                EXPECT(run(code, time) == 2 * time + 10);
                EXPECT(illegal_count == static_cast<int>(time));
                executed += 3;
            }
        }
    signal(SIGILL, SIG_DFL);
}

// ---- Registers ----------------------------------------------------------------------------------

// What native code sees of emulated instructions, and they of it: control and status of floating point,
// flags, the stack pointer, and the registers that code around an instruction might use.
extern "C" [[gnu::visibility("hidden")]] uint64_t *see_registers(uint64_t *);
extern "C" [[gnu::visibility("hidden")]] const uint32_t see_registers_end[];
constexpr size_t seen_count = 23;
asm(R"(
    .arch_extension sve
    .text
    .macro see register
    str \register, [x0], #8
    .endm
    .balign 4
see_registers:
    stp x26, x27, [sp, #-48]!
    stp x28, x29, [sp, #16]
    str x30, [sp, #32]
    mrs x17, fpcr
    mov w9, #0xc00000 // towards zero
    msr fpcr, x9
    msr fpsr, xzr
    fmov s2, #1.0
    movi d3, #0
    fdiv s4, s2, s3 // divides by zero
    ptrue p0.s
    fmov z0.s, #1.0
    mov w9, #0x30800000 // 2^-30
    dup z1.s, w9
    fsub z0.s, p0/m, z0.s, z1.s // inexact
    mrs x10, fpsr
    mrs x11, fpcr
    see x10
    see x11
    fmov x9, d0
    see x9
    fsub s5, s2, s1
    fmov x9, d5
    see x9
    msr fpcr, x17

    cmp x0, x0
    add z0.s, z0.s, z1.s
    mrs x9, nzcv
    see x9
    mov x12, #3
    whilelt p1.s, xzr, x12
    mrs x9, nzcv
    see x9
    cmp xzr, x12
    ptest p0, p1.b
    mrs x9, nzcv
    b.ne 1f
    mov x12, #0
1:  see x12
    see x9

    mov x13, sp
    addvl sp, sp, #-2
    mov x9, sp
    str z0, [sp]
    str p1, [sp, #9, mul vl]
    ldr z2, [sp]
    ldr p2, [sp, #9, mul vl]
    ld1w {z3.s}, p2/z, [sp]
    dup z4.d, sp
    addvl sp, sp, #2
    sub x9, x13, x9
    see x9
    mov x9, sp
    sub x9, x13, x9
    see x9
    fmov x9, d4
    sub x9, x13, x9
    see x9
    fmov x9, d3
    see x9

    mov x18, #100
    mov x26, #26
    mov x27, #27
    mov x28, #28
    mov x30, #30
    addvl x18, x18, #1
    incb x26
    decw x27
    sqincd x28, all, mul #2
    rdvl x29, #-3
    incp x30, p1.s
    index z5.d, x18, x29
    whilelo p3.d, x27, x26
    lastb w12, p1, z3.s
    insr z5.d, x30
    .irp n, 12, 18, 26, 27, 28, 29, 30
    see x\n
    .endr
    mov x29, x0
    mov x30, #1
    ptrue p2.d, vl2
    st1d {z5.d}, p2, [x29, x30, lsl #3] // the last two are seen
    mov x26, #4
    ctermeq x26, x30
    ld1rqd {z6.d}, p2/z, [x29]
    mrs x9, nzcv
    see x9
    add x0, x0, #16
    fmov x9, d5
    see x9
    ldp x28, x29, [sp, #16]
    ldr x30, [sp, #32]
    ldp x26, x27, [sp], #48
    ret
see_registers_end:
)");

static void registers() {
    const code_copies copies(see_registers, see_registers_end, 10);
    std::vector<uint64_t> first;
    for (unsigned time = 0; time < 4; time++)
        for (size_t i = 0; i < copies.count(); i++) {
            std::vector<uint64_t> seen(seen_count);
            EXPECT(copies.of(i, see_registers)(seen.data()) == seen.data() + seen_count);
            if (first.empty())
                first = seen;
            EXPECT(seen == first);
            executed += 29;
        }
    for (const uint64_t value : first)
        printf("%016lx\n", value);
}

int main() {
    functions();
    threads();
    blocks();
    entries();
    illegal_instructions();
    registers();
    printf("%lu SVE instructions\n", executed.load());
    return verdict("code that runs once");
}
