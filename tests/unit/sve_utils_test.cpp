#include "sve/core/sve_utils.h"

#include "machine_states.h"
#include "sve/core/host_fp.h"
#include "sve/core/stubs.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

using namespace sve;

// A word of the maps' free space with a handler of our own, for as long as the object lives.
class temporary_row {
public:
    temporary_row(unsigned word, aarch64_handler handler) : key_(static_cast<int>(word)) {
        EXPECT_EQ(is_sve(word), nullptr) << "the word is taken";
        decode_map__31_0.emplace(key_, handler);
    }
    ~temporary_row() { decode_map__31_0.erase(key_); }
    temporary_row(const temporary_row &) = delete;
    temporary_row &operator=(const temporary_row &) = delete;

private:
    int key_;
};

static constexpr unsigned free_word = 0x0000c0de;          // udf #49374
static constexpr unsigned free_negative_word = 0x8000c0de; // unallocated

static aarch64_decode_rc run(unsigned *pc) {
    cpu_state state = {};
    state.pc = pc;
    return execute_sve_instruction(&state);
}

// Only success counts and advances pc; nothing but the handler touches the rest of the state.
TEST(ExecuteSveInstruction, Results) {
    static cpu_state *handler_state;
    static unsigned handler_word;
    static aarch64_decode_rc handler_rc;
    const aarch64_handler handler = [](cpu_state *state, unsigned word) {
        handler_state = state;
        handler_word = word;
        return handler_rc;
    };
    const auto other_failure = static_cast<aarch64_decode_rc>(7);
    const struct {
        const char *name;
        unsigned word;
        std::optional<aarch64_decode_rc> handler; // what it returns, if the word has one
        aarch64_decode_rc expected;
    } cases[] = {
        {"success", free_word, AARCH64_DECODE_OK, AARCH64_DECODE_OK},
        {"success, bit 31 set", free_negative_word, AARCH64_DECODE_OK, AARCH64_DECODE_OK},
        {"emulates nothing", free_word, AARCH64_DECODE_UNIMPLEMENTED, AARCH64_DECODE_UNIMPLEMENTED},
        {"other failure", free_word, other_failure, other_failure},
        {"no row", free_word, {}, AARCH64_DECODE_UNIMPLEMENTED},
        {"no row, bit 31 set", free_negative_word, {}, AARCH64_DECODE_UNIMPLEMENTED},
    };
    auto random = random_numbers();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        std::optional<temporary_row> row;
        if (c.handler) {
            row.emplace(c.word, handler);
            handler_rc = *c.handler;
        }
        EXPECT_EQ(is_sve(c.word), c.handler ? handler : nullptr);

        const bool success = c.expected == AARCH64_DECODE_OK;
        unsigned code[2] = {c.word, 0};
        cpu_state state = random_state(random);
        state.pc = code;
        cpu_state expected = state;
        expected.pc = code + success;
        const uint64_t total = sve_instr_count;
        clear_sve_stats();
        handler_state = nullptr;
        handler_word = 0;
        EXPECT_EQ(execute_sve_instruction(&state), c.expected);
        EXPECT_EQ(state_difference(state, expected), "");
        EXPECT_EQ(handler_state, c.handler ? &state : nullptr);
        EXPECT_EQ(handler_word, c.handler ? c.word : 0);
        EXPECT_EQ(sve_instr_count - total, success ? 1u : 0u);
        EXPECT_EQ(icounts.count(code), success ? 1u : 0u);
    }
}

// Values that every AArch64 processor can hold.
static constexpr uint32_t toward_zero = 3u << 22;                 // FPCR.RMode
static constexpr uint32_t plus_infinity = 1u << 22;               // FPCR.RMode
static constexpr uint32_t inexact = 1u << 4, underflow = 1u << 3; // FPSR.IXC, FPSR.UFC
static constexpr uint32_t invalid = 1u << 0;                      // FPSR.IOC

// The handler runs under the state's words, whatever the caller's are; the caller's come back,
// whether the handler fails or not and whatever it raised.
TEST(ExecuteSveInstruction, FloatingPointWords) {
    static uint32_t fpcr_in_force, fpsr_in_force;
    static aarch64_decode_rc handler_rc;
    const temporary_row row(free_word, [](cpu_state *, unsigned) {
        fpcr_in_force = read_host_fpcr();
        fpsr_in_force = read_host_fpsr();
        write_host_fpsr(underflow | invalid);
        return handler_rc;
    });
    for (const auto rc : {AARCH64_DECODE_OK, AARCH64_DECODE_UNIMPLEMENTED}) {
        SCOPED_TRACE(rc);
        handler_rc = rc;
        const host_fp_scope surroundings(plus_infinity, underflow);
        unsigned word = free_word;
        cpu_state state = {};
        state.pc = &word;
        state.fpcr = toward_zero;
        state.fpsr = inexact;
        EXPECT_EQ(execute_sve_instruction(&state), rc);
        EXPECT_EQ(fpcr_in_force, toward_zero);
        EXPECT_EQ(fpsr_in_force, inexact);
        EXPECT_EQ(read_host_fpcr(), plus_infinity);
        EXPECT_EQ(read_host_fpsr(), underflow);
        EXPECT_EQ(state.fpcr, toward_zero);
        EXPECT_EQ(state.fpsr, inexact); // it's the stub that stores it
    }
}

