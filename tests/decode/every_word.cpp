// Decodes instruction words, every one of the 2^32 if asked for: exactly those that match one published row are
// recognised, each by the handler of its row, and none matches two.
//
//     every_word [--one-in N] [--cascade-one-in N]
//
// A word goes through a fast equivalent of the cascade: the maps' own rows in the cascade's order, of them only
// those that the word's upper bits leave. --cascade-one-in says how many of the words go through the cascade
// itself, is_sve, too. With --one-in only a sample is decoded, spread over all words.

#include "sve/core/decode_keys.h"
#include "sve/core/sve_utils.h"
#include "tests/unit/instruction_rows.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

struct encoding {
    uint32_t mask, value;
    aarch64_handler handler;
    unsigned row; // in instruction_rows(); of published encodings only
};

// Encodings by the upper bits of the words that match them, in the order in which they were added.
class encodings_by_upper_bits {
public:
    void add(const encoding &added) {
        // All values of the upper bits that the mask leaves free.
        const uint32_t free = ~added.mask & upper;
        uint32_t bits = 0;
        do {
            lists_[(added.value | bits) >> shift].push_back(added);
            bits = (bits - free) & free;
        } while (bits);
    }
    const std::vector<encoding> &of(uint32_t word) const { return lists_[word >> shift]; }

private:
    static constexpr unsigned shift = 13;
    static constexpr uint32_t upper = ~0u << shift;
    std::vector<std::vector<encoding>> lists_{size_t{1} << (32 - shift)};
};

uint64_t number(const char *text) {
    char *end;
    const uint64_t value = strtoull(text, &end, 0);
    if (*end || value == 0) {
        fprintf(stderr, "every_word: not a number above 0: %s\n", text);
        exit(2);
    }
    return value;
}

unsigned failures;
void fail(uint32_t word, const char *what) {
    if (failures++ < 20)
        printf("word 0x%08x %s\n", word, what);
}

} // namespace

int main(int argc, char **argv) {
    uint64_t one_in = 1, cascade_one_in = 1000;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view option = argv[i];
        if (i + 1 == argc || (option != "--one-in" && option != "--cascade-one-in")) {
            fprintf(stderr, "usage: every_word [--one-in N] [--cascade-one-in N]\n");
            return 2;
        }
        (option == "--one-in" ? one_in : cascade_one_in) = number(argv[i + 1]);
    }

    // The published rows, each with the handler that the maps have for it.
    encodings_by_upper_bits published;
    std::vector<uint64_t> words_of_row(instruction_rows().size());
    std::vector<bool> has_handler(instruction_rows().size(), true);
    size_t without_handler = 0;
    for (unsigned i = 0; i < instruction_rows().size(); i++) {
        const instruction_row &row = instruction_rows()[i];
        const decode_map &map = *sve::decode_map_infos[row.map].map;
        const auto found = map.find(row.key);
        if (found == map.end()) {
            has_handler[i] = false;
            without_handler++;
            continue;
        }
        published.add({row.mask, row.value, found->second, i});
    }

    // The cascade's rows.
    std::vector<const sve::decode_map_info *> cascade;
    for (const sve::decode_map_info &info : sve::decode_map_infos)
        cascade.push_back(&info);
    std::sort(cascade.begin(), cascade.end(),
              [](const auto *a, const auto *b) { return a->is_sve_position < b->is_sve_position; });
    encodings_by_upper_bits decoded;
    for (const sve::decode_map_info *info : cascade)
        for (const auto &[key, handler] : *info->map)
            decoded.add({info->fields.mask(), info->fields.spread(key), handler, 0});

    uint64_t words = 0, recognised = 0, through_cascade = 0;
    for (uint64_t i = 0; i < uint64_t{1} << 32; i += one_in) {
        // An odd factor visits each word once, and spreads a sample over all of them.
        const uint32_t word = static_cast<uint32_t>(one_in == 1 ? i : i * 0x9e3779b1);
        words++;

        aarch64_handler handler = nullptr;
        for (const encoding &row : decoded.of(word))
            if ((word & row.mask) == row.value) {
                handler = row.handler;
                break;
            }
        unsigned matches = 0;
        for (const encoding &row : published.of(word))
            if ((word & row.mask) == row.value) {
                matches++;
                words_of_row[row.row]++;
                if (row.handler != handler)
                    fail(word, "is decoded as another instruction");
            }
        if (matches > 1)
            fail(word, "matches two rows");
        if (handler && !matches)
            fail(word, "is no instruction, but is decoded as one");
        recognised += handler != nullptr;

        if (words % cascade_one_in == 0) {
            through_cascade++;
            if (is_sve(word) != handler)
                fail(word, "is decoded otherwise by the cascade");
        }
    }

    // All words of a row were met, if all were decoded.
    size_t rows_met = 0;
    for (unsigned i = 0; i < words_of_row.size(); i++) {
        const uint64_t all = uint64_t{1} << std::popcount(~instruction_rows()[i].mask);
        rows_met += words_of_row[i] != 0;
        if (one_in == 1 && has_handler[i] && words_of_row[i] != all) {
            printf("%s: %" PRIu64 " words of %" PRIu64 "\n", instruction_rows()[i].handler.c_str(),
                   words_of_row[i], all);
            failures++;
        }
    }
    printf("every_word: %" PRIu64 " words, %" PRIu64 " recognised as %zu of %zu rows, %" PRIu64
           " through the cascade too, %u failures\n",
           words, recognised, rows_met, instruction_rows().size(), through_cascade, failures);
    if (without_handler)
        printf("every_word: %zu rows have no handler\n", without_handler);
    return failures == 0 && without_handler == 0 && recognised > 0 && through_cascade > 0 ? 0 : 1;
}
