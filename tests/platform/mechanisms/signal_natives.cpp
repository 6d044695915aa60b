// Timer signals whose handlers emulate, in the middle of native instructions that are replaced because they
// clear the upper bytes of Z registers: a load that changes its base register, loads from a distance to
// themselves, and a load of four registers, the last of which is followed by the first.
#include "emulated_work.h"

#include "tests/platform/native_writes.h"

#include <asm/sigcontext.h>
#include <csetjmp>
#include <cstring>
#include <ucontext.h>

static constexpr uint64_t rounds = 60;

// Adds up in all lanes: Z20 what is loaded by the first, Z21 to Z23 what is loaded by the others, Z24 and
// Z25 of the four. Returns the sum of all lanes of all; without the upper bytes' being cleared they would
// have been filled with ones before each load.
extern "C" [[gnu::visibility("hidden")]] uint64_t sum_of_loads(const uint32_t (*from)[4],
                                                               uint64_t rounds);
extern "C" [[gnu::visibility("hidden")]] const uint32_t sum_loop[], sum_loop_end[], load_post[],
    load_s[], load_d[], load_q[], load_four[];
asm(R"(
    .arch_extension sve
    .text
    .balign 16
literal:
    .word 1, 2, 3, 4
    .type sum_of_loads, %function
sum_of_loads:
    stp x27, x28, [sp, #-16]!
    mov x27, x0
    mov x0, #0x5000
    mov x28, #0
    mov x3, #0x1003
    .irp n, 20, 21, 22, 23, 24, 25
    dup z\n\().s, #0
    .endr
sum_loop:
    .irp n, 0, 1, 16, 17, 18, 19, 30, 31
    dup z\n\().s, #-1
    .endr
load_post:
    ldr q16, [x27], #16
    add x28, x28, #1
load_s:
    ldr s17, literal
load_d:
    ldr d18, literal
load_q:
    ldr q19, literal
    add z20.s, z20.s, z16.s
    add z21.s, z21.s, z17.s
    add z22.s, z22.s, z18.s
    adr x2, literal
    add z23.s, z23.s, z19.s
load_four:
    ld4r {v30.4s, v31.4s, v0.4s, v1.4s}, [x2]
    add z24.s, z24.s, z31.s
    add z25.s, z25.s, z0.s
    sub x2, x28, x1
    cbnz x2, sum_loop
sum_loop_end:
    add z20.s, z20.s, z21.s
    add z20.s, z20.s, z22.s
    add z20.s, z20.s, z23.s
    add z20.s, z20.s, z24.s
    add z20.s, z20.s, z25.s
    ptrue p0.s
    uaddv d20, p0, z20.s
    sub x0, x0, #0x5000 // as it was set
    fmov x2, d20
    add x0, x0, x2
    ldp x27, x28, [sp], #16
    ret
)");

static uint32_t numbers[rounds][4];

static uint64_t expected_sum() {
    uint64_t sum = rounds * (1 + (1 + 2) + (1 + 2 + 3 + 4) + 4 * 2 + 4 * 3);
    for (const auto &row : numbers)
        for (const uint32_t number : row)
            sum += number;
    return sum;
}

static const fpsimd_context *vectors(const mcontext_t &machine) {
    auto *record = reinterpret_cast<const _aarch64_ctx *>(machine.__reserved);
    while (record->magic != FPSIMD_MAGIC)
        record = reinterpret_cast<const _aarch64_ctx *>(reinterpret_cast<const char *>(record) +
                                                        record->size);
    return reinterpret_cast<const fpsimd_context *>(record);
}

constexpr unsigned enough = 300;
static std::atomic<unsigned> seen_in_loop;

static void on_tick(int, siginfo_t *, void *context) {
    const auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
    const auto *pc = reinterpret_cast<const uint32_t *>(machine.pc);
    emulated_disturbance();
    EXPECT_WORK(7, 3);
    if (pc < sum_loop || pc >= sum_loop_end)
        return;
    if (++seen_in_loop >= enough)
        two_timers::stop();
    // The load has run if and only if the program is behind it.
    const uint64_t loaded = machine.regs[28] + (pc == load_post + 1);
    EXPECT(machine.regs[27] == reinterpret_cast<uint64_t>(numbers) + 16 * loaded);
    EXPECT(machine.regs[0] == 0x5000);
    EXPECT(machine.regs[3] == 0x1003);
    const auto shows = [&](unsigned v, const void *content, size_t size) {
        uint8_t expected[16] = {};
        memcpy(expected, content, size);
        return memcmp(&vectors(machine)->vregs[v], expected, sizeof expected) == 0;
    };
    constexpr uint32_t ones[] = {~0u, ~0u, ~0u, ~0u}, literal[] = {1, 2, 3, 4};
    if (pc == load_post || pc == load_s)
        EXPECT(shows(17, ones, 16));
    if (pc > load_post && pc < load_four)
        EXPECT(shows(16, numbers[loaded - 1], 16));
    if (pc > load_s && pc < load_four)
        EXPECT(shows(17, literal, 4));
    if (pc > load_d && pc < load_four)
        EXPECT(shows(18, literal, 8));
    if (pc > load_q && pc < load_four)
        EXPECT(shows(19, literal, 16));
    constexpr uint32_t twos[] = {2, 2, 2, 2};
    if (pc > load_four)
        EXPECT(shows(31, twos, 16));
}

// On a processor with SVE there is nobody to name them to: the instruction that does it is none.
static sigjmp_buf back;
static void name_loads() {
    static const native_write writes[] = {{load_post, 1u << 16},
                                          {load_s, 1u << 17},
                                          {load_d, 1u << 18},
                                          {load_q, 1u << 19},
                                          {load_four, 0xc0000003}};
    signal(SIGILL, [](int) { siglongjmp(back, 1); });
    if (sigsetjmp(back, 1) == 0)
        name_native_writes(writes, sizeof writes / sizeof *writes);
    signal(SIGILL, SIG_DFL);
}

int main() {
    for (uint32_t row = 0; row < rounds; row++)
        for (uint32_t i = 0; i < 4; i++)
            numbers[row][i] = 1000 * row + i;
    name_loads();
    const two_timers timers(on_tick);
    while (seen_in_loop < enough)
        EXPECT(sum_of_loads(numbers, rounds) == expected_sum());
    return verdict("natives");
}
