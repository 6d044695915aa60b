// Native instructions that are replaced, to clear the upper bytes of Z registers. Run under sverun with the
// test client, which replaces those that the program names (native_writes.h).
#include "platform/src/a64.h"
#include "platform/src/mappings.h"
#include "platform/src/traps.h"
#include "sve/core/vector_length.h"
#include "tests/platform/machine_state.h"
#include "tests/platform/native_writes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

using namespace platform;
using a64::word_t;

static constexpr word_t emulated = 0x04603000; // mov z0.d, z0.d
static constexpr word_t ret = 0xd65f03c0;

// ---- Upper bytes --------------------------------------------------------------------------------

asm(".pushsection .text\n"
    ".arch_extension sve\n"
    "fill_rows:\n" // all bytes of Zn are n + 1
    ".irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23,"
    " 24, 25, 26, 27, 28, 29, 30, 31\n"
    "dup z\\n\\().b, #\\n + 1\n"
    ".endr\n"
    "ret\n"
    "disturb_rows:\n"
    "dup z0.b, #77\n"
    "dup z2.b, #78\n"
    "dup z31.b, #79\n"
    "ret\n"
    "store_rows:\n"
    ".irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23,"
    " 24, 25, 26, 27, 28, 29, 30, 31\n"
    "str z\\n, [x0, #\\n, mul vl]\n"
    ".endr\n"
    "ret\n"
    ".popsection");
using z_rows = uint8_t[32][sve_vector_bytes];
extern "C" [[gnu::visibility("hidden")]] void fill_rows(void);
extern "C" [[gnu::visibility("hidden")]] void disturb_rows(void);
extern "C" [[gnu::visibility("hidden")]] void store_rows(z_rows &);

// The rows whose bytes from 16 on are zero. They must be the same otherwise, as fill_rows made them,
// or all zero.
static uint32_t cleared_rows(const z_rows &rows) {
    uint32_t cleared = 0;
    for (unsigned n = 0; n < 32; n++) {
        const auto is = [&](unsigned value) {
            return std::all_of(rows[n] + 16, rows[n] + sve_vector_bytes,
                               [value](uint8_t byte) { return byte == value; });
        };
        EXPECT_TRUE(is(n + 1) || is(0)) << "z" << n;
        cleared |= uint32_t{is(0)} << n;
    }
    return cleared;
}

// Runs a function between fill_rows and store_rows. V registers that a call needn't keep are its own.
template <class F>
static uint32_t rows_cleared_by(F &&function) {
    static z_rows rows;
    fill_rows();
    function();
    store_rows(rows);
    return cleared_rows(rows);
}

// ---- Names --------------------------------------------------------------------------------------

// A page for code that is in no module, in the middle of so much reserved memory.
class code_page {
public:
    explicit code_page(size_t reserved = page) : bytes_(reserved) {
        base_ = static_cast<char *>(mmap(nullptr, reserved, PROT_NONE, flags, -1, 0));
        code = reinterpret_cast<word_t *>(base_ + reserved / 2 / page * page);
    }
    // The addresses stay taken: where everything traps each time, a block is handed over only once.
    ~code_page() { mprotect(base_, bytes_, PROT_NONE); }
    code_page(const code_page &) = delete;
    code_page &operator=(const code_page &) = delete;

    void write(const std::vector<word_t> &words) {
        mprotect(code, page, PROT_READ | PROT_WRITE);
        std::copy(words.begin(), words.end(), code);
        mprotect(code, page, PROT_READ | PROT_EXEC);
        __builtin___clear_cache(reinterpret_cast<char *>(code),
                                reinterpret_cast<char *>(code + words.size()));
    }
    void run(size_t from = 0) const { reinterpret_cast<void (*)()>(code + from)(); }

    static constexpr size_t page = 64 << 10;
    word_t *code;

private:
    static constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    size_t bytes_;
    char *base_;
};

