// A program with SVE instructions that watches itself being emulated: run it under sverun.
#include "platform/src/a64.h"
#include "platform/src/mappings.h"
#include "tests/platform/machine_state.h"

#include <arm_neon.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cerrno>
#include <climits>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

using namespace platform;
using a64::word_t;
using testing::AnyOf;
using testing::ElementsAre;

// ---- Code with SVE instructions -----------------------------------------------------------------

// Assembly as an array of its words. Run from any of them on, it is a function of two vectors, V0
// and V1, to a vector, V0.
#define CODE(name, text)                                                                           \
    asm(".pushsection .text\n"                                                                     \
        ".arch_extension sve\n"                                                                    \
        ".balign 4\n" #name ":\n" text "\n" #name "_end:\n"                                        \
        ".popsection");                                                                            \
    extern "C" word_t name[] __attribute__((visibility("hidden")));                                \
    extern "C" word_t name##_end[] __attribute__((visibility("hidden")))

// Runs code on vectors of equal lanes. X0 is `memory`.
static uint32_t run(word_t *code, uint32_t a, uint32_t b, uint32_t *memory = nullptr) {
    using function = uint32x4_t(uint32x4_t, uint32x4_t, uint32_t *);
    const uint32x4_t result =
        reinterpret_cast<function *>(code)(vdupq_n_u32(a), vdupq_n_u32(b), memory);
    EXPECT_EQ(vminvq_u32(result), vmaxvq_u32(result)) << "lanes differ";
    return vgetq_lane_u32(result, 0);
}

static constexpr word_t add_z0_z0_z1 = 0x04a10000; // add z0.s, z0.s, z1.s
static constexpr word_t add_z0_z0_z0 = 0x04a00000; // add z0.s, z0.s, z0.s
static constexpr word_t ret = 0xd65f03c0;

// Pages for code that is in no module.
class code_pages {
public:
    explicit code_pages(size_t bytes = page, void *place = nullptr)
        : bytes_(bytes), base_(mmap(place, bytes, PROT_READ | PROT_WRITE,
                                    flags | (place ? MAP_FIXED : 0), -1, 0)) {}
    ~code_pages() { munmap(base_, bytes_); }
    code_pages(const code_pages &) = delete;
    code_pages &operator=(const code_pages &) = delete;

    char *at(size_t offset) const { return static_cast<char *>(base_) + offset; }
    // The page at `offset` becomes these words, and no longer writable.
    word_t *write(const std::vector<word_t> &words, size_t offset = 0) {
        auto *code = reinterpret_cast<word_t *>(at(offset));
        mprotect(code, page, PROT_READ | PROT_WRITE);
        std::copy(words.begin(), words.end(), code);
        mprotect(code, page, PROT_READ | PROT_EXEC);
        __builtin___clear_cache(at(offset), at(offset + 4 * words.size()));
        return code;
    }

    static constexpr size_t page = 64 << 10; // as large as any kernel's

private:
    static constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    size_t bytes_;
    void *base_;
};

static int protection_of(const void *address) {
    int result = 0;
    for_each_mapping([&](const mapping &m) {
        if (m.contains(reinterpret_cast<uintptr_t>(address)))
            result = m.protection;
        return true;
    });
    return result;
}

static size_t mapped_bytes() {
    size_t result = 0;
    for_each_mapping([&](const mapping &m) {
        result += m.end - m.start;
        return true;
    });
    return result;
}

// ---- Trap once, rewrite in place ----------------------------------------------------------------

// The places of words that have changed. All of them must be branches now.
static std::vector<size_t> rewritten(const std::vector<word_t> &before, const word_t *now) {
    std::vector<size_t> places;
    for (size_t i = 0; i < before.size(); i++)
        if (now[i] != before[i]) {
            places.push_back(i);
            EXPECT_TRUE(a64::is_b(now[i])) << i;
        }
    return places;
}

