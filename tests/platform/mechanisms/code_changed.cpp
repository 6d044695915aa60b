// Code that changes between its runs: written over, mapped anew or gone, by this thread or another, through the
// C library or by the kernel's calls alone; a word that another thread rewrites all the while; and blocks that
// end where the memory does.
#include "generated_code.h"

#include <initializer_list>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

// ---- Changes of memory --------------------------------------------------------------------------

static bool by_system_calls, by_another_thread; // how they are made

static void map_at(uint32_t *place, size_t bytes, int protection, int sharing = MAP_PRIVATE) {
    const int flags = sharing | MAP_ANONYMOUS | MAP_FIXED;
    EXPECT((by_system_calls ? reinterpret_cast<void *>(
                                  syscall(SYS_mmap, place, bytes, protection, flags, -1, 0))
                            : mmap(place, bytes, protection, flags, -1, 0)) == place);
}
static void unmap(uint32_t *place, size_t bytes) {
    EXPECT((by_system_calls ? syscall(SYS_munmap, place, bytes) : munmap(place, bytes)) == 0);
}
static void protect(uint32_t *place, size_t bytes, int protection) {
    EXPECT((by_system_calls ? syscall(SYS_mprotect, place, bytes, protection)
                            : mprotect(place, bytes, protection)) == 0);
}
static void move(uint32_t *from, size_t bytes, uint32_t *to) {
    constexpr int flags = MREMAP_MAYMOVE | MREMAP_FIXED;
    EXPECT((by_system_calls
                ? reinterpret_cast<void *>(syscall(SYS_mremap, from, bytes, bytes, flags, to))
                : mremap(from, bytes, bytes, flags, to)) == to);
}

// Makes a change in each of the ways, with code that runs once, twice, three and five times.
template <class F>
static void in_all_ways(F change) {
    for (const bool system_calls : {false, true})
        for (const bool another_thread : {false, true}) {
            by_system_calls = system_calls;
            by_another_thread = another_thread;
            for (const unsigned runs : {1, 2, 3, 5})
                change(runs);
        }
}

template <class F>
static void by_chosen_thread(F change) {
    if (by_another_thread)
        std::thread(change).join();
    else
        change();
}

static std::string protection_at(const uint32_t *place) {
    const auto address = reinterpret_cast<uint64_t>(place);
    std::string found = "none";
    if (FILE *file = fopen("/proc/self/maps", "r")) {
        char protection[5];
        uint64_t start, end;
        while (fscanf(file, "%lx-%lx %4s%*[^\n]", &start, &end, protection) == 3)
            if (address >= start && address < end)
                found = protection;
        fclose(file);
    }
    return found;
}

// ---- Other code at the same place ---------------------------------------------------------------

constexpr int writable = PROT_READ | PROT_WRITE, executable = PROT_READ | PROT_EXEC,
              all = PROT_READ | PROT_WRITE | PROT_EXEC;

static const struct {
    void (*begin)(uint32_t *place); // none: the memory stays
    int during, after;              // protection; 0: as it is
    const char *shown;              // then by the process's map
} ways[] = {
    {nullptr, writable, executable, "r-xp"},
    {nullptr, all, all, "rwxp"},
    {nullptr, 0, 0, "rwxp"},
    {[](uint32_t *place) {
         unmap(place, code_page);
         map_at(place, code_page, all);
     },
     0, 0, "rwxp"},
    {[](uint32_t *place) { map_at(place, code_page, writable); }, 0, executable, "r-xp"},
    {[](uint32_t *place) {
         move(static_cast<uint32_t *>(new_pages(code_page, all)), code_page, place);
     },
     0, 0, "rwxp"},
};

// One after the other: with the first instruction of the former and other neighbours, with another one, and
// with native ones in the place of emulated ones.
static const struct {
    code_words words;
    uint32_t factor, sum;
} contents[] = {
    {{emulated_add(1), ret}, 1, 1},
    {{emulated_add(1), emulated_add(2), native_double, emulated_add(4), ret}, 2, 10},
    {{emulated_add(8), emulated_add(2), emulated_add(1), native_double, ret}, 2, 22},
    {{native_double, native_double, ret}, 4, 0},
    {{ret}, 1, 0},
    {{emulated_add(8), native_double, emulated_add(3), ret}, 2, 19},
};

static void other_code() {
    auto *place = static_cast<uint32_t *>(new_pages(code_page));
    in_all_ways([place](unsigned runs) {
        for (const auto &way : ways) {
            for (const auto &content : contents) {
                by_chosen_thread([&] {
                    if (way.begin)
                        way.begin(place);
                    if (way.during)
                        protect(place, code_page, way.during);
                    copy_code(place, content.words.data(), content.words.size());
                    if (way.after)
                        protect(place, code_page, way.after);
                });
                for (uint32_t i = 0; i < runs; i++)
                    EXPECT(run(place, i) == i * content.factor + content.sum);
            }
            EXPECT(protection_at(place) == way.shown);
        }
        protect(place, code_page, writable);
    });
    munmap(place, code_page);
}

