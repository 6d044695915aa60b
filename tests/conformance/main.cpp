// Holds the emulator against an SVE processor and its two tiers against each other, over random words and
// states of every instruction row. See usage() for the options.

#include "tests/conformance/encodings.h"
#include "tests/conformance/native_writes.h"
#include "tests/conformance/runs.h"
#include "tests/conformance/self_check.h"
#include "tests/conformance/trials.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

using namespace conformance;

namespace {

constexpr int bad_input = 2;
constexpr int cannot_run_here = 77; // the test is skipped then

constexpr char usage[] =
    "usage: conformance [--rows PATTERN] [--trials N] [--seed S] [--trial INDEX] [--shard I/N]\n"
    "                   [--tier hardware|reference|translated|both|all] [--list]\n"
    "                   [--self-check]\n"
    "                   [--encodings WORDS] [--native-writes WORDS] [--runs N]\n";

struct options {
    trial_settings settings;
    const char *rows = "*";
    uint64_t shard = 1, shards = 1;
    bool list = false;
    bool self_check = false;
    uint64_t encodings = 0;     // random words to ask the processor for, instead of trials
    uint64_t native_writes = 0; // or to compare the table of native writes with
    uint64_t runs = 0;          // or of translated code to compare with the emulator
};

[[noreturn]] void refuse(const char *what, const char *argument) {
    fprintf(stderr, "conformance: %s: %s\n", what, argument);
    exit(bad_input);
}

uint64_t number(const char *text, char **end = nullptr) {
    char *own_end;
    errno = 0;
    const uint64_t value = strtoull(text, &own_end, 0);
    if (errno || own_end == text || *text == '-' || (!end && *own_end))
        refuse("not a number", text);
    if (end)
        *end = own_end;
    return value;
}

options parse(int argc, char **argv) {
    options options;
    trial_settings &settings = options.settings;
    settings.print = [](const std::string &text) { fputs(text.c_str(), stdout); };
    for (int i = 1; i < argc; i++) {
        const std::string_view option = argv[i];
        const auto argument = [&]() -> const char * {
            if (++i == argc)
                refuse("the option needs an argument", argv[i - 1]);
            return argv[i];
        };
        if (option == "--rows") {
            options.rows = argument();
        } else if (option == "--trials") {
            settings.trials = number(argument());
        } else if (option == "--seed") {
            settings.seed = number(argument());
        } else if (option == "--trial") {
            settings.only_trial = number(argument());
        } else if (option == "--shard") {
            char *rest;
            const char *text = argument();
            options.shard = number(text, &rest);
            options.shards = *rest == '/' ? number(rest + 1) : 0;
            if (options.shard < 1 || options.shard > options.shards)
                refuse("not a shard", text);
        } else if (option == "--tier") {
            const std::string_view tier = argument();
            const bool is_all = tier == "all";
            settings.translated = tier == "translated" || is_all;
            settings.hardware = tier == "hardware" || tier == "both" || settings.translated;
            settings.reference = tier == "reference" || tier == "both" || is_all;
            if (!settings.hardware && !settings.reference)
                refuse("not a tier", argv[i]);
        } else if (option == "--list") {
            options.list = true;
        } else if (option == "--encodings") {
            options.encodings = number(argument());
        } else if (option == "--native-writes") {
            options.native_writes = number(argument());
        } else if (option == "--runs") {
            options.runs = number(argument());
        } else if (option == "--self-check") {
            options.self_check = true;
        } else if (option == "--help") {
            fputs(usage, stdout);
            exit(0);
        } else {
            refuse("unknown option", argv[i]);
        }
    }
    return options;
}

} // namespace

int main(int argc, char **argv) {
    const options options = parse(argc, argv);
    const trial_settings &settings = options.settings;
    const std::vector<tested_row> rows = tested_rows(options.rows);
    if (rows.empty())
        refuse("no row matches", options.rows);
    if (options.list) {
        for (const tested_row &row : rows)
            printf("%-24s mask %08x value %08x%s%s\n", row.row->name, row.mask, row.value,
                   row.row->reference ? ", both tiers" : "", row.row->translate ? ", translated" : "");
        return 0;
    }
    if (const char *obstacle = open_processor(options.encodings != 0)) {
        fprintf(stderr, "conformance: %s\n", obstacle);
        return cannot_run_here;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0); // a crash loses no report
    if (options.self_check)
        return self_check();

    if (options.encodings)
        return check_encodings(options.encodings, settings.seed) ? 0 : 1;
    if (options.runs)
        return check_runs(options.rows, options.runs, settings.seed) ? 0 : 1;
    if (options.native_writes)
        return check_native_writes(options.native_writes, settings.seed) ? 0 : 1;

    trial_totals totals;
    uint64_t tested = 0;
    const std::clock_t start = std::clock();
    for (size_t i = 0; i < rows.size(); i++)
        if (i % options.shards == options.shard - 1) {
            run_row(rows[i], settings, totals);
            tested++;
        }
    const double microseconds = static_cast<double>(std::clock() - start) * 1e6 / CLOCKS_PER_SEC;
    printf(
        "conformance: %lu rows, %lu trials, %lu translated, %lu left, %lu mismatches, seed 0x%lx, "
        "%.2f µs/trial\n",
        tested, totals.trials, totals.translated, totals.left, totals.mismatches, settings.seed,
        totals.trials ? microseconds / static_cast<double>(totals.trials) : 0);
    return totals.mismatches == 0 && totals.trials > 0 ? 0 : 1;
}