CODE(three_sites, "nop; add z0.s, z0.s, z1.s;"
                  "ldr w10, 1f; str w10, [x0];" // the next site's word before it has run
                  "1: add z0.s, z0.s, z1.s; add z0.s, z0.s, #3; cbnz x0, 2f;"
                  "add z0.s, z0.s, z1.s;" // of another block, which doesn't run
                  "2: ret; add z0.s, z0.s, z1.s");

TEST(Rewriting, WholeBlockAtTheFirstTrap) {
    const std::vector<word_t> before(three_sites, three_sites_end);
    uint32_t seen;
    EXPECT_EQ(run(three_sites, 100, 20, &seen), 143u);
    // Of adjacent ones only the first, if they are translated.
    EXPECT_THAT(rewritten(before, three_sites), AnyOf(ElementsAre(1, 4), ElementsAre(1, 4, 5)));
    EXPECT_EQ(seen, three_sites[4]);
    EXPECT_EQ(protection_of(three_sites), PROT_READ | PROT_EXEC);

    const std::vector<word_t> after(three_sites, three_sites_end);
    for (uint32_t i = 0; i < 100; i++)
        EXPECT_EQ(run(three_sites, i, i * i, &seen), i + 2 * i * i + 3);
    EXPECT_EQ(after, std::vector<word_t>(three_sites, three_sites_end));
}

CODE(two_entries, "add z0.s, z0.s, z1.s; nop; add z0.s, z0.s, #5; ret");

TEST(Rewriting, BlockThatEndsAtARewrittenSite) {
    const std::vector<word_t> before(two_entries, two_entries_end);
    EXPECT_EQ(run(two_entries + 2, 100, 20), 105u);
    EXPECT_THAT(rewritten(before, two_entries), ElementsAre(2));
    const word_t second = two_entries[2];
    EXPECT_EQ(run(two_entries, 100, 20), 125u);
    EXPECT_THAT(rewritten(before, two_entries), ElementsAre(0, 2));
    EXPECT_EQ(two_entries[2], second);
    EXPECT_EQ(run(two_entries, 7, 8), 20u);
}

CODE(loop, "mov w9, #50000; 1: add z0.s, z0.s, z1.s; subs w9, w9, #1; b.ne 1b; ret");

TEST(Emulation, LoopOfManyIterations) {
    EXPECT_EQ(run(loop, 11, 3), 150011u);
}

// A long run of straight code is more than one block, and needs more than one piece of memory.
TEST(Emulation, LongStraightCode) {
    std::vector<word_t> words(3000, add_z0_z0_z1);
    words.push_back(ret);
    code_pages pages;
    word_t *code = pages.write(words);
    EXPECT_EQ(run(code, 5, 2), 6005u);
    EXPECT_EQ(run(code + 1500, 5, 2), 3005u);
}

// ---- Code in no module --------------------------------------------------------------------------

TEST(GeneratedCode, NewCodeInThePlaceOfOld) {
    word_t *place;
    {
        code_pages pages;
        place = pages.write({add_z0_z0_z1, ret});
        EXPECT_EQ(run(place, 30, 4), 34u);
        EXPECT_EQ(run(place, 31, 4), 35u);
        EXPECT_EQ(protection_of(place), PROT_READ | PROT_EXEC);
        pages.write({add_z0_z0_z0, ret});
        EXPECT_EQ(run(place, 30, 4), 60u);
        pages.write({ret});
        EXPECT_EQ(run(place, 30, 4), 30u);
    }
    code_pages pages(code_pages::page, place);
    ASSERT_EQ(pages.write({add_z0_z0_z1, add_z0_z0_z0, ret}), place);
    EXPECT_EQ(run(place, 30, 4), 68u);
    EXPECT_EQ(run(place, 31, 4), 70u);
}

