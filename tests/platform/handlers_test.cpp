// What handlers leave in the machine state reaches the program, and what they don't touch stays. Run
// under sverun with the test client (test_handlers.cpp).
#include "sve/core/vector_length.h"
#include "tests/platform/machine_state.h"

#include <arm_neon.h>
#include <gmock/gmock.h>

#include <atomic>
#include <barrier>
#include <cstdio>
#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <thread>
#include <vector>

// Puts the platform's own thread-local storage farther from the thread pointer than the offset of a
// load or store reaches.
static thread_local volatile char large[1 << 20];

static uint64_t emulated_count() {
    void *client = dlopen("libsve_test_client.so", RTLD_NOLOAD | RTLD_LAZY);
    void *count = client ? dlsym(client, "sve_instr_count") : nullptr;
    EXPECT_NE(count, nullptr) << "run this under the test client";
    return count ? static_cast<std::atomic<uint64_t> *>(count)->load() : 0;
}

TEST(Handlers, WriteEachRegisterThatTheSequenceUses) {
    large[0] = 1;
    const struct {
        state_routine *run;
        unsigned destination;
    } cases[] = {{run_addvl_x26, 26},
                 {run_addvl_x27, 27},
                 {run_addvl_x28, 28},
                 {run_addvl_x29, 29},
                 {run_addvl_x30, 30}};
    for (const auto &c : cases)
        for (int time = 0; time < 4; time++) { // by the trap, by the branch
            machine_state expected = distinct_state(), actual = expected;
            run_nop(&expected);
            expected.x[c.destination] = expected.x[9] + sve_vector_bytes;
            const uint64_t count = emulated_count();
            c.run(&actual);
            EXPECT_EQ(differences(expected, actual), "") << c.destination;
            EXPECT_EQ(emulated_count(), count + 1);
        }
    machine_state expected = distinct_state(), actual = expected;
    run_nop(&expected);
    expected.sp += sve_vector_bytes;
    run_addvl_sp(&actual);
    EXPECT_EQ(differences(expected, actual), "");
}

TEST(Handlers, WriteEverything) {
    machine_state state = distinct_state();
    for (const uint64_t flags : {0x0u, 0x60000000u, 0xf0000000u}) {
        state.nzcv = flags;
        state.fpcr = flags ? 0x1000000 : 0;
        state.fpsr = flags ? 0x8000010 : 0;
        machine_state expected = state, actual = state;
        run_nop(&expected);
        for (uint64_t &x : expected.x)
            x = ~x;
        for (auto &v : expected.v)
            for (uint8_t &byte : v)
                byte = static_cast<uint8_t>(~byte);
        expected.sp += 32;
        expected.nzcv ^= 0xf0000000;
        expected.fpcr ^= 0x7c00000;
        expected.fpsr ^= 0x800009f;
        run_invert(&actual);
        EXPECT_EQ(differences(expected, actual), "");
    }
}

// The message comes at each execution, nothing is counted, and the program goes on. The word that it
// shows is the instruction's, not that of the branch which stands there by then.
TEST(Handlers, FailureIsToldAndChangesNothing) {
    machine_state expected = distinct_state();
    run_nop(&expected);
    const uint64_t count = emulated_count();
    testing::internal::CaptureStderr();
    std::string differing;
    for (int time = 0; time < 3; time++) {
        machine_state actual = distinct_state();
        run_fail(&actual);
        differing += differences(expected, actual);
    }
    char message[200];
    snprintf(message, sizeof message,
             "(Error: failed to emulate SVE instruction 0x25ffffff at PC %p\n){3}",
             static_cast<void *>(run_fail_instruction));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::MatchesRegex(message));
    EXPECT_EQ(differing, "");
    EXPECT_EQ(emulated_count(), count);
}

// ---- Upper bytes --------------------------------------------------------------------------------

// Adds 1 to each lane of Z1 `count` times, with a native write of V1 in between that only its low
// bytes follow. Stores the 128-bit chunks 0, 1 and 3 that it has then.
asm(".pushsection .text\n"
    ".arch_extension sve\n"
    "count_up:\n"
    "1: add z1.s, z1.s, #1\n"
    "movi v1.4s, #40\n"
    "subs w0, w0, #1\n"
    "b.ne 1b\n"
    "add z1.s, z1.s, #1\n"
    "dup z2.q, z1.q[1]\n"
    "dup z0.q, z1.q[3]\n"
    "st1 {v1.4s}, [x1], #16\n"
    "st1 {v2.4s}, [x1], #16\n"
    "st1 {v0.4s}, [x1]\n"
    "ret\n"
    ".popsection");
extern "C" void count_up(uint32_t count, uint32_t (*chunks)[4])
    __attribute__((visibility("hidden")));

// Each thread begins with zeros and has upper bytes of its own, also when all run the same sites.
TEST(Handlers, UpperBytesBelongToTheThread) {
    if (sve_vector_bytes < 64)
        GTEST_SKIP() << "the vectors have no fourth chunk";
    for (int round = 0; round < 3; round++) {
        constexpr uint32_t thread_count = 8;
        std::barrier start(thread_count);
        std::vector<std::thread> threads;
        for (uint32_t t = 0; t < thread_count; t++)
            threads.emplace_back([&start, t] {
                start.arrive_and_wait();
                uint32_t total = 0;
                for (uint32_t count = t + 1; count < 500; count *= 2) {
                    uint32_t chunks[3][4];
                    count_up(count, chunks);
                    total += count + 1;
                    for (int lane = 0; lane < 4; lane++) {
                        EXPECT_EQ(chunks[0][lane], 41u);
                        EXPECT_EQ(chunks[1][lane], total);
                        EXPECT_EQ(chunks[2][lane], total);
                    }
                }
            });
        for (std::thread &thread : threads)
            thread.join();
    }
}

// Destructors of thread-specific data may come in any order and several rounds. The thread's state ends
// with the round, and what emulates after that begins with zeros.
TEST(Handlers, DestructorsOfAThreadsDataBeginAnew) {
    if (sve_vector_bytes < 64)
        GTEST_SKIP() << "the vectors have no fourth chunk";
    static pthread_key_t key;
    static unsigned destructor_runs;
    static constexpr auto count_to = [](uint32_t total) {
        uint32_t chunks[3][4];
        count_up(9, chunks);
        EXPECT_EQ(chunks[2][3], total);
    };
    ASSERT_EQ(pthread_key_create(&key,
                                 [](void *value) {
                                     count_to(10);
                                     if (++destructor_runs < PTHREAD_DESTRUCTOR_ITERATIONS - 1)
                                         pthread_setspecific(key, value);
                                 }),
              0);
    std::thread([] {
        count_to(10);
        count_to(20);
        pthread_setspecific(key, &key);
    }).join();
    EXPECT_EQ(destructor_runs, PTHREAD_DESTRUCTOR_ITERATIONS - 1u);
}
