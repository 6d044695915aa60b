#include "tests/conformance/translated.h"

#include "sve/core/bits.h"
#include "sve/native/run.h"
#include "sve/native/thread_state.h"
#include "tests/conformance/memory_forms.h"

#include <asm/hwcap.h>
#include <cstring>
#include <iterator>
#include <string_view>
#include <sys/auxv.h>
#include <sys/mman.h>

struct code_block;
extern "C" void conformance_run(const conformance::machine_state *before,
                                conformance::machine_state *after, const code_block *block);
extern "C" void conformance_run_end();
extern "C" void conformance_left();

namespace conformance {

using sve::native::word_t;

// Code that is written over is dear on a processor emulator, so there is room for more than one piece.
static constexpr unsigned pieces = 32;
struct piece {
    uint64_t x30, end; // literals
    word_t load_x30;
    word_t words[sve::native::run::most_words + 8];
};
static piece *all_pieces, *loaded;

static sve::native::run made;
alignas(16) static sve::native::thread_state thread;
alignas(16) static uint8_t stack[64 << 10];

// ldr x30, literal
static word_t load_x30(const word_t *at, const uint64_t *literal) {
    const auto words = (reinterpret_cast<intptr_t>(literal) - reinterpret_cast<intptr_t>(at)) / 4;
    return 0x58000000 | (static_cast<word_t>(words) & 0x7ffff) << 5 | 30;
}

bool make_room_for_frame(const sve::handler_row &row, uint32_t word, bool uses_memory,
                         random_numbers &random, machine_state &state) {
    constexpr uint64_t frame_bytes = 16;
    uint64_t &sp = state.emulated.sp;
    if (uses_memory && sve::bits(word, 9, 5) == 31) {
        const memory_form form = *memory_form::of(row.name);
        const uint64_t frame = sp - frame_bytes;
        const auto start = reinterpret_cast<uint64_t>(arena().data());
        if (sp % 16 != 0 || frame - start >= arena().size() - frame_bytes)
            return false;
        for (unsigned e = 0; e < form.elements; e++)
            if (form.address(word, state.emulated, e) + form.memory * form.members - frame <
                frame_bytes + form.memory * form.members)
                return false;
        return true;
    }
    sp = reinterpret_cast<uint64_t>(stack) + sizeof stack / 2 + random.below(64) * 16;
    // What makes SP of another register makes it one that has room, too.
    const std::string_view name = row.name;
    const unsigned n = sve::bits(word, 20, 16);
    if (name.ends_with("VLX") || name.ends_with("PLX")) {
        if (sve::bits(word, 4, 0) == 31 && n != 31)
            state.emulated.x[n] = sp;
        return name != "VecS64AddPLX" || sve::bits(word, 4, 0) != 31; // it may be misaligned
    }
    return true;
}

bool load_translation(std::span<const translated_word> words_of_run) {
    if (!all_pieces)
        all_pieces = loaded = static_cast<piece *>(mmap(nullptr, pieces * sizeof(piece),
                                                        PROT_READ | PROT_WRITE | PROT_EXEC,
                                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    loaded = loaded + 1 < all_pieces + pieces ? loaded + 1 : all_pieces;

    const auto state = reinterpret_cast<uint64_t>(&thread);
    word_t load_state[4];
    for (unsigned i = 0; i < 4; i++)
        load_state[i] = (i == 0 ? sve::native::a64::movz : sve::native::a64::movk) | i << 21 |
                        static_cast<word_t>(state >> 16 * i & 0xffff) << 5 | 27;
    const unsigned long hwcap = getauxval(AT_HWCAP);
    const sve::native::run_environment environment = {
        sve_vector_bytes,
        {(hwcap & HWCAP_ASIMDHP) != 0, (hwcap & HWCAP_FCMA) != 0},
        load_state,
        reinterpret_cast<uint64_t>(&conformance_left),
        false};
    sve::native::run_instruction instructions[sve::native::run::most_instructions];
    const auto count = static_cast<unsigned>(words_of_run.size());
    for (unsigned i = 0; i < count; i++)
        instructions[i] = {words_of_run[i].word, words_of_run[i].row->translate, 0};
    if (made.make(environment, 0, {instructions, count}, 0) != count || made.translated() != count)
        return false;

    loaded->end = reinterpret_cast<uint64_t>(&conformance_run_end);
    loaded->load_x30 = load_x30(&loaded->load_x30, &loaded->x30);
    const auto words = made.words();
    memcpy(loaded->words, words.data(), words.size_bytes());
    word_t *tail = loaded->words + words.size();
    loaded->words[made.exit()] =
        0x14000000 | static_cast<word_t>(tail - &loaded->words[made.exit()]);
    tail[0] = 0xd51bd05e; // msr tpidr_el0, x30
    tail[1] = load_x30(&tail[1], &loaded->end);
    tail[2] = 0xd61f03c0; // br x30
    __builtin___clear_cache(reinterpret_cast<char *>(loaded), reinterpret_cast<char *>(tail + 3));
    return true;
}

uint64_t translation_resumes_at(uint64_t pc) {
    if (!loaded)
        return 0;
    const uint64_t word = (pc - reinterpret_cast<uint64_t>(loaded->words)) / sizeof(word_t);
    for (const sve::native::fault_range &range : made.faults())
        if (word >= range.first && word < range.last)
            return reinterpret_cast<uint64_t>(loaded->words + range.resume);
    return 0;
}

// Whether all elements of a size are active in a row of a predicate.
static bool is_full(const uint8_t *row, unsigned size) {
    for (unsigned i = 0; i < sve_vector_bytes; i += 1u << size)
        if (!(row[i] & 1))
            return false;
    return true;
}

// Of some predicates it is known what they are.
static void note_full_predicates(const machine_state &state) {
    for (unsigned n = 0; n < 16; n++) {
        thread.full[n] = 0;
        for (unsigned size = 0; size < 4 && state.emulated.nzcv >> 28 & 1; size++)
            thread.full[n] |= static_cast<uint32_t>(is_full(state.emulated.p[n], size)) << size;
    }
}

static bool is_note_wrong() {
    for (unsigned n = 0; n < 16; n++)
        for (unsigned size = 0; size < 4; size++)
            if (thread.full[n] >> size & 1 && !is_full(thread.registers.p[n], size))
                return true;
    return false;
}

bool run_translation(emulate_function emulate, std::span<const translated_word> words,
                     const machine_state &before, outcome &result) {
    // What is in the processor meanwhile is not in the state.
    thread.registers = before.emulated;
    memset(thread.registers.x, 0xa5, sizeof thread.registers.x);
    for (uint8_t *row : thread.registers.z)
        memset(row, 0xa5, sve_chunk_bytes);
    thread.returns_to = 0;
    memset(thread.spare, 0x5a, sizeof thread.spare);
    note_full_predicates(before);
    loaded->x30 = before.emulated.x[30];

    uint64_t under_sp[2];
    const auto *const frame = reinterpret_cast<const void *>(before.emulated.sp - sizeof under_sp);
    memcpy(under_sp, frame, sizeof under_sp);
    conformance_run(&before, &result.state,
                    reinterpret_cast<const code_block *>(&loaded->load_x30));
    memcpy(const_cast<void *>(frame), under_sp, sizeof under_sp);

    cpu_state &state = result.state.emulated;
    for (unsigned n = 0; n < 32; n++)
        memcpy(state.z[n] + sve_chunk_bytes, thread.registers.z[n] + sve_chunk_bytes,
               sve_vector_bytes - sve_chunk_bytes);
    memcpy(state.p, thread.registers.p, sizeof state.p);
    memcpy(state.ffr, thread.registers.ffr, sizeof state.ffr);
    state.fpcr_or = before.emulated.fpcr_or;
    if (!thread.returns_to) {
        result.trouble = is_note_wrong() ? "a predicate is taken for all true, and isn't" : nullptr;
        take_memory(result);
        return false;
    }
    // The run is at address 0.
    sve::native::hand_over_record record;
    memcpy(&record, reinterpret_cast<const void *>(thread.returns_to), sizeof record);
    for (const translated_word &word : words.subspan(record.pc[0] / sizeof(word_t))) {
        const machine_state next = result.state;
        run_emulator(emulate, word.word, next, result);
    }
    return true;
}

} // namespace conformance
