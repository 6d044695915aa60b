// Runs of instructions that have one trampoline, and signals that come in it. Run under sverun with the client whose
// instructions these are (run_client.cpp).
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

extern "C" [[gnu::visibility("hidden")]] const uint32_t run_start[], run_behind[];

// The run from its instruction `from` on, with 0 in X0 and a pointer in X2. X27 and X30 live across it.
extern "C" [[gnu::visibility("hidden")]] uint64_t execute_run(uint64_t from,
                                                              const uint32_t *memory);
asm(R"(
    .text
execute_run:
    stp x27, x30, [sp, #-16]!
    mov x2, x1
    adr x1, run_start
    add x1, x1, x0, lsl #2
    mov x0, #0
    mov x27, #27
    mov x30, #30
    br x1
    .global run_start, run_behind
run_start:
    .word 0x25ff0003, 0x25ff0105, 0x25ff0200, 0x25ff000b, 0x25ff010d, 0x25ff0011
run_behind:
    add x0, x0, x27
    add x0, x0, x30
    ldp x27, x30, [sp], #16
    ret
)");

static constexpr uint64_t added[] = {3, 5, 100, 11, 13, 17};
static const uint32_t hundred = 100;
static constexpr unsigned length = std::size(added), times_till_rewritten = 40;

// X0 before an instruction.
static uint64_t x0_at(unsigned instruction, unsigned from = 0, uint64_t loaded = 100) {
    uint64_t sum = 0;
    for (unsigned i = from; i < instruction; i++)
        sum += i == 2 ? loaded : added[i];
    return sum;
}
static uint64_t result(unsigned from = 0, uint64_t loaded = 100) {
    return x0_at(length, from, loaded) + 27 + 30;
}

static void rewrite() {
    for (unsigned i = 0; i < times_till_rewritten; i++)
        ASSERT_EQ(execute_run(0, &hundred), result());
    ASSERT_NE(run_start[0], 0x25ff0003u);
}

TEST(Runs, OnlyTheFirstInstructionIsReplaced) {
    rewrite();
    for (unsigned i = 1; i < length; i++)
        EXPECT_EQ(run_start[i] >> 16, 0x25ffu);
    for (unsigned time = 0; time < times_till_rewritten; time++)
        for (unsigned from = 1; from < length; from++)
            ASSERT_EQ(execute_run(from, &hundred), result(from)) << from;
    EXPECT_EQ(execute_run(0, &hundred), result());
}

TEST(Runs, FaultGoesOnWhereTheTableSays) {
    rewrite();
    for (unsigned i = 0; i < 3; i++) {
        EXPECT_EQ(execute_run(0, nullptr), result(0, 1000));
        EXPECT_EQ(execute_run(0, &hundred), result());
    }
}

TEST(Runs, NewCodeInThePlaceOfOld) {
    const size_t bytes = 64 << 10;
    auto *code = static_cast<uint32_t *>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE | PROT_EXEC,
                                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    for (const uint32_t numbers : {5, 6, 7}) {
        const uint32_t words[] = {0x25ff0001, 0x25ff0100 + numbers, 0x25ff0000 + numbers,
                                  0xd65f03c0};
        std::copy(std::begin(words), std::end(words), code);
        __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + 4));
        for (unsigned i = 0; i < times_till_rewritten; i++)
            ASSERT_EQ(reinterpret_cast<uint64_t (*)(uint64_t)>(code)(1000), 1001 + 2 * numbers);
        ASSERT_NE(code[0], words[0]);
    }
    munmap(code, bytes);
}

// The frame of a run is on the program's stack.
TEST(Runs, NoRoomOnTheStack) {
    rewrite();
    static uint64_t pc;
    static std::vector<char> stack(64 << 10);
    const stack_t alternate = {.ss_sp = stack.data(), .ss_flags = 0, .ss_size = stack.size()};
    sigaltstack(&alternate, nullptr);
    struct sigaction action = {};
    action.sa_sigaction = [](int, siginfo_t *, void *context) {
        auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
        pc = machine.pc;
        machine.sp = machine.regs[9];
        machine.pc = machine.regs[30];
    };
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigaction(SIGSEGV, &action, nullptr);
    asm volatile("mov x9, sp; mov sp, %0; adr x30, 1f; b run_start; 1:" ::"r"(4096ul & -16)
                 : "x9", "x0", "x1", "x2", "x27", "x30", "memory");
    signal(SIGSEGV, SIG_DFL);
    EXPECT_EQ(pc, reinterpret_cast<uint64_t>(run_start));
}

// ---- Signals ------------------------------------------------------------------------------------

static std::atomic<unsigned> ticks, in_run, wrong;

// A handler sees X0 at a boundary, and changes nothing although it executes the run itself.
static void on_tick(int, siginfo_t *, void *context) {
    const auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
    const uint64_t place = (machine.pc - reinterpret_cast<uint64_t>(run_start)) / 4;
    if (place <= length) {
        in_run++;
        const uint64_t loaded = machine.regs[2] ? 100 : 1000;
        wrong += machine.regs[0] != x0_at(static_cast<unsigned>(place), 0, loaded) ||
                 machine.regs[27] != 27;
    }
    wrong += execute_run(0, &hundred) != result();
    ticks++;
}

static void start_ticks(unsigned microseconds) {
    struct sigaction action = {};
    action.sa_sigaction = on_tick;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval interval = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
}

TEST(Runs, SignalsSeeBoundaries) {
    rewrite();
    start_ticks(500);
    while (ticks < 1000 && !wrong) {
        wrong += execute_run(0, &hundred) != result();
        wrong += execute_run(0, nullptr) != result(0, 1000);
    }
    start_ticks(0);
    EXPECT_EQ(wrong, 0u);
    EXPECT_GT(in_run, 0u);
}

TEST(Runs, SignalsInManyThreadsAndForks) {
    rewrite();
    start_ticks(1000);
    std::vector<std::thread> threads;
    for (unsigned round = 0; round < 20; round++) {
        for (unsigned i = 0; i < 4; i++)
            threads.emplace_back([] {
                for (unsigned time = 0; time < 500; time++)
                    wrong += execute_run(0, &hundred) != result();
            });
        if (round % 5 == 0) {
            const pid_t child = fork();
            if (child == 0) {
                start_ticks(1000);
                for (unsigned time = 0; time < 500; time++)
                    wrong += execute_run(0, &hundred) != result();
                _exit(wrong != 0);
            }
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        }
        for (std::thread &thread : threads)
            thread.join();
        threads.clear();
    }
    start_ticks(0);
    EXPECT_EQ(wrong, 0u);
}

// The others are in runs, and never come out of them again.
TEST(Runs, EndWhileOthersAreInThem) {
    rewrite();
    EXPECT_EXIT(
        {
            start_ticks(1000);
            for (unsigned i = 0; i < 4; i++)
                std::thread([] {
                    for (;;)
                        execute_run(0, &hundred);
                }).detach();
            usleep(50'000);
            exit(wrong ? 1 : 7);
        },
        testing::ExitedWithCode(7), "");
}
