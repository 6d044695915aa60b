#include "platform/src/code_map.h"

#include "platform/src/mappings.h"
#include "platform/src/memory.h"
#include "platform/src/text.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <iterator>
#include <sys/mman.h>

namespace platform {

namespace {

// One that is known. Those who forget it come without a lock: they only end it, and everything else is written while
// it is not there.
struct known_code {
    std::atomic<uintptr_t> start, end; // end 0: free
    code_mapping mapping;
    char *path; // of its module
};

// Of more than so many, others are forgotten.
constexpr unsigned most_known = 256;
constinit known_code known[most_known]{};
constinit std::atomic<unsigned> known_count{0}; // that have ever been used
constinit std::atomic<uint32_t> changes{0};     // of the map, that have been told
uint32_t last_number;

bool is_there(const known_code &code, uintptr_t pc) {
    return pc < code.end.load(std::memory_order_acquire) &&
           pc >= code.start.load(std::memory_order_relaxed);
}

known_code &free_entry() {
    const unsigned count = known_count.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < count; i++)
        if (known[i].end.load(std::memory_order_relaxed) == 0)
            return known[i];
    if (count < most_known) {
        known_count.store(count + 1, std::memory_order_release);
        return known[count];
    }
    return known[last_number % most_known];
}

// PROT_BTI included: the process's map doesn't show that. What is code can be executed, though a processor emulator may show
// it as one mapping with data in front of it, and with their protection.
int protection_of(const mapping &text, uintptr_t pc) {
#ifndef PROT_BTI
    constexpr int PROT_BTI = 0x10;
#endif
    return text.protection | PROT_EXEC | (is_guarded(pc) ? PROT_BTI : 0);
}

// While another thread maps memory, what is read of the map may lack what is there. What has just been executed is: at least
// its page.
code_mapping read_mapping(uintptr_t pc) {
    code_mapping found = {};
    for (int i = 0; i < 3 && !found.contains(pc); i++)
        for_each_mapping([&](const mapping &m) {
            if (m.contains(pc))
                found = {m.start, m.end, protection_of(m, pc), 0, false, {}};
            return !m.contains(pc);
        });
    if (!found.contains(pc)) {
        const uintptr_t page = pc & ~(page_bytes() - 1);
        found = {page, page + page_bytes(), PROT_READ | PROT_EXEC, 0, false, {}};
    }
    return found;
}

} // namespace

const code_mapping *find_code(uintptr_t pc) {
    const unsigned count = known_count.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < count; i++)
        if (is_there(known[i], pc))
            return &known[i].mapping;

    known_code &code = free_entry();
    code.end.store(0, std::memory_order_relaxed);
    if (!code.path)
        code.path = static_cast<char *>(map_memory(PATH_MAX));
    if (!code.path)
        return nullptr;
    code.mapping.number = ++last_number;
    // Threads that begin map memory for themselves all the while. What changed each time is good for this time only.
    constexpr unsigned tries = 16;
    for (unsigned i = 0; i < tries && code.end.load(std::memory_order_relaxed) == 0; i++) {
        const uint32_t before = changes.load(std::memory_order_acquire),
                       number = code.mapping.number;
        code.mapping = read_mapping(pc);
        code.mapping.number = number;
        code.mapping.in_module = find_module(pc, code.mapping.module, code.path);
        code.start.store(code.mapping.start, std::memory_order_relaxed);
        code.end.store(code.mapping.end, std::memory_order_release);
        if (changes.load(std::memory_order_acquire) != before)
            code.end.store(0, std::memory_order_relaxed);
    }
    return &code.mapping;
}

int find_protection(uintptr_t pc) {
    const code_mapping *code = find_code(pc);
    return code && code->in_module ? code->protection : read_mapping(pc).protection;
}

void forget_code(uintptr_t start, uintptr_t end) {
    changes.fetch_add(1, std::memory_order_acq_rel);
    const unsigned count = known_count.load(std::memory_order_acquire);
    for (unsigned i = 0; i < count; i++)
        if (known[i].start.load(std::memory_order_relaxed) < end &&
            start < known[i].end.load(std::memory_order_acquire))
            known[i].end.store(0, std::memory_order_release);
}

} // namespace platform