// In the middle of a reserved range that is wider than a branch reaches in both directions.
TEST(GeneratedCode, OutOfReachOfTrampolines) {
    code_pages pages(size_t{300} << 20);
    word_t *code = pages.write({add_z0_z0_z1, add_z0_z0_z0, ret}, size_t{150} << 20);
    for (uint32_t i = 0; i < 10; i++)
        EXPECT_EQ(run(code, i, 4), 2 * i + 8);
    pages.write({add_z0_z0_z0, add_z0_z0_z1, ret}, size_t{150} << 20);
    EXPECT_EQ(run(code, 1, 4), 6u);
}

// A processor emulator may show both as one mapping, with the protection of its first page.
TEST(GeneratedCode, BehindDataInItsMapping) {
    code_pages pages(2 * code_pages::page);
    word_t *code = pages.write({add_z0_z0_z1, add_z0_z0_z0, ret}, code_pages::page);
    mprotect(pages.at(0), code_pages::page, PROT_READ);
    for (uint32_t i = 0; i < 5; i++)
        EXPECT_EQ(run(code, i, 4), 2 * i + 8);
}

TEST(GeneratedCode, TextThatCannotBeWritten) {
    const word_t words[] = {add_z0_z0_z1, add_z0_z0_z0, ret};
    char path[] = "/tmp/sve-text-XXXXXX";
    const int writable = mkstemp(path), readable = open(path, O_RDONLY);
    unlink(path);
    ASSERT_EQ(write(writable, words, sizeof words), static_cast<ssize_t>(sizeof words));
    auto *code = static_cast<word_t *>(
        mmap(nullptr, sizeof words, PROT_READ | PROT_EXEC, MAP_SHARED, readable, 0));
    close(writable);
    close(readable);
    ASSERT_NE(code, MAP_FAILED);
    errno = EDOM; // the platform meets an error of its own here
    for (uint32_t i = 0; i < 10; i++)
        EXPECT_EQ(run(code, i, 4), 2 * i + 8);
    EXPECT_EQ(errno, EDOM);
    EXPECT_THAT(std::vector<word_t>(code, code + 3), testing::ElementsAreArray(words));
}

// ---- Registers ----------------------------------------------------------------------------------

struct add_case {
    state_routine *run;
    unsigned destination;
};
static constexpr add_case add_cases[] = {{run_add_z0, 0}, {run_add_z3, 3}, {run_add_z31, 31}};

// Runs an emulated ADD and a NOP on the state: all that may differ is the destination.
static void expect_only_the_sum(const add_case &add, const machine_state &state) {
    machine_state expected = state, actual = state;
    run_nop(&expected);
    for (uint8_t &byte : expected.v[add.destination])
        byte++;
    add.run(&actual);
    EXPECT_EQ(differences(expected, actual), "");
    for (const uint8_t byte : test_stack.above)
        ASSERT_EQ(byte, 0x5a) << "the stack above SP";
}

TEST(Registers, AllStay) {
    for (const add_case &add : add_cases)
        for (int time = 0; time < 4; time++) { // by the trap, by the branch
            expect_only_the_sum(add, distinct_state());
            machine_state inverse = distinct_state();
            for (uint64_t &x : inverse.x)
                x = ~x;
            expect_only_the_sum(add, inverse);
        }
}

TEST(Registers, FlagsAndFloatingPointControlStay) {
    machine_state state = distinct_state();
    for (uint64_t flags = 0; flags < 16; flags++) {
        state.nzcv = flags << 28;
        expect_only_the_sum(add_cases[1], state);
    }
    // Rounding mode, flush to zero (of halves too), default NaN, alternative half.
    for (const uint64_t fpcr :
         {0x0, 0x400000, 0x800000, 0xc00000, 0x1000000, 0x2000000, 0x80000, 0x4000000, 0x7c80000})
        for (const uint64_t fpsr : {0x0, 0x10, 0x8000000, 0x8000010, 0x800009f}) {
            state.fpcr = fpcr;
            state.fpsr = fpsr;
            expect_only_the_sum(add_cases[1], state);
        }
}