// Names the writes, and runs a new block: then they are replaced, and the block has come back.
static void replace(std::vector<native_write> &writes) {
    std::sort(writes.begin(), writes.end(),
              [](const native_write &a, const native_write &b) { return a.pc < b.pc; });
    name_native_writes(writes.data(), writes.size());
    code_page page;
    page.write({emulated, ret});
    page.run();
}

class Natives : public testing::Test {
protected:
    void SetUp() override {
        if (sve_vector_bytes == 16)
            GTEST_SKIP() << "the vectors have no upper bytes";
    }
};

// ---- Each kind of instruction -------------------------------------------------------------------

struct routine {
    const char *name;
    state_routine *run;
    uint32_t *instruction;
};
static constexpr routine routines[] = {
#define ROUTINE(name) {#name, run_##name, run_##name##_instruction},
    NATIVE_ROUTINES(ROUTINE)
#undef ROUTINE
};
static constexpr uint32_t written_by[] = {
    1u << 3,  1u << 31, 1u << 4,
    1u << 5,  1u,       1u << 2,
    1u << 9,  1u << 8,  1u << 10 | 1u << 11,
    1u << 12, 3u << 13, 0xc0000003,
    1u << 16, 1u << 17, 1u << 18,
};
static_assert(std::size(written_by) == std::size(routines));

alignas(16) static uint8_t data[256];

// A state for all routines: with addresses in the registers that one loads from, and flags.
static machine_state native_state() {
    for (unsigned i = 0; i < sizeof data; i++)
        data[i] = static_cast<uint8_t>(i * 7 + 1);
    machine_state state = distinct_state();
    for (unsigned i = 0; i < 64; i++)
        test_stack.below[sizeof test_stack.below - 64 + i] = static_cast<uint8_t>(200 - i);
    for (const unsigned base : {0, 5, 27})
        state.x[base] = reinterpret_cast<uint64_t>(data) + 16;
    state.nzcv = 0xa0000000;
    state.fpcr = 0xc00000;
    state.fpsr = 0x8000000;
    return state;
}

TEST_F(Natives, ClearUpperBytesAndChangeNothingElse) {
    std::vector<machine_state> expected;
    std::vector<native_write> writes;
    for (size_t i = 0; i < std::size(routines); i++) {
        machine_state state = native_state();
        EXPECT_EQ(rows_cleared_by([&] { routines[i].run(&state); }), 0u) << routines[i].name;
        expected.push_back(state);
        writes.push_back({routines[i].instruction, written_by[i]});
    }
    replace(writes);
    for (int time = 0; time < 3; time++)
        for (size_t i = 0; i < std::size(routines); i++) {
            EXPECT_TRUE(a64::is_b(*routines[i].instruction)) << routines[i].name;
            machine_state state = native_state();
            const uint32_t cleared = rows_cleared_by([&] { routines[i].run(&state); });
            EXPECT_EQ(cleared, written_by[i]) << routines[i].name;
            EXPECT_EQ(differences(expected[i], state), "") << routines[i].name;
            // The routine itself pushes where SP is afterwards, up to 32 bytes above.
            EXPECT_TRUE(std::all_of(test_stack.above + 32, std::end(test_stack.above),
                                    [](uint8_t byte) { return byte == 0x5a; }))
                << "the stack above SP, " << routines[i].name;
        }
    // What is named again stays as it is.
    const word_t before = *run_post_instruction;
    replace(writes);
    EXPECT_EQ(*run_post_instruction, before);
}

TEST_F(Natives, InAThreadWithoutState) {
    std::vector<native_write> writes;
    for (size_t i = 0; i < std::size(routines); i++)
        writes.push_back({routines[i].instruction, written_by[i]});
    replace(writes);
    for (const routine &r : routines) {
        machine_state expected = native_state();
        r.run(&expected);
        machine_state actual = native_state();
        std::thread([&] {
            r.run(&actual);
            static z_rows rows;
            store_rows(rows);
            EXPECT_EQ(cleared_rows(rows), ~0u);
        }).join();
        EXPECT_EQ(differences(expected, actual), "") << r.name;
    }
}

// ---- Blocks -------------------------------------------------------------------------------------

