// Holds the floating-point library against independent arithmetic. See usage for the options.

#include "tests/fplib/values.h"

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fnmatch.h>
#include <optional>
#include <string>
#include <string_view>

using namespace fp_comparison;

namespace {

constexpr int bad_input = 2;
constexpr int nothing_to_compare = 77; // the test is skipped then

constexpr char usage[] =
    "usage: fplib_comparison [OPTION]... [PATTERN]...\n"
    "Compares operations of the floating-point library, those whose names match a pattern or all.\n"
    "  --cases N         random cases of each operation (default 100000)\n"
    "  --every-value     instead, all values of all operands of operations with up to 32 bits of "
    "them:\n"
    "                    up to 20 bits with all 64 control words, else with one drawn for each "
    "case\n"
    "  --max-bits N      with --every-value: leaves operations with more bits out (default 20)\n"
    "  --grid N          instead, N by N values for operations of two halves\n"
    "  --control WORD    one control word for all\n"
    "  --light           with --every-value: of AHP and FZ only what is drawn for each case\n"
    "  --shard I/N       only the I-th of N parts of what --every-value does\n"
    "  --seed S          default 1\n"
    "  --show N          mismatches printed of each operation (default 5)\n"
    "  --list, --quiet\n";

struct options {
    uint64_t cases = 100'000, seed = 1, show = 5, max_bits = 20, shard = 1, shards = 1;
    unsigned grid = 0;
    bool every_value = false, light = false, list = false, quiet = false;
    std::optional<uint32_t> control;
    std::vector<const char *> patterns;
};

[[noreturn]] void refuse(const char *what, const char *argument) {
    fprintf(stderr, "fplib_comparison: %s: %s\n", what, argument);
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
    for (int i = 1; i < argc; i++) {
        const std::string_view option = argv[i];
        const auto argument = [&]() -> const char * {
            if (++i == argc)
                refuse("the option needs an argument", argv[i - 1]);
            return argv[i];
        };
        if (option == "--cases") {
            options.cases = number(argument());
        } else if (option == "--every-value") {
            options.every_value = true;
        } else if (option == "--max-bits") {
            options.max_bits = number(argument());
        } else if (option == "--grid") {
            options.grid = static_cast<unsigned>(number(argument()));
        } else if (option == "--control") {
            options.control = static_cast<uint32_t>(number(argument()));
        } else if (option == "--light") {
            options.light = true;
        } else if (option == "--shard") {
            char *rest;
            const char *text = argument();
            options.shard = number(text, &rest);
            options.shards = *rest == '/' ? number(rest + 1) : 0;
            if (options.shard < 1 || options.shard > options.shards)
                refuse("not a shard", text);
        } else if (option == "--seed") {
            options.seed = number(argument());
        } else if (option == "--show") {
            options.show = number(argument());
        } else if (option == "--list") {
            options.list = true;
        } else if (option == "--quiet") {
            options.quiet = true;
        } else if (option == "--help") {
            fputs(usage, stdout);
            exit(0);
        } else if (option.starts_with("-")) {
            refuse("unknown option", argv[i]);
        } else {
            options.patterns.push_back(argv[i]);
        }
    }
    return options;
}

std::string describe(uint32_t word) {
    static constexpr struct {
        uint32_t bit;
        const char *name;
    } names[] = {
        {FPSCR::FZ, " FZ"},   {FPSCR::DN, " DN"},   {FPSCR::FZ16, " FZ16"}, {FPSCR::AHP, " AHP"},
        {FPSCR::IOC, " IOC"}, {FPSCR::DZC, " DZC"}, {FPSCR::OFC, " OFC"},   {FPSCR::UFC, " UFC"},
        {FPSCR::IXC, " IXC"}, {FPSCR::IDC, " IDC"},
    };
    static constexpr const char *modes[] = {"RN", "RP", "RM", "RZ"};
    std::string text = modes[rounding_of(word)];
    for (const auto &name : names)
        if (word & name.bit)
            text += name.name;
    return text;
}

// The comparison of one operation.
class comparison {
public:
    comparison(const operation &tested, const options &options)
        : tested_(tested), options_(options),
          random_(conformance::seed_of(options.seed, tested.name)) {}

    uint64_t cases = 0, mismatches = 0;

    random_numbers &random() { return random_; }
    uint32_t control() { return options_.control ? *options_.control : draw_control(random_); }