// A thread that has run nothing emulated, at a site that is a branch already.
TEST(Registers, StayInANewThreadAtARewrittenSite) {
    machine_state state = distinct_state();
    state.nzcv = 0xf0000000;
    expect_only_the_sum(add_cases[2], state);
    std::thread([&] { expect_only_the_sum(add_cases[2], state); }).join();
}

CODE(native_between, "add z0.s, z0.s, z1.s; add v0.4s, v0.4s, v1.4s; add z0.s, z0.s, z1.s;"
                     "movi v1.4s, #9; add z0.s, z0.s, z1.s; ret");

TEST(Registers, LowBytesFollowNativeWrites) {
    EXPECT_EQ(run(native_between, 1000, 10), 1039u);
    EXPECT_EQ(run(native_between, 2000, 20), 2069u);
}

// ---- Threads ------------------------------------------------------------------------------------

TEST(Threads, SameSitesAtOnce) {
    constexpr unsigned thread_count = 8, site_count = 48, rounds = 10;
    for (unsigned round = 0; round < rounds; round++) {
        code_pages pages;
        std::vector<word_t> words;
        for (unsigned site = 0; site < site_count; site++)
            words.insert(words.end(), {add_z0_z0_z1, ret});
        word_t *code = pages.write(words);
        std::barrier start(thread_count);
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < thread_count; t++)
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                for (unsigned i = 0; i < 4 * site_count; i++) {
                    const unsigned site = (i + t / 2 * 5) % site_count;
                    ASSERT_EQ(run(code + 2 * site, t << 20, i), (t << 20) + i);
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
}

TEST(Threads, ManyShortOnesLeaveNothing) {
    const auto run_threads = [](unsigned count) {
        for (unsigned i = 0; i < count; i++)
            std::thread([] { EXPECT_EQ(run(two_entries, 100, 20), 125u); }).join();
    };
    run_threads(2);
    const size_t before = mapped_bytes();
    run_threads(1000);
    EXPECT_LT(mapped_bytes() - before, size_t{1} << 20);
}

// ---- Signals ------------------------------------------------------------------------------------

class Signals : public testing::Test {
protected:
    void SetUp() override {
        received = {};
        site = pages.write({add_z0_z0_z1, ret, add_z0_z0_z1, ret, add_z0_z0_z1, ret});
    }
    void TearDown() override {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        for (const int number : {SIGILL, SIGSEGV, SIGUSR1, SIGALRM})
            signal(number, SIG_DFL);
    }
    using action_handler = void (*)(int, siginfo_t *, void *);
    static struct sigaction handle(int number, action_handler handler, int flags = 0,
                                   std::initializer_list<int> mask = {}) {
        struct sigaction action = {}, old;
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO | flags;
        for (const int masked : mask)
            sigaddset(&action.sa_mask, masked);
        EXPECT_EQ(sigaction(number, &action, &old), 0);
        return old;
    }
    // Steps over the instruction that trapped.
    static void on_sigill(int number, siginfo_t *info, void *context) {
        received.count++;
        received.number = number;
        received.info = *info;
        sigprocmask(SIG_BLOCK, nullptr, &received.mask);
        auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
        received.pc = machine.pc;
        if (info->si_code > 0)
            machine.pc += 4;
    }
    static void use_site(int, siginfo_t *, void *) { received.sum = run(site, 70, 7); }

    static inline struct {
        int count, number;
        siginfo_t info;
        sigset_t mask;
        uint64_t pc;
        uint32_t sum;
    } received;
    static inline word_t *site; // three functions that haven't run yet
    static inline volatile sig_atomic_t ticks;
    static inline sigjmp_buf jump;
    code_pages pages;
};

// Memory for signal handlers with none below it.
class alternate_stack {
public:
    explicit alternate_stack(size_t bytes) : pages_(2 * code_pages::page) {
        mprotect(pages_.at(0), code_pages::page, PROT_NONE);
        const stack_t stack = {
            .ss_sp = pages_.at(code_pages::page), .ss_flags = 0, .ss_size = bytes};
        EXPECT_EQ(sigaltstack(&stack, nullptr), 0);
    }
    ~alternate_stack() {
        const stack_t none = {.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
        sigaltstack(&none, nullptr);
    }

private:
    code_pages pages_;
};

TEST_F(Signals, FirstTrapInAHandler) {
    handle(SIGUSR1, use_site);
    raise(SIGUSR1);
    EXPECT_EQ(received.sum, 77u);
}

TEST_F(Signals, FirstTrapInAHandlerOnAnAlternateStack) {
    const alternate_stack stack(16384);
    handle(SIGUSR1, use_site, SA_ONSTACK);
    raise(SIGUSR1);
    EXPECT_EQ(received.sum, 77u);
}

// The thread's very first, with an alternate stack that the kernel's frame all but fills.
TEST_F(Signals, TrapOnTheSmallestAlternateStack) {
    std::thread([&] {
        const alternate_stack stack(std::max(5120l, sysconf(_SC_MINSIGSTKSZ)));
        EXPECT_EQ(run(site, 1, 2), 3u);
    }).join();
}

TEST_F(Signals, FirstTrapWithAllSignalsBlocked) {
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    ASSERT_EQ(sigprocmask(SIG_BLOCK, &all, nullptr), 0);
    EXPECT_EQ(run(site, 1, 2), 3u);
    ASSERT_EQ(sigprocmask(SIG_SETMASK, &none, nullptr), 0);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &all, nullptr), 0);
    EXPECT_EQ(run(site + 2, 1, 2), 3u);
    std::thread([] { EXPECT_EQ(run(site + 4, 1, 2), 3u); }).join();
}

