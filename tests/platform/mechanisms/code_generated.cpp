// Code that is written, run, overwritten and run again at the same place, many times, while
// another thread emulates; sometimes with the same instruction, sometimes with another.
#include "emulated_work.h"

#include <thread>

static constexpr size_t page = 64 << 10;

int main() {
    auto *code = static_cast<uint32_t *>(
        mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const auto run = [code](uint32_t value) {
        return reinterpret_cast<uint32_t (*)(uint32_t)>(code)(value);
    };
    std::atomic<bool> done = false;
    std::thread other([&done] {
        for (uint32_t i = 0; !done; i++)
            EXPECT_WORK(i, 10);
    });
    size_t before = 0;
    for (uint32_t i = 0; i < 150; i++) {
        const uint32_t added = i / 3 % 100; // each three times
        mprotect(code, page, PROT_READ | PROT_WRITE);
        code[0] = 0x1e270000;              // fmov s0, w0
        code[1] = 0x25a0c000 | added << 5; // add z0.s, z0.s, #added
        code[2] = i % 2 ? 0x25a0c020       // add z0.s, z0.s, #1
                        : 0x25a1c020;      // sub z0.s, z0.s, #1
        code[3] = 0x1e260000;              // fmov w0, s0
        code[4] = 0xd65f03c0;              // ret
        mprotect(code, page, PROT_READ | PROT_EXEC);
        __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + 5));
        for (uint32_t time = 0; time < 2; time++)
            EXPECT(run(1000 + time) == 1000 + time + added + (i % 2 ? 1 : -1u));
        if (i == 30)
            before = mapped_kilobytes();
    }
    EXPECT(mapped_kilobytes() < before + 400);
    done = true;
    other.join();
    return verdict("generated");
}