    void compare(const operands &x, uint32_t word) {
        cases++;
        const outcome mine = tested_.library(x, word);
        if (!tested_.reference)
            return;
        const outcome theirs = tested_.reference(x, word);
        if (mine == theirs) [[likely]]
            return;
        if (mismatches++ >= options_.show)
            return;
        printf("%s (0x%lx, 0x%lx, 0x%lx) word 0x%08x %s\n", tested_.name, x.a, x.b, x.c, word,
               describe(word).c_str());
        printf("    library   0x%lx word 0x%08x %s\n", mine.result, mine.word,
               describe(mine.word).c_str());
        printf("    reference 0x%lx word 0x%08x %s\n", theirs.result, theirs.word,
               describe(theirs.word).c_str());
    }

private:
    const operation &tested_;
    const options &options_;
    random_numbers random_;
};

// Bits of all operands together; more than 64 for wide ones.
unsigned operand_bits(const operation &tested) {
    unsigned bits = 0;
    for (const char *kind = tested.operands; *kind; kind++)
        bits += values_of_kind(*kind) ? std::bit_width(values_of_kind(*kind) - 1) : 64;
    return bits;
}

bool is_chosen(const operation &tested, const options &options) {
    if (options.grid && strcmp(tested.operands, "hh") != 0)
        return false;
    if (options.every_value && operand_bits(tested) > options.max_bits)
        return false;
    for (const char *pattern : options.patterns)
        if (fnmatch(pattern, tested.name, 0) == 0)
            return true;
    return options.patterns.empty();
}

void compare_every_value(comparison &run, const operation &tested, const options &options) {
    uint64_t count = 1;
    for (const char *kind = tested.operands; *kind; kind++)
        count *= values_of_kind(*kind);
    const uint64_t first = count / options.shards * (options.shard - 1);
    const uint64_t end = options.shard == options.shards ? count : first + count / options.shards;
    const auto all = [&](auto control_of_case) {
        for (uint64_t i = first; i < end; i++) {
            operands x;
            uint64_t *each[] = {&x.a, &x.b, &x.c}, rest = i;
            for (unsigned j = 0; tested.operands[j]; j++) {
                *each[j] = rest % values_of_kind(tested.operands[j]);
                rest /= values_of_kind(tested.operands[j]);
            }
            run.compare(restrict(tested.operands, x), control_of_case());
        }
    };
    if (options.control || operand_bits(tested) > 20)
        return all([&] { return run.control(); });
    const uint32_t drawn = options.light ? FPSCR::AHP | FPSCR::FZ : 0;
    const uint32_t walked = control_bits & ~drawn;
    uint32_t word = 0;
    do { // all subsets
        all([&] {
            return word | (static_cast<uint32_t>(drawn ? run.random().next() : 0) & drawn);
        });
        word = (word - walked) & walked;
    } while (word);
}

void compare_all(comparison &run, const operation &tested, const options &options) {
    if (options.every_value)
        return compare_every_value(run, tested, options);
    if (options.grid) {
        const std::vector<h> values = dense_halves(options.grid, run.random());
        for (const h a : values)
            for (const h b : values)
                run.compare({a, b}, run.control());
        return;
    }
    for (uint64_t i = 0; i < options.cases; i++) {
        const operands x = draw_operands(tested.operands, run.random());
        run.compare(x, run.control());
    }
}

} // namespace

int main(int argc, char **argv) {
    const options options = parse(argc, argv);
    const std::vector<operation> all = operations();
    if (all.empty())
        return nothing_to_compare;
    uint64_t compared = 0, cases = 0, mismatches = 0;
    setvbuf(stdout, nullptr, _IOLBF, 0); // a crash loses no report
    const std::clock_t start = std::clock();
    for (const operation &tested : all) {
        if (!is_chosen(tested, options))
            continue;
        compared++;
        if (options.list) {
            printf("%-28s %-4s%s\n", tested.name, tested.operands,
                   tested.reference ? "" : " only run");
            continue;
        }
        comparison run(tested, options);
        compare_all(run, tested, options);
        if (!options.quiet || run.mismatches)
            printf("%-28s %12lu cases %12lu mismatches\n", tested.name, run.cases, run.mismatches);
        cases += run.cases;
        mismatches += run.mismatches;
    }
    if (compared == 0)
        refuse("no operation for these options and patterns",
               options.patterns.empty() ? "*" : options.patterns.front());
    if (options.list)
        return 0;
    printf("fplib_comparison: %lu operations, %lu cases, %lu mismatches, seed %lu, %.1f s\n",
           compared, cases, mismatches, options.seed,
           static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    return mismatches == 0 && cases > 0 ? 0 : 1;
}