// ---- No code any more ---------------------------------------------------------------------------

static uint64_t fault_pc, fault_address;
static int fault_count;
static void on_fault(int, siginfo_t *info, void *context) {
    auto &machine = static_cast<ucontext_t *>(context)->uc_mcontext;
    fault_pc = machine.pc;
    fault_address = reinterpret_cast<uint64_t>(info->si_addr);
    fault_count++;
    machine.pc = machine.regs[30]; // back to the caller
}

// Runs code that goes on at `end`, where it faults.
static void expect_fault(const uint32_t *code, uint32_t sum, const uint32_t *end) {
    fault_count = 0;
    EXPECT(run(code, 100) == 100 + sum);
    EXPECT(fault_count == 1 && fault_pc == reinterpret_cast<uint64_t>(end) &&
           fault_address == fault_pc);
}

// The kernel's own pages, so that nothing of emulation's has room where one is unmapped.
static const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));

static const code_words data = {emulated_add(4), emulated_add(8), ret};

static void make_data(uint32_t *place) {
    // Shared, since a processor emulator may show as one mapping what differs in execution alone.
    map_at(place, page, writable, MAP_SHARED);
    copy_code(place, data.data(), data.size());
    protect(place, page, PROT_READ);
}

static void (*const removals[])(uint32_t *place) = {
    [](uint32_t *place) { unmap(place, page); },
    [](uint32_t *place) { protect(place, page, PROT_NONE); },
    make_data,
};

// The page behind a function's first two instructions is gone, which run on into it or branch away; then the
// function is. What stays readable looks like code, and nobody writes to it.
static void no_code() {
    struct sigaction action = {};
    action.sa_sigaction = on_fault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
    const code_words runs_on = {ret, emulated_add(1), emulated_add(2), emulated_add(4), ret},
                     branches = {ret, emulated_add(1), 0x17fffffe /* b -8 */, emulated_add(4), ret};
    auto *before = static_cast<uint32_t *>(new_pages(4 * page, PROT_READ));
    uint32_t *first = before + page / 4, *second = first + page / 4, *code = second - 2;
    in_all_ways([&](unsigned runs) {
        for (const auto &remove : removals)
            for (const code_words &words : {runs_on, branches})
                for (const bool has_run : {false, true}) {
                    const bool is_branch = words == branches;
                    map_at(first, 2 * page, writable);
                    copy_code(code - 1, words.data(), words.size());
                    protect(first, 2 * page, executable);
                    for (uint32_t i = 0; has_run && i < runs; i++)
                        EXPECT(run(code, i) == i + (is_branch ? 1 : 7));
                    by_chosen_thread([&] { remove(second); });
                    for (uint32_t i = 0; i < runs; i++)
                        if (is_branch)
                            EXPECT(run(code, i) == i + 1);
                        else
                            expect_fault(code, 3, second);
                    if (remove == make_data)
                        EXPECT(memcmp(second, data.data(), 4 * data.size()) == 0);
                    by_chosen_thread([&] { remove(first); });
                    expect_fault(code, 0, code);
                }
    });
    munmap(before, 4 * page);
    signal(SIGSEGV, SIG_DFL);
}

// ---- A word that another thread rewrites ---------------------------------------------------------

static void contested_word() {
    static std::atomic<int> illegal;
    signal(SIGILL, [](int) { illegal++; });
    const uint32_t nop = 0xd503201f, subtract = 0x25a1c020; // sub z0.s, z0.s, #1
    const uint32_t written[] = {emulated_add(2), subtract, nop}, added[] = {2, ~0u, 0};
    auto *code = static_cast<uint32_t *>(new_pages(code_page, all));
    const code_words around = {emulated_add(4), nop, emulated_add(8), ret};
    copy_code(code, around.data(), around.size());
    for (uint32_t phase = 0; phase < 48; phase++) {
        std::atomic<bool> done = false;
        std::thread writer([&] {
            for (uint32_t i = 0; i <= 210 + phase; i++) {
                __atomic_store_n(code + 1, written[i % 3], __ATOMIC_RELEASE);
                __builtin___clear_cache(reinterpret_cast<char *>(code + 1),
                                        reinterpret_cast<char *>(code + 2));
            }
            done = true;
        });
        while (!done) {
            const uint32_t got = run(code, 100) - 112;
            EXPECT(got == added[0] || got == added[1] || got == added[2]);
        }
        writer.join();
        for (unsigned time = 0; time < 3; time++) // the last one stays
            EXPECT(run(code, 100) - 112 == added[phase % 3]);
    }
    EXPECT(illegal == 0);
    signal(SIGILL, SIG_DFL);
    munmap(code, code_page);
}

int main() {
    other_code();
    no_code();
    contested_word();
    return verdict("changed code");
}