TEST_F(Signals, FirstTrapInAHandlerThatBlocksAll) {
    struct sigaction action = {};
    action.sa_sigaction = use_site;
    action.sa_flags = SA_SIGINFO;
    sigfillset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    raise(SIGUSR1);
    EXPECT_EQ(received.sum, 77u);
}

TEST_F(Signals, TimerDuringEmulation) {
    ticks = 0;
    handle(SIGALRM, [](int, siginfo_t *, void *) { ticks = ticks + 1; });
    const itimerval every_millisecond = {{0, 1000}, {0, 1000}}, never = {};
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
    for (uint32_t i = 0; ticks < 100 && !HasFailure(); i++)
        EXPECT_EQ(run(site, i, 3), i + 3);
    setitimer(ITIMER_REAL, &never, nullptr);
}

CODE(undefined, "udf #7; add z0.s, z0.s, z1.s; ret");
CODE(unknown, ".inst 0x25ffffff; add z0.s, z0.s, z1.s; ret"); // free among the SVE instructions
CODE(later, ".inst 0x45420020; ret");                         // saddlb

TEST_F(Signals, OwnHandlerGetsWhatIsNotEmulated) {
    handle(SIGILL, on_sigill, 0, {SIGUSR2});
    EXPECT_EQ(run(site, 1, 2), 3u);
    EXPECT_EQ(received.count, 0);
    for (word_t *code : {undefined, unknown, unknown}) {
        received = {};
        EXPECT_EQ(run(code, 1, 2), 3u);
        EXPECT_EQ(received.count, 1);
        EXPECT_EQ(received.number, SIGILL);
        EXPECT_EQ(received.info.si_signo, SIGILL);
        EXPECT_GT(received.info.si_code, 0);
        EXPECT_EQ(received.info.si_addr, code);
        EXPECT_EQ(received.pc, reinterpret_cast<uint64_t>(code));
        EXPECT_TRUE(sigismember(&received.mask, SIGUSR2));
        EXPECT_FALSE(sigismember(&received.mask, SIGUSR1));
    }
    received = {};
    raise(SIGILL);
    EXPECT_EQ(received.count, 1);
    EXPECT_LE(received.info.si_code, 0);
    EXPECT_EQ(received.info.si_pid, getpid());
}

