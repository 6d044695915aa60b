// A program whose counts of SVE instructions are known. The first argument says what it does, the
// second how often.
#include <arm_neon.h>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#ifdef __clang__
#define STANDS_ALONE [[gnu::noinline]]
#else
#define STANDS_ALONE [[gnu::noipa]]
#endif

namespace counted {

// Each `count` times, at the line behind its mark: the direct route,
STANDS_ALONE void adds(uint64_t count) {
    // mark of adds
    __asm__ volatile(".arch_extension sve\n1:\tadd z0.s, z0.s, #1\n\tsubs %0, %0, #1\n\tb.ne 1b"
                     : "+r"(count)
                     :
                     : "v0", "cc");
}
// the reference route,
template <typename T>
STANDS_ALONE void counts(T count) {
    // mark of counts
    __asm__ volatile(".arch_extension sve\n1:\tcntb x9\n\tsubs %0, %0, #1\n\tb.ne 1b"
                     : "+r"(count)
                     :
                     : "x9", "cc");
}
// a handler of the direct route that has no reference function,
STANDS_ALONE void loads(uint64_t count) {
    static const char byte = 0;
    __asm__ volatile(".arch_extension sve\n\tptrue p0.b, vl1\n"
                     "1:\tldff1b {z0.b}, p0/z, [%1, xzr]\n\tsubs %0, %0, #1\n\tb.ne 1b"
                     : "+r"(count)
                     : "r"(&byte)
                     : "v0", "cc");
}
// and one that does nothing.
STANDS_ALONE void
prefetches_in_a_function_whose_name_is_much_too_long_for_a_line_of_a_terminal(uint64_t count) {
    __asm__ volatile(".arch_extension sve\n"
                     "1:\tprfb pldl1keep, p0, [sp]\n\tsubs %0, %0, #1\n\tb.ne 1b"
                     : "+r"(count)
                     :
                     : "cc");
}

} // namespace counted

static void generated(uint64_t count) {
    auto *code = static_cast<uint32_t *>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    code[0] = 0x25a0c020; // add z0.s, z0.s, #1
    code[1] = 0xd65f03c0; // ret
    __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + 2));
    for (uint64_t n = 0; n < count; n++)
        reinterpret_cast<void (*)()>(code)();
    code[0] = 0x25a0c040; // add z0.s, z0.s, #2
    __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + 1));
    for (uint64_t n = 0; n < 2 * count; n++)
        reinterpret_cast<void (*)()>(code)();
}

int main(int argc, char **argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    const uint64_t count = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    if (what == "functions") {
        counted::adds(7 * count);
        counted::counts(2 * count);
        counted::prefetches_in_a_function_whose_name_is_much_too_long_for_a_line_of_a_terminal(
            count);
    } else if (what == "loads") {
        counted::loads(count);
    } else if (what == "generated") {
        counted::adds(count);
        generated(count);
    } else if (what == "libraries") { // one after the other: the next may take a library's place
        counted::adds(count);
        for (int i = 3; i < argc; i++) {
            void *library = dlopen(argv[i], RTLD_NOW);
            if (std::strstr(argv[i], "gone"))
                unlink(argv[i]);
            auto *add = reinterpret_cast<uint32x4_t (*)(uint32x4_t, uint32x4_t)>(
                dlsym(library, "library_add"));
            for (uint64_t n = 0; n < (i - 1) * count; n++)
                add(vdupq_n_u32(1), vdupq_n_u32(2));
            std::printf("%p\n", reinterpret_cast<void *>(add));
            dlclose(library);
        }
    } else if (what == "threads") {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; i++)
            threads.emplace_back(counted::adds, count);
        for (std::thread &thread : threads)
            thread.join();
    } else if (what == "fork" || what == "die") { // beside a child that counts, too
        counted::adds(count);
        if (fork() == 0) {
            counted::adds(1000);
            return 0;
        }
        wait(nullptr);
        if (what == "die")
            raise(SIGTERM);
    } else if (what == "orphan") { // the child waits for a file, and so ends after its parent
        counted::adds(count);
        if (fork() == 0) {
            for (int i = 0; i < 3000 && access(argv[3], F_OK) != 0; i++)
                usleep(10'000);
            counted::adds(1000);
        }
    } else if (what == "become") {
        counted::adds(count);
        execv(argv[3], argv + 3);
    } else if (what == "wait") { // for a signal
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, nullptr);
        counted::adds(count);
        std::puts("ready");
        std::fflush(stdout);
        int number;
        sigwait(&all, &number);
        std::printf("signal %d\n", number);
        return 5;
    } else if (what == "status") {
        return static_cast<int>(count);
    }
}
