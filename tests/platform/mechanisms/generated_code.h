#pragma once

// Code that a program makes while it runs.

#include "emulated_work.h"

#include <arm_neon.h>
#include <cstring>
#include <ucontext.h>
#include <vector>

using code_words = std::vector<uint32_t>;

constexpr size_t code_page = 64 << 10; // as large as any kernel's

constexpr uint32_t ret = 0xd65f03c0;
constexpr uint32_t native_double = 0x4ea08400; // add v0.4s, v0.4s, v0.4s
constexpr uint32_t emulated_add(uint32_t n) {  // add z0.s, z0.s, #n
    return 0x25a0c000 | n << 5;
}

inline void *new_pages(size_t bytes, int protection = PROT_READ | PROT_WRITE) {
    return mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
}

inline void copy_code(uint32_t *to, const uint32_t *from, size_t count) {
    memcpy(to, from, 4 * count);
    __builtin___clear_cache(reinterpret_cast<char *>(to), reinterpret_cast<char *>(to + count));
}

// Code that hasn't run, which lies `at` words behind the beginning of a page.
class new_code {
public:
    explicit new_code(const code_words &words, size_t at = 0)
        : page_(static_cast<uint32_t *>(new_pages(code_page))), code_(page_ + at) {
        copy_code(page_ + at, words.data(), words.size());
        mprotect(page_, code_page, PROT_READ | PROT_EXEC);
    }
    ~new_code() { munmap(page_, code_page); }
    new_code(const new_code &) = delete;
    new_code &operator=(const new_code &) = delete;
    operator const uint32_t *() const { return code_; }

private:
    uint32_t *page_, *code_;
};

// Runs code on a vector of equal elements, V0.
inline uint32_t run(const uint32_t *code, uint32_t value) {
    using function = uint32x4_t(uint32x4_t);
    const auto result =
        reinterpret_cast<function *>(const_cast<uint32_t *>(code))(vdupq_n_u32(value));
    EXPECT(vminvq_u32(result) == vmaxvq_u32(result));
    return vgetq_lane_u32(result, 0);
}

// Copies, none of which has run, of position-independent code that hasn't run where it stands, either.
class code_copies {
public:
    template <class F>
    code_copies(F *begin, const uint32_t *end, size_t count)
        : begin_(reinterpret_cast<const uint32_t *>(begin)),
          words_(static_cast<size_t>(end - begin_)), count_(count),
          copies_(static_cast<uint32_t *>(new_pages(bytes()))) {
        for (size_t i = 0; i < count; i++)
            copy_code(copies_ + i * words_, begin_, words_);
        mprotect(copies_, bytes(), PROT_READ | PROT_EXEC);
    }
    ~code_copies() { munmap(copies_, bytes()); }
    code_copies(const code_copies &) = delete;
    code_copies &operator=(const code_copies &) = delete;

    size_t count() const { return count_; }
    // What the i-th copy has of the function.
    template <class F>
    F *of(size_t i, F *function) const {
        return reinterpret_cast<F *>(copies_ + i * words_ +
                                     (reinterpret_cast<const uint32_t *>(function) - begin_));
    }
    // The address in the original of one in a copy; another one is returned as it is.
    uint64_t original(uint64_t pc) const {
        const uint64_t offset = pc - reinterpret_cast<uint64_t>(copies_);
        return offset < 4 * words_ * count_
                   ? reinterpret_cast<uint64_t>(begin_) + offset % (4 * words_)
                   : pc;
    }

private:
    size_t bytes() const { return 4 * words_ * count_; }
    const uint32_t *begin_;
    size_t words_, count_;
    uint32_t *copies_;
};