// A routine with no operands that raises two exceptions and fails.
static aarch64_decode_rc raises_exceptions(cpu_state *) {
    write_host_fpsr(inexact | invalid);
    return AARCH64_DECODE_UNIMPLEMENTED;
}

// What each kind of stub does to the state beside its routine.
TEST(Stubs, EffectOnTheState) {
    const struct {
        const char *name;
        aarch64_handler stub;
        aarch64_decode_rc rc;
        bool stores_word, stores_fpsr;
    } cases[] = {
        {"direct", direct<raises_exceptions>, AARCH64_DECODE_UNIMPLEMENTED, true, false},
        {"direct_fp", direct_fp<raises_exceptions>, AARCH64_DECODE_UNIMPLEMENTED, true, true},
        {"no_op", no_op, AARCH64_DECODE_OK, false, false},
    };
    auto random = random_numbers();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const host_fp_scope surroundings(0, underflow);
        cpu_state state = random_state(random);
        cpu_state expected = state;
        if (c.stores_word)
            expected.insn = 0x8000c0de;
        if (c.stores_fpsr)
            expected.fpsr = inexact | invalid;
        EXPECT_EQ(c.stub(&state, 0x8000c0de), c.rc);
        EXPECT_EQ(state_difference(state, expected), "");
    }
}

class Statistics : public testing::Test {
protected:
    void SetUp() override { clear_sve_stats(); }
};

// The row of an address keeps the word of its first run, even if the code changes.
TEST_F(Statistics, CountAnAddress) {
    const aarch64_handler succeed = [](cpu_state *, unsigned) { return AARCH64_DECODE_OK; };
    const temporary_row first(free_word, succeed), second(free_negative_word, succeed);
    const uint64_t total = sve_instr_count;
    unsigned code[2] = {free_word, free_word};
    for (const unsigned word : {free_word, free_word, free_negative_word}) {
        code[0] = word;
        EXPECT_EQ(run(code), AARCH64_DECODE_OK);
    }
    EXPECT_EQ(sve_instr_count, total + 3);
    ASSERT_EQ(icounts.size(), 1u);
    EXPECT_EQ(icounts.at(code).first, free_word);
    EXPECT_EQ(icounts.at(code).second, 3u);
    EXPECT_EQ(run(code + 1), AARCH64_DECODE_OK);
    EXPECT_EQ(icounts.at(code).second, 3u);
    EXPECT_EQ(icounts.at(code + 1).second, 1u);
    EXPECT_EQ(sve_instr_count, total + 4);
}

TEST_F(Statistics, Dump) {
    testing::internal::CaptureStderr();
    dump_sve_stats();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    unsigned code[3];
    const struct {
        unsigned index, word;
    } runs[] = {{2, 0x00000abc}, {0, 0x85a041d5}, {1, 0}, {0, 0x85a041d5}, {1, 0}, {1, 0}};
    for (const auto &run : runs)
        update_sve_stats(code + run.index, run.word);
    std::ostringstream expected;
    expected << static_cast<void *>(code) << ": 0x85a041d5 2\n"
             << static_cast<void *>(code + 1) << ": 0x00000000 3\n"
             << static_cast<void *>(code + 2) << ": 0x00000abc 1\n";
    testing::internal::CaptureStderr();
    dump_sve_stats();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected.str());
}

// Two threads on the same addresses, more of them than one piece of the table's memory holds.
TEST_F(Statistics, CountOnTwoThreads) {
    constexpr unsigned addresses = 3000, rounds = 10;
    std::vector<unsigned> code(addresses);
    const uint64_t total = sve_instr_count;
    const auto work = [&code] {
        for (unsigned i = 0; i < rounds; i++)
            for (unsigned &word : code)
                update_sve_stats(&word, 0x04220020);
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(sve_instr_count, total + 2 * rounds * addresses);
    EXPECT_EQ(icounts.size(), addresses);
    for (const auto &[address, row] : icounts)
        EXPECT_EQ(row.second, 2 * rounds) << address - code.data();
}

// Everything that threads share, at once: the maps are read while rows of the statistics are added and
// the total is read. The thread sanitizer looks on in one of the builds.
TEST_F(Statistics, ManyThreadsDecodeAndCount) {
    constexpr unsigned thread_count = 8, addresses = 200, rounds = 20;
    constexpr unsigned add = 0x04220020; // add z0.b, z1.b, z2.b
    std::vector<unsigned> shared(addresses, add);
    const uint64_t total = sve_instr_count;
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < thread_count; t++)
        threads.emplace_back([&shared, add] {
            std::vector<unsigned> own(addresses, add);
            uint64_t seen = 0;
            for (unsigned i = 0; i < rounds; i++)
                for (unsigned a = 0; a < addresses; a++) {
                    EXPECT_NE(is_sve(add + (a & 31)), nullptr);
                    EXPECT_EQ(run(&shared[a]), AARCH64_DECODE_OK);
                    EXPECT_EQ(run(&own[a]), AARCH64_DECODE_OK);
                    const uint64_t now = sve_instr_count;
                    EXPECT_LT(seen, now);
                    seen = now;
                }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(sve_instr_count, total + 2 * thread_count * addresses * rounds);
    for (const unsigned &word : shared)
        EXPECT_EQ(icounts.find(const_cast<unsigned *>(&word))->second.second,
                  thread_count * rounds);
}