TEST_F(Signals, OwnHandlerMayJump) {
    EXPECT_EQ(signal(SIGILL, [](int) { siglongjmp(jump, 1); }), SIG_DFL);
    for (int i = 0; i < 3; i++) {
        if (sigsetjmp(jump, 1) == 0) {
            run(undefined, 1, 2);
            ADD_FAILURE() << "came back";
        }
        EXPECT_EQ(run(site + 2 * i, 1, 2), 3u);
    }
}

TEST_F(Signals, ActionIsReturnedAsSet) {
    EXPECT_EQ(handle(SIGILL, on_sigill, SA_RESTART | SA_NODEFER, {SIGUSR1}).sa_handler, SIG_DFL);
    const struct sigaction old = handle(SIGILL, use_site);
    EXPECT_EQ(old.sa_sigaction, action_handler{on_sigill});
    EXPECT_EQ(old.sa_flags & (SA_SIGINFO | SA_RESTART | SA_NODEFER | SA_ONSTACK | SA_RESETHAND),
              SA_SIGINFO | SA_RESTART | SA_NODEFER);
    EXPECT_TRUE(sigismember(&old.sa_mask, SIGUSR1));
    EXPECT_FALSE(sigismember(&old.sa_mask, SIGUSR2));
    struct sigaction now;
    ASSERT_EQ(sigaction(SIGILL, nullptr, &now), 0);
    EXPECT_EQ(now.sa_sigaction, action_handler{use_site});
    signal(SIGILL, SIG_IGN);
    EXPECT_EQ(signal(SIGILL, SIG_DFL), SIG_IGN);
}

TEST_F(Signals, DeathByWhatIsNotEmulated) {
    const rlimit no_core_files = {};
    setrlimit(RLIMIT_CORE, &no_core_files);
    const testing::KilledBySignal killed(SIGILL);
    EXPECT_EXIT(run(undefined, 1, 2), killed,
                "illegal instruction 0x00000007 at 0x[0-9a-f]+ in .*/emulation_test: ");
    EXPECT_EXIT(raise(SIGILL), killed, "");
    signal(SIGILL, SIG_IGN);
    raise(SIGILL);
    EXPECT_EXIT(run(unknown, 1, 2), killed, "unknown SVE instruction 0x25ffffff");
    EXPECT_EXIT(run(later, 1, 2), killed,
                "SVE2 instruction 0x45420020 \\(.*add.*\\) at .* is not emulated");
    code_pages pages;
    word_t *generated = pages.write({0x45626820, ret});
    EXPECT_EXIT(run(generated, 1, 2), killed,
                "SVE2 instruction 0x45626820 .* at 0x[0-9a-f]+ in generated code");
    handle(SIGILL, on_sigill, static_cast<int>(SA_RESETHAND));
    EXPECT_EQ(run(undefined, 1, 2), 3u);
    EXPECT_EXIT(run(undefined, 1, 2), killed, "illegal instruction 0x00000007");
}

CODE(load, "ptrue p0.s; ld1w {z0.s}, p0/z, [x0]; ret");

// It isn't the program's handler that is asked, neither at the first execution nor later.
TEST_F(Signals, DeathByAFaultInALoad) {
    const rlimit no_core_files = {};
    setrlimit(RLIMIT_CORE, &no_core_files);
    std::vector<uint32_t> memory(64, 9);
    handle(SIGSEGV, [](int, siginfo_t *, void *) { _exit(0); });
    for (int time = 0; time < 4; time++) {
        EXPECT_EXIT(run(load, 1, 2, nullptr), testing::KilledBySignal(SIGSEGV), "SIGSEGV");
        EXPECT_EQ(run(load, 1, 2, memory.data()), 9u);
    }
}