static constexpr word_t movi_v2 = 0x4f0004e2; // movi v2.4s, #7
static constexpr word_t movi_v3 = 0x4f0004e3;

// A block goes on behind a native instruction that has been replaced already.
TEST_F(Natives, BlocksGoOnBehindThem) {
    code_page page;
    const word_t ldr_w0_literal = 0x18000040; // ldr w0, .+8: the second site, before it has run
    page.write({emulated, movi_v2, ldr_w0_literal, movi_v3, emulated, ret});
    std::vector<native_write> writes = {{page.code + 1, 1 << 2}};
    replace(writes);
    EXPECT_EQ(page.code[0], emulated);
    EXPECT_TRUE(a64::is_b(page.code[1]));
    const word_t seen = reinterpret_cast<word_t (*)()>(page.code)();
    const bool traps_every_time = page.code[0] == emulated;
    EXPECT_EQ(seen == emulated, traps_every_time);
    EXPECT_EQ(page.code[3], movi_v3);
    EXPECT_EQ(rows_cleared_by([&] { page.run(); }), 1u << 2);
}

// One that is named when the block that has it is handed over is replaced with the block.
TEST_F(Natives, WithTheBlockThatHasThem) {
    code_page page;
    page.write({emulated, movi_v2, ret});
    const native_write writes[] = {{page.code + 1, 1 << 2}};
    name_native_writes(writes, 1);
    EXPECT_EQ(rows_cleared_by([&] { page.run(); }), 1u << 2);
    EXPECT_TRUE(a64::is_b(page.code[1]));
}

TEST_F(Natives, NewCodeInThePlaceOfOld) {
    code_page page;
    for (int time = 0; time < 3; time++) {
        page.write({time == 1 ? movi_v3 : movi_v2, ret});
        EXPECT_EQ(rows_cleared_by([&] { page.run(); }), 0u);
        std::vector<native_write> writes = {{page.code, time == 1 ? 8u : 4u}};
        replace(writes);
        EXPECT_EQ(rows_cleared_by([&] { page.run(); }), writes[0].written);
    }
}

// In the middle of a reserved range that is wider than a branch reaches in both directions.
TEST_F(Natives, OutOfReachOfTrampolines) {
    code_page page(size_t{300} << 20);
    const word_t ldr_q2_literal = 0x9c000042; // ldr q2, .+8
    page.write({movi_v3, ldr_q2_literal, ret, 1, 2, 3, 4});
    std::vector<native_write> writes = {{page.code, 1 << 3}, {page.code + 1, 1 << 2}};
    replace(writes);
    EXPECT_EQ(page.code[0], trap_to_trampoline);
    EXPECT_EQ(page.code[1], trap_to_trampoline);
    for (int time = 0; time < 3; time++) {
        static z_rows rows;
        EXPECT_EQ(rows_cleared_by([&] {
                      page.run();
                      store_rows(rows);
                  }),
                  0xcu);
        const uint32_t loaded[] = {1, 2, 3, 4}, moved[] = {7, 7, 7, 7};
        EXPECT_EQ(memcmp(rows[2], loaded, sizeof loaded), 0);
        EXPECT_EQ(memcmp(rows[3], moved, sizeof moved), 0);
    }
    page.write({movi_v2, movi_v3, ret});
    EXPECT_EQ(rows_cleared_by([&] { page.run(); }), 0u);
}

// What replaces an instruction needs the stack where the instruction itself doesn't.
TEST_F(Natives, NoRoomOnTheStack) {
    const word_t ldr_q2_literal = 0x9c000042; // ldr q2, .+8
    const word_t leave_stack[] = {0x910003e9, 0xd282000a,
                                  0x9100015f}; // mov x9, sp; mov x10, #4096; mov sp, x10
    const word_t mov_sp_x9 = 0x9100013f;
    static char handlers_stack[64 << 10];
    const stack_t alternate = {
        .ss_sp = handlers_stack, .ss_flags = 0, .ss_size = sizeof handlers_stack};
    sigaltstack(&alternate, nullptr);
    for (const word_t write : {movi_v2, ldr_q2_literal}) {
        code_page page;
        page.write({leave_stack[0], leave_stack[1], leave_stack[2], write, mov_sp_x9, ret});
        std::vector<native_write> writes = {{page.code + 3, 1 << 2}};
        replace(writes);
        for (int time = 0; time < 3; time++)
            EXPECT_EQ(rows_cleared_by([&] { page.run(); }), 1u << 2);
    }
}

