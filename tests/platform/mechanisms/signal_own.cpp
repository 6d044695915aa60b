// The application's own handlers of the signals that emulation needs: faults and traps with their
// addresses, the same signals sent by hand, stack overflow, and the smallest alternate stack.
#include "emulated_work.h"

#include <csetjmp>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <sys/resource.h>
#include <sys/time.h>
#include <ucontext.h>
#include <unistd.h>

static sigjmp_buf back;
static struct {
    int count, number, code;
    void *address;
    uint64_t pc;
    uint64_t value;
} seen;

static void remember(int number, siginfo_t *info, void *context) {
    emulated_disturbance();
    EXPECT_WORK(3, 5);
    seen.count++;
    seen.number = number;
    seen.code = info->si_code;
    seen.address = info->si_addr;
    seen.value = reinterpret_cast<uint64_t>(info->si_value.sival_ptr);
    seen.pc = static_cast<ucontext_t *>(context)->uc_mcontext.pc;
    if (info->si_code > 0)
        siglongjmp(back, 1);
}

template <class F>
[[gnu::noinline]] static bool left_by_jump(F function) {
    if (sigsetjmp(back, 1) != 0)
        return true;
    function();
    return false;
}

static void handle(int number, void (*handler)(int, siginfo_t *, void *), int flags) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | flags;
    sigaction(number, &action, nullptr);
}

extern "C" [[gnu::visibility("hidden")]] void store_to(volatile void *); // its first instruction
asm(".text\nstore_to: str wzr, [x0]\n ret\n"
    "undefined_word: udf #99\n ret\n");
extern "C" [[gnu::visibility("hidden")]] void undefined_word(void);

static void faults() {
    struct fault {
        int number;
        volatile void *address;
        const void *pc;
    };
    const long page = sysconf(_SC_PAGESIZE);
    char path[] = "/tmp/sve-own-XXXXXX";
    const int file = mkstemp(path);
    unlink(path);
    void *behind_end =
        mmap(nullptr, static_cast<size_t>(page), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    void *forbidden =
        mmap(nullptr, static_cast<size_t>(page), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    for (const fault &f : {fault{SIGSEGV, forbidden, reinterpret_cast<void *>(store_to)},
                           fault{SIGBUS, behind_end, reinterpret_cast<void *>(store_to)},
                           fault{SIGILL, nullptr, reinterpret_cast<void *>(undefined_word)}}) {
        handle(f.number, remember, 0);
        for (int time = 0; time < 3; time++) {
            seen = {};
            EXPECT(left_by_jump([&f] { f.address ? store_to(f.address) : undefined_word(); }));
            EXPECT(seen.count == 1 && seen.number == f.number && seen.code > 0);
            EXPECT(seen.pc == reinterpret_cast<uint64_t>(f.pc));
            EXPECT(seen.address == (f.address ? const_cast<void *>(f.address) : f.pc));
            EXPECT_WORK(9, 5);
        }
    }
}

static void sent_by_hand() {
    for (const int number : {SIGILL, SIGSEGV, SIGBUS}) {
        handle(number, remember, 0);
        seen = {};
        raise(number);
        EXPECT(seen.count == 1 && seen.code == SI_TKILL);
        kill(getpid(), number);
        EXPECT(seen.count == 2 && seen.code == SI_USER);
        sigqueue(getpid(), number, {.sival_ptr = &seen});
        EXPECT(seen.count == 3 && seen.code == SI_QUEUE &&
               seen.value == reinterpret_cast<uint64_t>(&seen));
        signal(number, SIG_IGN);
        raise(number);
        EXPECT(seen.count == 3);
        handle(number, remember, static_cast<int>(SA_RESETHAND));
        raise(number);
        EXPECT(seen.count == 4);
        struct sigaction now;
        sigaction(number, nullptr, &now);
        EXPECT(now.sa_handler == SIG_DFL);
        EXPECT_WORK(4, 5);
    }
}

// Recursion without end for practical purposes, an emulated instruction at each level.
static volatile uint64_t deepest = UINT64_MAX;
[[gnu::noinline]] static uint64_t recurse(uint64_t depth) {
    volatile char frame[500];
    frame[depth % sizeof frame] = 1;
    return depth == deepest
               ? 0
               : recurse(depth + emulated_lanes() / 4) + static_cast<uint64_t>(frame[0]);
}

static void stack_overflow() {
    const rlimit small = {256 << 10, RLIM_INFINITY};
    setrlimit(RLIMIT_STACK, &small); // for the threads' stacks below
    static char stack[64 << 10];
    const stack_t alternate = {.ss_sp = stack, .ss_flags = 0, .ss_size = sizeof stack};
    pthread_t thread;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10);
    handle(SIGSEGV, remember, SA_ONSTACK);
    pthread_create(
        &thread, &attributes,
        [](void *own) -> void * {
            sigaltstack(static_cast<const stack_t *>(own), nullptr);
            for (int time = 0; time < 3; time++) {
                seen = {};
                EXPECT(left_by_jump([] { recurse(0); }));
                EXPECT(seen.count == 1 && seen.number == SIGSEGV);
                EXPECT_WORK(8, 5);
            }
            return nullptr;
        },
        const_cast<stack_t *>(&alternate));
    pthread_join(thread, nullptr);
}

static volatile sig_atomic_t ticks;

// The smallest alternate stack that the C library names, with nothing below it.
static void smallest_stack() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const long least = sysconf(_SC_MINSIGSTKSZ);
    const size_t size = least > 5120 ? static_cast<size_t>(least) : 5120;
    auto *memory = static_cast<char *>(
        mmap(nullptr, 2 * page + size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(memory, page, PROT_NONE);
    const stack_t smallest = {.ss_sp = memory + page, .ss_flags = 0, .ss_size = size};
    EXPECT(sigaltstack(&smallest, nullptr) == 0);
    struct sigaction action = {};
    action.sa_handler = [](int) { ticks = ticks + 1; };
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval fast = {{0, 700}, {0, 700}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    fresh_sites sites;
    for (uint32_t i = 0; ticks < 20; i++) {
        EXPECT_WORK(i, 20);
        EXPECT(sites.run_next());
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    const stack_t none = {.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
    sigaltstack(&none, nullptr);
}

int main() {
    faults();
    sent_by_hand();
    stack_overflow();
    smallest_stack();
    return verdict("own handlers");
}
