#include "sve/core/signals.h"

#include "sve/core/cpu_context.h"

#include <atomic>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

static const struct fault {
    int signal;
    const char *name;
    // What the handler says of a fault outside a region.
    std::string message() const {
        return std::string("ovrin's SVESigHandler caught signal ") + name +
               " from the process being emulated, passing it to the default signal handler.\n";
    }
} faults[] = {{SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"}};

// An address whose access raises the signal: a page without access, and one behind its file's end.
static const volatile char *faulting_address(int signal) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *address = MAP_FAILED;
    if (signal == SIGSEGV) {
        address = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    } else if (FILE *empty = std::tmpfile()) {
        address = mmap(nullptr, page, PROT_READ, MAP_SHARED, fileno(empty), 0);
        std::fclose(empty);
    }
    EXPECT_NE(address, MAP_FAILED);
    return static_cast<const volatile char *>(address);
}

static struct sigaction action_of(int signal) {
    struct sigaction action;
    EXPECT_EQ(sigaction(signal, nullptr, &action), 0);
    return action;
}

// SVEInitialize works once in a process: what it installed is kept for every test of this file, and
// whatever was there before comes back behind each of them.
class Signals : public testing::Test {
protected:
    void SetUp() override {
        for (unsigned i = 0; i < 2; i++)
            surroundings_[i] = action_of(faults[i].signal);
        static const bool once = [] {
            EXPECT_EQ(ctxt, nullptr);
            SVEInitialize();
            for (unsigned i = 0; i < 2; i++)
                installed_[i] = action_of(faults[i].signal);
            return true;
        }();
        EXPECT_TRUE(once);
        set_installed_actions();
        SVEFaultRegion = 0;
    }
    void TearDown() override {
        for (unsigned i = 0; i < 2; i++)
            sigaction(faults[i].signal, &surroundings_[i], nullptr);
    }
    static void set_installed_actions() {
        for (unsigned i = 0; i < 2; i++)
            sigaction(faults[i].signal, &installed_[i], nullptr);
    }
    static struct sigaction installed_[2]; // in the order of `faults`
    struct sigaction surroundings_[2];
};
struct sigaction Signals::installed_[2];

TEST_F(Signals, InitializeInstallsTheHandler) {
    EXPECT_EQ(ctxt, &cpu_ctxt);
    EXPECT_EQ(cpu_ctxt.VL, 2u);
    constexpr int known_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER | SA_ONSTACK | SA_RESETHAND |
                                SA_NOCLDSTOP | SA_NOCLDWAIT;
    for (unsigned i = 0; i < 2; i++) {
        SCOPED_TRACE(faults[i].name);
        EXPECT_EQ(installed_[i].sa_sigaction, SVESigHandler);
        EXPECT_EQ(installed_[i].sa_flags & known_flags, SA_SIGINFO | SA_RESTART | SA_NODEFER);
        for (int signal = 1; signal < SIGRTMAX; signal++)
            EXPECT_EQ(sigismember(&installed_[i].sa_mask, signal), 0) << signal;
    }
}

TEST_F(Signals, InitializeInstallsOnce) {
    for (const fault &f : faults)
        signal(f.signal, SIG_IGN);
    SVEInitialize();
    for (const fault &f : faults)
        EXPECT_EQ(action_of(f.signal).sa_handler, SIG_IGN) << f.name;
}

// Reads from the address in a fault region. Returns the value that the handler jumped with; 0 if it
// didn't.
static int read_in_a_region(const volatile char *address) {
    if (const int jumped = sigsetjmp(sveFaultJB, 1))
        return jumped;
    SVEFaultRegion = 1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    (void)*address;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    return 0;
}

// A fault ends the region; the next region is as good as the first.
TEST_F(Signals, FaultInARegionJumps) {
    for (const fault &f : faults) {
        for (int round = 0; round < 3; round++) {
            SCOPED_TRACE(f.name);
            testing::internal::CaptureStderr();
            EXPECT_EQ(read_in_a_region(faulting_address(f.signal)), 1);
            EXPECT_EQ(SVEFaultRegion, 0);
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        }
    }
}

// Any other fault gives both signals back, with one message, and returns.
TEST_F(Signals, StrayFaultGivesTheSignalsBack) {
    for (const fault &stray : faults) {
        set_installed_actions();
        testing::internal::CaptureStderr();
        SVESigHandler(stray.signal, nullptr, nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), stray.message());
        for (const fault &f : faults)
            EXPECT_EQ(action_of(f.signal).sa_handler, SIG_DFL) << f.name;
    }
}

static void die_of(int signal) {
    const rlimit no_core_file = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core_file);
    alarm(20); // if the handler never gives up
    (void)*faulting_address(signal);
}

TEST_F(Signals, StrayFaultEndsTheProcess) {
    for (const fault &f : faults) {
        SCOPED_TRACE(f.name);
        // A processor emulator adds a line of its own behind the message.
        EXPECT_EXIT(die_of(f.signal), testing::KilledBySignal(f.signal),
                    testing::StartsWith(f.message()));
    }
}