TEST_F(Natives, TextThatCannotBeWritten) {
    const word_t words[] = {movi_v2, movi_v3, ret};
    char path[] = "/tmp/sve-text-XXXXXX";
    const int writable = mkstemp(path), readable = open(path, O_RDONLY);
    unlink(path);
    ASSERT_EQ(write(writable, words, sizeof words), static_cast<ssize_t>(sizeof words));
    auto *code = static_cast<word_t *>(
        mmap(nullptr, sizeof words, PROT_READ | PROT_EXEC, MAP_SHARED, readable, 0));
    close(writable);
    close(readable);
    ASSERT_NE(code, MAP_FAILED);
    std::vector<native_write> writes = {{code, 1 << 2}, {code + 1, 1 << 3}};
    testing::internal::CaptureStderr();
    replace(writes);
    replace(writes);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("sverun: the text at 0x[0-9a-f]+ can't be written: .*\n"));
    EXPECT_THAT(std::vector<word_t>(code, code + 3), testing::ElementsAreArray(words));
    EXPECT_EQ(rows_cleared_by([&] { reinterpret_cast<void (*)()>(code)(); }), 0u);
}

static int protection_of(const void *address) {
    int result = -1;
    for_each_mapping([&](const mapping &m) {
        if (m.contains(reinterpret_cast<uintptr_t>(address)))
            result = m.protection;
        return true;
    });
    return result;
}

