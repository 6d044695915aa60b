#include "tests/conformance/runs.h"

#include "sve/core/sve_utils.h"
#include "tests/conformance/known_differences.h"
#include "tests/conformance/translated.h"
#include "tests/conformance/trials.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace conformance {

namespace {

constexpr unsigned longest = 8, states_per_run = 4, printed = 10;

// Registers of few numbers, so that instructions use each other's results.
uint32_t with_few_registers(const tested_row &row, uint32_t word) {
    for (const register_field &field : register_fields) {
        const unsigned number = sve::bits(word, field.high, field.low);
        if (field.is_in(row) && number != 31)
            word &= ~((number & ~3u) << field.low);
    }
    return word;
}

bool writes_sp(const tested_row &row, uint32_t word) {
    const std::string_view name = row.row->name;
    return (name.ends_with("VLX") || name.ends_with("PLX")) && sve::bits(word, 4, 0) == 31;
}

bool is_plain(const tested_row &row, uint32_t word) {
    const auto differences = known_differences_of(row.row->name);
    return !writes_sp(row, word) &&
           std::none_of(differences.begin(), differences.end(),
                        [word](const known_difference *d) { return d->applies(word); });
}

} // namespace

bool check_runs(const char *pattern, uint64_t runs, uint64_t seed) {
    constexpr unsigned patience_seconds = 120;
    std::vector<tested_row> rows = tested_rows(pattern);
    std::erase_if(rows,
                  [](const tested_row &row) { return !row.row->translate || row.uses_memory; });
    if (rows.empty())
        return false;
    close_arena();
    random_numbers random(seed);
    machine_state before{};
    outcome expected{}, got{};
    uint64_t compared = 0, left = 0, mismatches = 0;
    for (uint64_t number = 0; number < runs; number++) {
        alarm(patience_seconds);
        std::vector<translated_word> words;
        const unsigned count = 2 + random.below(longest - 1);
        while (words.size() < count) {
            const tested_row &row = rows[random.below(static_cast<unsigned>(rows.size()))];
            const uint32_t word = with_few_registers(row, draw_word(row, random));
            if (is_plain(row, word))
                words.push_back({row.row, word});
        }
        running = {"a run, ending with", words.back().word, seed, number};
        if (!load_translation(words))
            continue; // one instruction has none for its word
        for (unsigned state = 0; state < states_per_run; state++) {
            draw_registers(before, random);
            make_room_for_frame(*words[0].row, 0, false, random, before);
            if (random.one_in(2)) // the fast version
                for (auto &p : before.p)
                    std::fill(std::begin(p), std::end(p), uint8_t{0xff});
            before.unpack_predicates();
            expected.state = before;
            for (const translated_word &word : words) {
                const machine_state next = expected.state;
                run_emulator(execute_sve_instruction, word.word, next, expected);
            }
            left += run_translation(execute_sve_instruction, words, before, got);
            compared++;
            if (same(expected, got))
                continue;
            if (mismatches++ >= printed)
                continue;
            printf("mismatch: run %lu of seed 0x%lx, of the words", number, seed);
            for (const translated_word &word : words)
                printf(" 0x%08x %s,", word.word, word.row->name);
            printf(" differs from the emulator\n");
        }
    }
    alarm(0);
    printf("conformance: %lu rows, %lu runs compared, %lu left to the emulator, %lu mismatches, "
           "seed 0x%lx\n",
           rows.size(), compared, left, mismatches, seed);
    return mismatches == 0 && compared > 0;
}

} // namespace conformance
