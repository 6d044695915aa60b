#include "tests/conformance/trials.h"

#include "sve/core/decode_keys.h"
#include "tests/conformance/known_differences.h"
#include "tests/conformance/report.h"
#include "tests/conformance/translated.h"

#include <algorithm>
#include <fnmatch.h>
#include <unistd.h>
#include <vector>

namespace conformance {

// New code is dear on a processor emulator, so each word runs from several states.
static constexpr uint64_t states_per_word = 8;
static constexpr unsigned printed_mismatches = 10;
// For a batch of words: far longer than they take, but for an instruction that does not return.
static constexpr unsigned patience_seconds = 120;

namespace {

struct drawn_word {
    uint64_t number;
    uint32_t word;
    const known_difference *known;
    random_numbers random; // goes on with the word's states
};

class row_trials {
public:
    row_trials(const tested_row &row, const trial_settings &settings, trial_totals &totals)
        : row_(row), settings_(settings), totals_(totals),
          seed_(seed_of(settings.seed, row.row->name)),
          known_differences_(known_differences_of(row.row->name)) {}

    void run() {
        random_numbers random(seed_of(seed_, "registers"));
        draw_registers(first_registers_, random);
        const uint64_t first = settings_.only_trial.value_or(0);
        const uint64_t last = settings_.only_trial ? first + 1 : settings_.trials;
        const uint64_t last_word = (last + states_per_word - 1) / states_per_word;
        if (row_.uses_memory)
            open_arena(seed_of(seed_, "arena"));
        else
            close_arena();
        for (uint64_t word = first / states_per_word; word < last_word; word += max_loaded_words) {
            alarm(patience_seconds);
            run_batch(word, std::min<uint64_t>(word + max_loaded_words, last_word), first, last);
        }
        alarm(0);
    }

private:
    // Words first_word to last_word - 1, of their trials those from first to last - 1.
    void run_batch(uint64_t first_word, uint64_t last_word, uint64_t first, uint64_t last) {
        std::vector<drawn_word> drawn;
        std::vector<uint32_t> loaded;
        for (uint64_t number = first_word; number < last_word; number++) {
            random_numbers random(seed_of(seed_, number));
            const uint32_t word = draw_word(row_, random);
            const known_difference *known = find_known_difference(word);
            drawn.push_back({number, word, known, random});
            loaded.push_back(known && known->stand_in ? known->stand_in(word) : word);
        }
        load_words(loaded);
        for (size_t i = 0; i < drawn.size(); i++)
            run_states(drawn[i], i, first, last);
    }

    const known_difference *find_known_difference(uint32_t word) const {
        for (const known_difference *difference : known_differences_)
            if (difference->applies(word))
                return difference;
        return nullptr;
    }

    void run_states(drawn_word &drawn, size_t loaded_index, uint64_t first, uint64_t last) {
        running = {row_.row->name, drawn.word, settings_.seed, 0};
        if (settings_.decode && settings_.decode(drawn.word) != row_.row->handler) {
            char text[128];
            snprintf(text, sizeof text, "mismatch: word 0x%08x of %s is decoded as another\n",
                     drawn.word, row_.row->name);
            count_mismatch([&] { return std::string(text); });
        }
        const translated_word translated = {row_.row, drawn.word};
        has_translation_ =
            settings_.translated && row_.row->translate && load_translation({&translated, 1});
        before_ = first_registers_;
        for (uint64_t state = 0; state < states_per_word; state++) {
            // Each state is made from the one before it, so none is left out.
            const trial_input input{row_, drawn.word, before_, drawn.random};
            draw_operands(input);
            if (drawn.known && drawn.known->prepare)
                drawn.known->prepare(drawn.word, before_);
            has_room_ =
                has_translation_ &&
                make_room_for_frame(*row_.row, drawn.word, row_.uses_memory, drawn.random, before_);
            if (settings_.adjust)
                settings_.adjust(input);
            running.trial = drawn.number * states_per_word + state;
            if (running.trial >= first && running.trial < last)
                run_trial(drawn, loaded_index);
        }
    }

    void run_trial(const drawn_word &drawn, size_t loaded_index) {
        totals_.trials++;
        before_.unpack_predicates();
        run_emulator(settings_.emulate, drawn.word, before_, got_);
        if (settings_.hardware) {
            find_expected(drawn, loaded_index);
            compare(drawn, "hardware");
            if (has_room_) {
                totals_.translated++;
                const translated_word translated = {row_.row, drawn.word};
                totals_.left +=
                    run_translation(settings_.emulate, {&translated, 1}, before_, native_);
                compare(drawn, "translated", native_);
            }
        }
        if (settings_.reference && row_.row->reference) {
            run_reference(row_.row->reference, drawn.word, before_, expected_);
            compare(drawn, "reference");
        }
    }

    void find_expected(const drawn_word &drawn, size_t loaded_index) {
        if (!drawn.known || drawn.known->asks_processor()) {
            run_on_processor(loaded_index, before_, expected_);
            if (drawn.known && drawn.known->complete && !expected_.trouble) {
                drawn.known->complete(row_.row->name, drawn.word, before_, expected_.state);
                expected_.state.unpack_predicates();
            }
            return;
        }
        if (drawn.known->model) {
            expected_.state = before_;
            drawn.known->model(row_.row->name, drawn.word, expected_.state);
            expected_.state.unpack_predicates();
            expected_.memory.clear();
        } else { // any result
            expected_ = got_;
        }
        expected_.trouble = nullptr;
    }

    void compare(const drawn_word &drawn, const char *tier) { compare(drawn, tier, got_); }
    void compare(const drawn_word &drawn, const char *tier, const outcome &got) {
        if (!same(expected_, got))
            count_mismatch([&] {
                return describe({row_, drawn.word, settings_.seed, running.trial, tier, drawn.known,
                                 before_.emulated, expected_, got});
            });
    }

    template <class Describe>
    void count_mismatch(Describe description) {
        totals_.mismatches++;
        if (printed_++ < printed_mismatches)
            settings_.print(description());
    }

    const tested_row &row_;
    const trial_settings &settings_;
    trial_totals &totals_;
    const uint64_t seed_;
    const std::vector<const known_difference *> known_differences_;
    unsigned printed_ = 0;
    bool has_translation_ = false, has_room_ = false;
    machine_state first_registers_{}; // of each word
    machine_state before_{};
    outcome expected_{}, got_{}, native_{};
};

} // namespace

std::vector<tested_row> tested_rows(const char *pattern) {
    std::vector<tested_row> rows;
    for (const sve::handler_family &family : sve::handler_families())
        for (const sve::handler_row &row : family.rows)
            for (const sve::decode_map_info &info : sve::decode_map_infos)
                if (info.map == row.map && fnmatch(pattern, row.name, 0) == 0) {
                    const uint32_t value = info.fields.spread(static_cast<int>(row.key));
                    // All loads and stores have the top bit.
                    rows.push_back({&row, info.fields.mask(), value, value >> 31 != 0});
                }
    return rows;
}

void run_row(const tested_row &row, const trial_settings &settings, trial_totals &totals) {
    row_trials(row, settings, totals).run();
}

} // namespace conformance