// Tens of thousands, in two mappings with memory that can't be read before, between and behind.
TEST_F(Natives, ManyInSeveralMappings) {
    constexpr size_t page = code_page::page, words = page / 4;
    auto *base = static_cast<word_t *>(
        mmap(nullptr, 5 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::vector<native_write> writes;
    for (size_t i = 0; i < 5 * words; i++) {
        base[i] = i % words == words - 1 ? ret : movi_v2;
        if (base[i] == movi_v2)
            writes.push_back({base + i, 1 << 2});
    }
    for (const size_t i : {0, 2, 4})
        mprotect(base + i * words, page, PROT_NONE);
    for (const size_t i : {1, 3})
        mprotect(base + i * words, page, PROT_READ | PROT_EXEC);
    replace(writes);
    for (const size_t i : {1, 3}) {
        for (size_t k = 0; k < words - 1; k++)
            ASSERT_TRUE(a64::is_b(base[i * words + k])) << i << " " << k;
        EXPECT_EQ(base[(i + 1) * words - 1], ret);
        EXPECT_EQ(rows_cleared_by([&] { reinterpret_cast<void (*)()>(base + i * words)(); }),
                  1u << 2);
    }
    for (size_t i = 0; i < 5; i++)
        EXPECT_EQ(protection_of(base + i * words), i % 2 ? PROT_READ | PROT_EXEC : PROT_NONE) << i;
    mprotect(base + 2 * words, page, PROT_READ);
    EXPECT_EQ(base[2 * words], movi_v2);
    munmap(base, 5 * page);
}

// ---- Faults -------------------------------------------------------------------------------------

class Faults : public Natives {
protected:
    void SetUp() override {
        Natives::SetUp();
        if (IsSkipped())
            return;
        std::vector<native_write> writes = {{run_post_instruction, 1 << 2},
                                            {run_pair_sp_instruction, 3 << 10}};
        replace(writes);
        unreadable = static_cast<uint8_t *>(
            mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        std::fill_n(unreadable, page, uint8_t{0x77});
        mprotect(unreadable, page, PROT_NONE);
        state = native_state();
        state.x[5] = reinterpret_cast<uint64_t>(unreadable);
        seen = {};
    }
    void TearDown() override {
        signal(SIGSEGV, SIG_DFL);
        if (!IsSkipped())
            munmap(unreadable, page);
    }
    static void handle(void (*handler)(int, siginfo_t *, void *)) {
        struct sigaction action = {};
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigaction(SIGSEGV, &action, nullptr);
    }
    static void remember(siginfo_t *info, void *context) {
        const auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
        seen.count++;
        seen.address = info->si_addr;
        seen.pc = machine.pc;
        std::copy(std::begin(machine.regs), std::end(machine.regs), seen.state.x);
        seen.state.sp = machine.sp;
        seen.state.nzcv = machine.pstate & 0xf0000000;
    }
    // The general registers before the instruction.
    void expect_seen_state() {
        EXPECT_EQ(seen.count, 1);
        EXPECT_EQ(seen.address, unreadable);
        EXPECT_EQ(seen.pc, reinterpret_cast<uint64_t>(run_post_instruction));
        EXPECT_TRUE(std::equal(std::begin(state.x), std::end(state.x), seen.state.x));
        EXPECT_EQ(seen.state.sp, state.sp);
        EXPECT_EQ(seen.state.nzcv, state.nzcv);
    }

    static constexpr size_t page = code_page::page;
    static inline uint8_t *unreadable;
    static inline sigjmp_buf jump;
    static inline struct {
        int count;
        void *address;
        uint64_t pc;
        machine_state state;
    } seen;
    machine_state state;
};

TEST_F(Faults, RepairedByTheProgramsHandler) {
    handle([](int, siginfo_t *info, void *context) {
        remember(info, context);
        disturb_rows(); // until it returns
        mprotect(unreadable, page, PROT_READ);
    });
    machine_state expected = state;
    mprotect(unreadable, page, PROT_READ);
    run_nop(&expected);
    expected.x[5] += 32;
    expected.v[2].fill(0x77);
    mprotect(unreadable, page, PROT_NONE);
    machine_state actual = state;
    EXPECT_EQ(rows_cleared_by([&] { run_post(&actual); }), 1u << 2);
    EXPECT_EQ(differences(expected, actual), "");
    expect_seen_state();
}

TEST_F(Faults, LeftByAJump) {
    handle([](int, siginfo_t *info, void *context) {
        remember(info, context);
        siglongjmp(jump, 1);
    });
    for (int time = 0; time < 3; time++) {
        seen = {};
        EXPECT_EQ(rows_cleared_by([&] {
                      machine_state actual = state;
                      if (sigsetjmp(jump, 1) == 0) {
                          run_post(&actual);
                          ADD_FAILURE() << "came back";
                      }
                  }),
                  0u);
        expect_seen_state();
    }
}

TEST_F(Faults, WithoutAHandler) {
    const rlimit no_core_files = {};
    setrlimit(RLIMIT_CORE, &no_core_files);
    EXPECT_EXIT(run_post(&state), testing::KilledBySignal(SIGSEGV), "");
}

// ---- Modules ------------------------------------------------------------------------------------

TEST(Modules, OfCode) {
    const bool with_libraries = getenv("WITH_LIBRARIES");
    const module_starts own = look_up(reinterpret_cast<void *>(run_nop));
    EXPECT_NE(own.of_code, 0u);
    EXPECT_EQ(own.of_code, own.of_module);
    code_page page;
    page.write({ret});
    const module_starts generated = look_up(page.code);
    EXPECT_EQ(generated.of_code, 0u);
    EXPECT_EQ(generated.of_module, 0u);
    const module_starts library = look_up(reinterpret_cast<void *>(&std::terminate));
    EXPECT_NE(library.of_code, 0u);
    EXPECT_NE(library.of_code, own.of_code);
    EXPECT_EQ(library.of_module, with_libraries ? 0 : library.of_code);
    const module_starts of_c_library = look_up(reinterpret_cast<void *>(&getenv));
    EXPECT_NE(of_c_library.of_code, 0u);
    EXPECT_EQ(of_c_library.of_code, of_c_library.of_module);
}
