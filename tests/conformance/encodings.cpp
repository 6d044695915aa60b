#include "tests/conformance/encodings.h"

#include "sve/core/sve_utils.h"
#include "tests/conformance/generate.h"
#include "tests/conformance/known_differences.h"
#include "tests/conformance/outcome.h"
#include "tests/conformance/trials.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <unistd.h>

namespace conformance {

using sve::bits;

// The name of the row that the word is of, or null.
static const char *find_handler(const std::vector<tested_row> &rows, uint32_t word) {
    const auto row = std::find_if(rows.begin(), rows.end(), [word](const tested_row &candidate) {
        return (word & candidate.mask) == candidate.value;
    });
    return row == rows.end() ? nullptr : row->row->name;
}

static bool is_known(const char *handler, uint32_t word) {
    const auto differences = known_differences_of(handler);
    return std::any_of(differences.begin(), differences.end(),
                       [word](const known_difference *d) { return d->applies(word); });
}

bool check_encodings(uint64_t words, uint64_t seed) {
    constexpr unsigned patience_seconds = 120;
    const std::vector<tested_row> rows = tested_rows("*");
    uint64_t both = 0, neither = 0, known = 0, wrong = 0, missing = 0;
    std::map<uint32_t, uint64_t> missing_groups;
    random_numbers random(seed);
    machine_state before{}, after{};
    draw_registers(before, random);
    close_arena(); // an access faults, and so is no refusal
    std::vector<uint32_t> batch;
    for (uint64_t done = 0; done < words; done += batch.size()) {
        batch.clear();
        while (batch.size() < std::min<uint64_t>(max_loaded_words, words - done))
            batch.push_back((static_cast<uint32_t>(random.next()) & ~(15u << 25)) | 2u << 25);
        alarm(patience_seconds);
        load_words(batch);
        for (size_t i = 0; i < batch.size(); i++) {
            const uint32_t word = batch[i];
            running = {"--encodings", word, seed, done + i};
            const bool refused = run_word(i, before, after) == SIGILL;
            const bool recognised = is_sve(word) != nullptr;
            if (refused && recognised) {
                const char *handler = find_handler(rows, word);
                if (handler && is_known(handler, word)) {
                    known++;
                } else if (wrong++ < 10) {
                    printf("mismatch: the processor refuses 0x%08x, which is recognised as %s\n",
                           word, handler ? handler : "no row");
                }
            } else if (recognised) {
                both++;
            } else if (refused) {
                neither++;
            } else {
                missing++;
                missing_groups[bits(word, 31, 24) << 3 | bits(word, 21, 21) << 2 |
                               bits(word, 15, 14)]++;
            }
        }
    }
    alarm(0);
    printf(
        "conformance: %lu words: %lu recognised, %lu refused, %lu refused by the processor only as "
        "known, %lu recognised by the processor only, %lu mismatches, seed 0x%lx\n",
        words, both, neither, known, missing, wrong, seed);
    for (const auto &[group, count] : missing_groups)
        printf("  only the processor: bits 31:24 = 0x%02x, bit 21 = %u, bits 15:14 = %u: %lu\n",
               group >> 3, group >> 2 & 1, group & 3, count);
    return wrong == 0 && both > 0 && neither > 0;
}

} // namespace conformance
