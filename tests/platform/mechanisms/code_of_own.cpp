// A program with its own heap and memory functions, all of which emulate: nothing that runs on the way of
// an emulated instruction may call them, nor anything before emulation is ready.
#include "emulated_work.h"

#include <csignal>
#include <cstring>
#include <new>
#include <pthread.h>
#include <string>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

static std::atomic<unsigned> calls;

// Something to go wrong: CNTW and a few more.
static size_t emulate(size_t value) {
    calls++;
    if (emulated_work(3, 1) != expected_work(3, 1)) {
        static const char message[] = "a function of the program's own is wrong\n";
        (void)!write(STDOUT_FILENO, message, sizeof message - 1);
        _exit(1);
    }
    return value;
}

// One bump allocator; each block has its size in front.
alignas(16) static char memory[48 << 20];
static std::atomic<size_t> used;

extern "C" {
void *malloc(size_t size) {
    const size_t at = used.fetch_add(emulate(size + 31) & ~size_t{15});
    if (at + size + 16 > sizeof memory)
        return nullptr;
    *reinterpret_cast<size_t *>(memory + at) = size;
    return memory + at + 16;
}
void free(void *block) {
    if (block && (block < memory || block >= memory + sizeof memory))
        abort(); // a block of somebody else's heap
    emulate(0);
}
void *calloc(size_t count, size_t size) {
    return malloc(emulate(count * size)); // fresh memory is zero
}
void *realloc(void *block, size_t size) {
    void *result = malloc(size);
    if (result && block) {
        const size_t former = *reinterpret_cast<size_t *>(static_cast<char *>(block) - 16);
        for (size_t i = 0; i < former && i < size; i++)
            static_cast<volatile char *>(result)[i] = static_cast<char *>(block)[i];
    }
    return result;
}
void *memcpy(void *__restrict to, const void *__restrict from, size_t size) {
    emulate(size);
    for (size_t i = 0; i < size; i++)
        static_cast<volatile char *>(to)[i] = static_cast<const char *>(from)[i];
    return to;
}
void *memset(void *to, int value, size_t size) {
    emulate(size);
    for (size_t i = 0; i < size; i++)
        static_cast<volatile char *>(to)[i] = static_cast<char>(value);
    return to;
}
size_t strlen(const char *text) {
    const volatile char *end = text;
    while (*end)
        end = end + 1;
    return emulate(static_cast<size_t>(end - text));
}
}
void *operator new(size_t size) {
    return malloc(emulate(size));
}
void operator delete(void *block) noexcept {
    free(block);
}
void operator delete(void *block, size_t) noexcept {
    free(block);
}

int main() {
    signal(SIGALRM, [](int) { emulate(0); });
    const itimerval fast = {{0, 2000}, {0, 2000}}, never = {};
    setitimer(ITIMER_REAL, &fast, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; t++)
        threads.emplace_back([] {
            for (int i = 0; i < 40; i++) {
                std::string text(static_cast<size_t>(50 + i), 'x');
                text += text;
                EXPECT(text.size() == static_cast<size_t>(100 + 2 * i));
                char copy[64];
                memcpy(copy, text.data(), sizeof copy);
                EXPECT(copy[63] == 'x');
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT(calls > 100);
    return verdict("functions of its own");
}
