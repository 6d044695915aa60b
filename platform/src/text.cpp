#include "platform/src/text.h"

#include "platform/src/counters.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

// In call.S.
extern "C" {
bool sve_platform_read_words(uintptr_t pc, platform::a64::word_t *words, size_t count);
bool sve_platform_exchange_word(uintptr_t pc, platform::a64::word_t former,
                                platform::a64::word_t word);
extern const char sve_platform_text_access[], sve_platform_text_access_end[];
}

namespace platform {

bool read_words(uintptr_t pc, a64::word_t *words, size_t count) {
    return sve_platform_read_words(pc, words, count);
}

a64::word_t read_word(uintptr_t pc) {
    a64::word_t word;
    return read_words(pc, &word, 1) ? word : a64::udf(0);
}

bool exchange_word(uintptr_t pc, a64::word_t former, a64::word_t word) {
    return sve_platform_exchange_word(pc, former, word);
}

bool resume_text_access(mcontext_t &machine) {
    const auto start = reinterpret_cast<uintptr_t>(sve_platform_text_access);
    const auto end = reinterpret_cast<uintptr_t>(sve_platform_text_access_end);
    if (machine.pc < start || machine.pc >= end)
        return false;
    machine.regs[0] = 0;
    machine.pc = machine.regs[30]; // neither function calls anything
    return true;
}

uintptr_t page_bytes() {
    return static_cast<uintptr_t>(getpagesize());
}

writable_text::writable_text(uintptr_t first, uintptr_t last, int protection)
    : start_(first & ~(page_bytes() - 1)), size_((last | (page_bytes() - 1)) + 1 - start_),
      protection_(protection),
      writable_((protection & PROT_WRITE) || protect(protection | PROT_WRITE)) {
    if (writable_ && !(protection & PROT_WRITE))
        count(counters.pages_changed, size_ / page_bytes());
}

writable_text::~writable_text() {
    if (writable_ && !(protection_ & PROT_WRITE))
        protect(protection_);
}

// Not by the function of this name, which is the program's.
bool writable_text::protect(int protection) const {
    return syscall(SYS_mprotect, start_, size_, protection) == 0;
}

} // namespace platform
