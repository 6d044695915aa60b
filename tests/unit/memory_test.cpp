// Memory instructions at the edge of what can be read, which random comparison with a processor doesn't reach:
// faults in the middle, protected reads, probes, and both at once on many threads.

#include "machine_states.h"
#include "sve/core/decode_keys.h"
#include "sve/core/signals.h"
#include "sve/core/sve_utils.h"
#include "sve/memory/access.h"
#include "sve/memory/first_fault.h"

#include <atomic>
#include <chrono>
#include <csetjmp>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <thread>
#include <tuple>
#include <vector>

// Three pages, of which the middle one can't be accessed.
class guarded_page {
public:
    guarded_page() : bytes_(static_cast<size_t>(page_size)) {
        start_ = static_cast<uint8_t *>(
            mmap(nullptr, 3 * bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        for (size_t i = 0; i < bytes_; i++)
            start_[i] = value(i - bytes_);
        mprotect(start_ + bytes_, bytes_, PROT_NONE);
    }
    ~guarded_page() { munmap(start_, 3 * bytes_); }
    guarded_page(const guarded_page &) = delete;
    guarded_page &operator=(const guarded_page &) = delete;

    uint8_t *end() const { return start_ + bytes_; }
    uint64_t address(int from_end) const {
        return reinterpret_cast<uint64_t>(end()) + static_cast<uint64_t>(int64_t{from_end});
    }
    // What the byte at that distance from the end holds: never 0.
    static uint8_t value(size_t from_end) { return static_cast<uint8_t>(from_end % 255 + 1); }

private:
    size_t bytes_;
    uint8_t *start_;
};

// Runs f with the library's handlers, or with one that leaves f when it faults: then true.
static sigjmp_buf out_of_fault;
template <class F>
static bool faults(F &&f) {
    struct sigaction action = {}, former[2];
    action.sa_handler = [](int) { siglongjmp(out_of_fault, 1); };
    sigaction(SIGSEGV, &action, &former[0]);
    sigaction(SIGBUS, &action, &former[1]);
    const bool faulted = sigsetjmp(out_of_fault, 1);
    if (!faulted)
        f();
    sigaction(SIGSEGV, &former[0], nullptr);
    sigaction(SIGBUS, &former[1], nullptr);
    return faulted;
}

class library_handlers {
public:
    library_handlers() {
        struct sigaction action = {};
        action.sa_sigaction = SVESigHandler;
        action.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
        sigaction(SIGSEGV, &action, &former_[0]);
        sigaction(SIGBUS, &action, &former_[1]);
    }
    ~library_handlers() {
        sigaction(SIGSEGV, &former_[0], nullptr);
        sigaction(SIGBUS, &former_[1], nullptr);
    }

private:
    struct sigaction former_[2];
};

// The word of a handler's row, with Z1, P2, base register X3, and in the field of a second register 4.
static unsigned word_of(std::string_view handler) {
    for (const sve::handler_family &family : sve::handler_families())
        for (const sve::handler_row &row : family.rows)
            for (const sve::decode_map_info &info : sve::decode_map_infos)
                if (info.map == row.map && handler == row.name) {
                    const unsigned operands = 1 | 2 << 10 | 3 << 5 | 4 << 16;
                    return info.fields.spread(static_cast<int>(row.key)) |
                           (operands & ~info.fields.mask());
                }
    ADD_FAILURE() << "no handler " << handler;
    return 0;
}

// A state with the base in X3 and no index, all of P2 and FFR true, and every byte of Z at 0xee.
static cpu_state state_at(uint64_t base) {
    cpu_state state = {};
    std::memset(state.z, 0xee, sizeof state.z);
    std::memset(state.p[2], 1, sizeof state.p[2]);
    std::memset(state.ffr, 1, sizeof state.ffr);
    state.x[3] = base;
    return state;
}

// Allocates nothing, since a fault leaves it by a jump.
static void run(std::string_view handler, cpu_state &state) {
    unsigned word = word_of(handler);
    if (handler.ends_with("SIZ"))
        word &= ~(15u << 16); // an immediate of 0
    state.pc = &word;
    EXPECT_EQ(execute_sve_instruction(&state), AARCH64_DECODE_OK) << handler;
}

// ---- Protected reads and probes -------------------------------------------------------------------

TEST(ProtectedRead, ReportsAnElementThatReachesIntoAnUnreadablePage) {
    const library_handlers handlers;
    const guarded_page page;
    sigset_t before = {}, after = {};
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    const auto check = [&]<class T>(auto read) {
        for (int from_end = -9; from_end <= 1; from_end++) {
            const bool fits = from_end + static_cast<int>(sizeof(T)) <= 0;
            bool fault = false;
            const T value = read(page.address(from_end), 1, &fault, nullptr);
            EXPECT_EQ(fault, !fits) << from_end;
            T expected = 0;
            if (fits)
                std::memcpy(&expected, page.end() + from_end, sizeof expected);
            EXPECT_EQ(value, expected) << from_end;
            EXPECT_EQ(SVEFaultRegion, 0);
            // The flag is written by a fault only.
            fault = true;
            if (fits) {
                read(page.address(from_end), 1, &fault, nullptr);
                EXPECT_TRUE(fault);
            }
        }
    };
    check.operator()<uint8_t>(ReadMemLib1);
    check.operator()<uint16_t>(ReadMemLib2);
    check.operator()<uint32_t>(ReadMemLib4);
    check.operator()<uint64_t>(ReadMemLib8);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST(ProtectedRead, IsPlainUnlessAskedAndAllowed) {
    const guarded_page page;
    bool fault = false;
    EXPECT_TRUE(faults([&] { ReadMemLib4(page.address(-2), 0, &fault, nullptr); }));
    EXPECT_TRUE(faults([&] { ReadMemLib4(page.address(-2), 1, nullptr, nullptr); }));
    EXPECT_FALSE(fault);
    EXPECT_EQ(ReadMemLib1(page.address(-1), 1, nullptr, nullptr), guarded_page::value(size_t(-1)));
}

TEST(Probe, TellsAndLeavesTheHandlerAsItWas) {
    const guarded_page page;
    for (const auto handler : {SIG_DFL, SIG_IGN}) {
        struct sigaction action = {}, former, after;
        action.sa_handler = handler;
        sigaction(SIGSEGV, &action, &former);
        EXPECT_TRUE(addr_is_readable(reinterpret_cast<char *>(page.end()) - 1));
        EXPECT_FALSE(addr_is_readable(reinterpret_cast<char *>(page.end())));
        sigaction(SIGSEGV, &former, &after);
        EXPECT_EQ(after.sa_handler, handler);
    }
}

// Half of the threads probe, half read; each has pages of its own.
TEST(Probe, DisturbsNoOtherThread) {
    const library_handlers handlers;
    std::atomic<bool> stop = false;
    std::atomic<unsigned> wrong = 0, rounds = 0;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 8; i++)
        threads.emplace_back([&, i] {
            const guarded_page page;
            while (!stop) {
                bool fault = false;
                if (i % 2) {
                    wrong += !addr_is_readable(reinterpret_cast<char *>(page.end()) - 1);
                    wrong += addr_is_readable(reinterpret_cast<char *>(page.end()));
                } else {
                    ReadMemLib2(page.address(-2), 1, &fault, nullptr);
                    wrong += fault;
                    ReadMemLib2(page.address(-1), 1, &fault, nullptr);
                    wrong += !fault;
                }
                rounds++;
            }
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_GT(rounds, 100u);
    struct sigaction after;
    sigaction(SIGSEGV, nullptr, &after);
    EXPECT_EQ(after.sa_sigaction, SVESigHandler);
}

// ---- A fault in the middle ------------------------------------------------------------------------

// An access of which the elements before `done` fit into the page: they are done when the fault comes.
struct interrupted {
    const char *handler;
    unsigned element, memory, members, done;
};

TEST(FaultInTheMiddle, LeavesTheLowerElementsLoaded) {
    const guarded_page page;
    for (const interrupted &load : std::initializer_list<interrupted>{
             {"VecU8CLoad1LSSZ", 1, 1, 1, 5},
             {"VecU32CLoad4SIZ", 4, 4, 1, 2},
             {"VecU64CLoad1SIZ", 8, 1, 1, 1},
             {"VecU8E2Load1SIZ", 1, 1, 2, 3}, // whose second register misses the last
             {"VecU32E3Load4LSSZ", 4, 4, 3, 2},
         }) {
        SCOPED_TRACE(load.handler);
        const unsigned whole = load.done * load.members * load.memory;
        // The last element's first byte, or first member, fits.
        cpu_state state = state_at(page.address(-static_cast<int>(whole + 1)));
        const cpu_state before = state;
        EXPECT_TRUE(faults([&] { run(load.handler, state); }));
        for (unsigned r = 0; r < load.members; r++) {
            const bool last_member_fits = load.memory == 1 && r == 0;
            const unsigned loaded = (load.done + last_member_fits) * load.element;
            for (unsigned i = 0; i < loaded; i++) {
                const unsigned e = i / load.element, byte = i % load.element;
                const int from_end = static_cast<int>((e * load.members + r) * load.memory + byte) -
                                     static_cast<int>(whole + 1);
                EXPECT_EQ(state.z[1 + r][i],
                          byte < load.memory ? guarded_page::value(static_cast<size_t>(from_end))
                                             : 0)
                    << "z" << 1 + r << " byte " << i;
            }
            EXPECT_EQ(std::memcmp(state.z[1 + r] + loaded, before.z[1 + r] + loaded,
                                  sve_vector_bytes - loaded),
                      0);
        }
    }
}

TEST(FaultInTheMiddle, LeavesTheLowerElementsStored) {
    for (const interrupted &store : std::initializer_list<interrupted>{
             {"VecU8CStore1SIZ", 1, 1, 1, 7},
             {"VecU64CStore2LSSZ", 8, 2, 1, 1},
             {"VecU16E4Store2SIZ", 2, 2, 4, 1},
         }) {
        SCOPED_TRACE(store.handler);
        const guarded_page page;
        const unsigned whole = store.done * store.members * store.memory;
        cpu_state state = state_at(page.address(-static_cast<int>(whole)));
        EXPECT_TRUE(faults([&] { run(store.handler, state); }));
        for (unsigned i = 0; i < whole; i++)
            EXPECT_EQ(page.end()[-1 - static_cast<int>(i)], 0xee) << i;
        EXPECT_EQ(page.end()[-1 - static_cast<int>(whole)],
                  guarded_page::value(-1 - static_cast<size_t>(whole)));
    }
}

TEST(FaultInTheMiddle, EndsAGatherAtItsElement) {
    const guarded_page page;
    cpu_state state = state_at(0);
    // The offsets are in Z4, and X3 is 0: element 1 can't be read.
    const uint64_t addresses[2] = {page.address(-8), page.address(-7)};
    std::memcpy(state.z[4], addresses, sizeof addresses);
    EXPECT_TRUE(faults([&] { run("VecU64Load8VSZ", state); }));
    EXPECT_EQ(std::memcmp(state.z[1], page.end() - 8, 8), 0);
    EXPECT_EQ(state.z[1][8], 0xee);
    // Unless it is inactive.
    state.p[2][8] = 0;
    for (unsigned i = 16; i < sve_vector_bytes; i += 8)
        state.p[2][i] = 0;
    EXPECT_FALSE(faults([&] { run("VecU64Load8VSZ", state); }));
    EXPECT_EQ(state.z[1][8], 0);
}

// ---- First-fault and non-fault loads --------------------------------------------------------------

// How many elements are left in FFR, and that they are a prefix.
static unsigned loaded_elements(const cpu_state &state, unsigned element) {
    unsigned count = 0;
    while (count < sve_vector_bytes && state.ffr[count])
        count++;
    for (unsigned i = count; i < sve_vector_bytes; i++)
        EXPECT_EQ(state.ffr[i], 0) << i;
    EXPECT_EQ(count % element, 0u);
    return count / element;
}

// Whatever is left of the page, the first active element is loaded, or faults if it can't be.
TEST(FirstFault, MakesProgress) {
    const library_handlers handlers;
    const guarded_page page;
    for (const auto &[handler, element, memory] :
         std::initializer_list<std::tuple<const char *, unsigned, unsigned>>{
             {"VecU8CLoadFF1LSSZ", 1, 1},
             {"VecU64CLoadFF1LSSZ", 8, 1},
             {"VecU32CLoadFF4LSSZ", 4, 4},
             {"VecU64CLoadFF4LSSZ", 8, 4},
             {"VecS64CLoadFF2LSSZ", 8, 2},
         })
        for (int from_end = -static_cast<int>(sve_vector_bytes) - 1; from_end < 0; from_end++)
            for (unsigned first = 0; first < 3 && first * element < sve_vector_bytes; first++) {
                SCOPED_TRACE(handler + std::string(" at ") + std::to_string(from_end) +
                             " first active " + std::to_string(first));
                cpu_state state = state_at(page.address(from_end));
                std::memset(state.p[2], 0, first * element);
                if (from_end + static_cast<int>((first + 1) * memory) > 0) {
                    EXPECT_TRUE(faults([&, name = handler] { run(name, state); }));
                    continue;
                }
                run(handler, state);
                ASSERT_GT(loaded_elements(state, element), first);
                EXPECT_EQ(std::memcmp(state.z[1] + first * element,
                                      page.end() + from_end + first * memory, memory),
                          0);
            }
}

TEST(FirstFault, StopsAtTheEndOfThePage) {
    const guarded_page page;
    const unsigned room = 3 * sve_vector_bytes / 8;
    cpu_state state = state_at(page.address(-static_cast<int>(room)));
    run("VecU8CLoadFF1LSSZ", state);
    EXPECT_EQ(loaded_elements(state, 1), room);
    EXPECT_EQ(std::memcmp(state.z[1], page.end() - room, room), 0);
    for (unsigned i = room; i < sve_vector_bytes; i++)
        EXPECT_EQ(state.z[1][i], 0xee); // kept

    // The vector's end is the page's.
    state = state_at(page.address(-static_cast<int>(sve_vector_bytes)));
    run("VecU8CLoadFF1LSSZ", state);
    EXPECT_EQ(loaded_elements(state, 1), sve_vector_bytes);
}

// Of the two tiers, one clears what it couldn't read, the other all behind it; neither faults.
TEST(NonFault, NeverFaults) {
    const library_handlers handlers;
    const guarded_page page;
    constexpr unsigned elements = sve_vector_bytes / 4;
    for (int from_end = -static_cast<int>(sve_vector_bytes); from_end <= 4; from_end++) {
        const unsigned readable =
            from_end >= 0 ? 0 : std::min<unsigned>(static_cast<unsigned>(-from_end) / 4, elements);
        cpu_state state = state_at(page.address(from_end));
        run("VecU32CLoadNF4SIZ", state);
        EXPECT_EQ(loaded_elements(state, 4), readable) << from_end;
        EXPECT_EQ(std::memcmp(state.z[1], page.end() + from_end, readable * 4), 0);
        if (readable < elements) {
            EXPECT_EQ(state.z[1][readable * 4], 0xee);
        }

        CpuContext context = {};
        context.VL = sve_vector_bits / 64;
        PredV all = {};
        for (unsigned bit = 0; bit < sve_vector_bytes; bit++)
            all.set(bit, true);
        context.FFR = all;
        const VecT loaded = VecU32CLoadNF4SIZ(all, page.address(from_end), 0, &context);
        EXPECT_EQ(std::memcmp(loaded.byte, page.end() + from_end, readable * 4), 0);
        for (unsigned i = 0; i < sve_vector_bytes; i++) {
            EXPECT_EQ(context.FFR.test(i), i < readable * 4);
            if (i >= readable * 4) {
                EXPECT_EQ(loaded.byte[i], 0);
            }
        }
    }
}

TEST(NonFault, JudgesEachElementByItsPage) {
    const guarded_page page;
    // Elements 0 and 1 are at the middle page's end.
    cpu_state state = state_at(page.address(page_size - 8));
    state.p[2][4] = 0; // inactive: neither cleared in FFR nor kept
    run("VecU32CLoadNF4SIZ", state);
    for (unsigned i = 0; i < sve_vector_bytes; i++) {
        EXPECT_EQ(state.ffr[i], i >= 4) << i;
        EXPECT_EQ(state.z[1][i], i < 4 ? 0xee : 0) << i;
    }
}
