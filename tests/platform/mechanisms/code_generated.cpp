// Code that is written, run, overwritten and run again at the same place, many times, while
// another thread emulates; sometimes with the same instruction, sometimes with another. In its middle is
// a native write, which clears the rest of a Z register.
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
    for (uint32_t i = 0; i < 60; i++) {
        const uint32_t added = i / 3 % 100; // each three times
        mprotect(code, page, PROT_READ | PROT_WRITE);
        code[0] = 0x2538caa0;              // mov z0.b, #85
        code[1] = 0x2598e3e0;              // ptrue p0.s
        code[2] = i / 6 % 2 ? 0x1e270000   // fmov s0, w0
                            : 0x0e040c00;  // dup v0.2s, w0
        code[3] = 0x25a0c000 | added << 5; // add z0.s, z0.s, #added
        code[4] = i % 2 ? 0x25a0c020       // add z0.s, z0.s, #1
                        : 0x25a1c020;      // sub z0.s, z0.s, #1
        code[5] = 0x05a1a001;              // lastb w1, p0, z0.s
        code[6] = 0x1e260000;              // fmov w0, s0
        code[7] = 0x0b010000;              // add w0, w0, w1
        code[8] = 0xd65f03c0;              // ret
        mprotect(code, page, PROT_READ | PROT_EXEC);
        __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + 9));
        const uint32_t last = added + (i % 2 ? 1 : -1u);
        for (uint32_t time = 0; time <= i % 5; time++)
            EXPECT(run(1000 + time) == 1000 + time + last + last);
        if (i == 12)
            before = mapped_kilobytes();
    }
    EXPECT(mapped_kilobytes() < before + 150);
    done = true;
    other.join();
    return verdict("generated");
}
