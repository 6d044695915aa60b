#include "tests/conformance/outcome.h"

#include "tests/conformance/random_numbers.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace conformance {

static uint64_t word_at(const void *memory, size_t offset) {
    uint64_t word;
    memcpy(&word, static_cast<const uint8_t *>(memory) + offset, sizeof word);
    return word;
}

// memcmp is dear on a processor emulator. `bytes` is a multiple of 8.
static bool equal(const void *a, const void *b, size_t bytes) {
    const auto difference = [&](size_t at) { return word_at(a, at) ^ word_at(b, at); };
    uint64_t any = 0;
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32)
        any |= difference(i) | difference(i + 8) | difference(i + 16) | difference(i + 24);
    for (; i < bytes; i += 8)
        any |= difference(i);
    return any == 0;
}

// ---- Memory ---------------------------------------------------------------------------------------

// Two pages that meet at 4 GiB, if they can: addresses of 32 bits reach the first one only.
std::span<uint8_t> arena() {
    static const std::span<uint8_t> middle_pages = [] {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        auto *pages =
            static_cast<uint8_t *>(mmap(reinterpret_cast<void *>((uint64_t{1} << 32) - 2 * page),
                                        4 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        return std::span(pages + page, 2 * page);
    }();
    return middle_pages;
}

static std::vector<uint8_t> contents;
static bool arena_is_open;

const std::vector<uint8_t> &arena_contents() {
    return contents;
}

void close_arena() {
    arena_is_open = false;
    mprotect(arena().data(), arena().size(), PROT_NONE);
}

void open_arena(uint64_t seed) {
    random_numbers random(seed);
    contents.resize(arena().size());
    for (uint8_t &byte : contents)
        byte = static_cast<uint8_t>(random.next());
    arena_is_open = true;
    mprotect(arena().data(), arena().size(), PROT_READ | PROT_WRITE);
    memcpy(arena().data(), contents.data(), arena().size());
}

void take_memory(outcome &result) {
    result.memory.clear();
    if (!arena_is_open || equal(arena().data(), contents.data(), arena().size()))
        return;
    result.memory.assign(arena().begin(), arena().end());
    memcpy(arena().data(), contents.data(), arena().size());
}

// The fields of cpu_state that are not compared stand between three blocks.
static constexpr size_t predicate_rows_bytes = 17 * sve_vector_bytes;
static_assert(offsetof(cpu_state, pc) == offsetof(cpu_state, x) + 32 * 8);
static_assert(offsetof(cpu_state, fpcr_or) == offsetof(cpu_state, nzcv) + 16);
static_assert(offsetof(cpu_state, p) == offsetof(cpu_state, z) + 32 * sve_vector_bytes);
static_assert(offsetof(cpu_state, insn) == offsetof(cpu_state, p) + predicate_rows_bytes);

// ---- The three sides ------------------------------------------------------------------------------

void run_on_processor(size_t loaded_word, const machine_state &before, outcome &result) {
    const int signal = run_word(loaded_word, before, result.state);
    result.trouble = signal == 0 ? nullptr : strsignal(signal);
    // Most instructions leave all predicates alone.
    if (memcmp(result.state.p, before.p, 17 * predicate_bytes) == 0)
        memcpy(result.state.emulated.p, before.emulated.p, predicate_rows_bytes);
    else
        result.state.unpack_predicates();
    take_memory(result);
}

void run_emulator(emulate_function emulate, uint32_t word, const machine_state &before,
                  outcome &result) {
    static unsigned code[2];
    code[0] = word;
    cpu_state &state = result.state.emulated;
    state = before.emulated;
    state.pc = code;
    const aarch64_decode_rc rc = emulate(&state);
    result.trouble = rc != AARCH64_DECODE_OK ? "not emulated"
                     : state.pc != code + 1  ? "pc is not advanced by one instruction"
                                             : nullptr;
    take_memory(result);
}

void run_reference(aarch64_handler reference, uint32_t word, const machine_state &before,
                   outcome &result) {
    result.state.emulated = before.emulated;
    const aarch64_decode_rc rc = reference(&result.state.emulated, word);
    result.trouble = rc == AARCH64_DECODE_OK ? nullptr : "not emulated";
    take_memory(result);
}

// ---- Comparison -----------------------------------------------------------------------------------

bool same(const outcome &a, const outcome &b) {
    const cpu_state &s = a.state.emulated, &t = b.state.emulated;
    return !a.trouble && !b.trouble && equal(s.x, t.x, 32 * 8) && equal(&s.nzcv, &t.nzcv, 16) &&
           equal(s.z, t.z, sizeof s.z + predicate_rows_bytes) && a.memory == b.memory;
}

} // namespace conformance
