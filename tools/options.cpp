// The command line, and the options in the environment.
#include "tools/options.h"

#include "tools/installation.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <utility>

namespace sverun {
namespace {

constexpr const char *variable = "SVERUN_OPTIONS";

const std::string help_text =
    "Usage: sverun [options] [--] program [arguments]\n"
    "\n"
    "Runs an AArch64 Linux program that uses SVE on a processor without SVE. The\n"
    "program must be dynamically linked.\n"
    "\n"
    "  --vl BITS          run it with vectors of so many bits (default: " +
    std::to_string(default_vector_bits) +
    "); --version\n"
    "                     tells which lengths are installed\n"
    "  --stats[=FILE]     write the totals to FILE instead of standard error\n"
    "  --stats-format=text|json\n"
    "                     form of the totals (default: text); json needs a FILE\n"
    "  --no-stats         count nothing, and print no totals: faster\n"
    "  --libraries        emulate SVE in the program's shared libraries, too, but not in\n"
    "                     those of the C library\n"
    "  --keep-upper       let native writes of vector registers keep the upper bytes of Z\n"
    "                     registers, which a processor clears: only for comparison\n"
    "  --client FILE      load this client library instead of an installed one\n"
    "  --client-arg WORD  hand WORD to the client library; may be given several times\n"
    "  --rewrite-after N  rewrite a block of instructions at its N-th trap, 1 to 255\n"
    "                     (default: 8, under a processor emulator 32)\n"
    "  --trap-every-time  let every SVE instruction trap each time it runs, and rewrite\n"
    "                     none: slow, for comparison and for finding faults\n"
    "  --no-translate     let the emulator run each rewritten instruction, and translate none\n"
    "                     into native code: slower, for comparison and for finding faults\n"
    "  --report           tell at the end how often it trapped, what share ran translated,\n"
    "                     and about signals\n"
    "  --profile[=FILE]   tell at the end how often each SVE instruction was executed, on\n"
    "                     standard error or in FILE; - is standard output\n"
    "  --profile-format=text|json|html\n"
    "                     form of the profile (default: text); the others need a FILE\n"
    "  -h, --help         show this text\n"
    "  --version          show the version and the vector lengths\n"
    "\n"
    "On a machine that is not AArch64; elsewhere these have no effect:\n"
    "\n"
    "  --emulator FILE    processor emulator to run the program on (default: qemu-aarch64)\n"
    "  --cpu NAME         processor that it emulates (default: neoverse-n1)\n"
    "  --sysroot DIR      root of the AArch64 libraries (default: QEMU_LD_PREFIX from the\n"
    "                     environment, else /usr/aarch64-linux-gnu)\n"
    "\n"
    "Options in the environment variable SVERUN_OPTIONS come first, and give way to those\n"
    "of the command line.\n"
    "\n"
    "The exit status is that of the program. It is 2 if the command line is wrong, 126\n"
    "if the program can't be run, and 127 if it, or something it needs, is not found.\n";

[[noreturn]] void show_and_exit(const std::string &text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw refusal(status_cannot_run, std::string("standard output: ") + std::strerror(errno));
    std::exit(0);
}

std::string version_text() {
    return "sverun " SVERUN_VERSION " (" + std::to_string(default_vector_bits) +
           "-bit vectors; installed lengths: " + text_of(installed_lengths(true)) + ")\n";
}

// What is wrong with the words; where they stand is told by who catches it.
struct option_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- Words to options ---------------------------------------------------------------------------

enum option_code {
    help = 256,
    version,
    client,
    client_arg,
    vl,
    stats,
    stats_format,
    no_stats,
    libraries,
    keep_upper,
    rewrite_after,
    trap_every_time,
    no_translate,
    report,
    profile,
    profile_format,
    emulator,
    cpu,
    sysroot
};

constexpr option known_options[] = {
    {"help", no_argument, nullptr, help},
    {"version", no_argument, nullptr, version},
    {"client", required_argument, nullptr, client},
    {"client-arg", required_argument, nullptr, client_arg},
    {"vl", required_argument, nullptr, vl},
    {"stats", optional_argument, nullptr, stats},
    {"stats-format", required_argument, nullptr, stats_format},
    {"no-stats", no_argument, nullptr, no_stats},
    {"libraries", no_argument, nullptr, libraries},
    {"keep-upper", no_argument, nullptr, keep_upper},
    {"rewrite-after", required_argument, nullptr, rewrite_after},
    {"trap-every-time", no_argument, nullptr, trap_every_time},
    {"no-translate", no_argument, nullptr, no_translate},
    {"report", no_argument, nullptr, report},
    {"profile", optional_argument, nullptr, profile},
    {"profile-format", required_argument, nullptr, profile_format},
    {"emulator", required_argument, nullptr, emulator},
    {"cpu", required_argument, nullptr, cpu},
    {"sysroot", required_argument, nullptr, sysroot},
    {},
};

struct given_option {
    int code;
    std::optional<std::string> value;
    int word; // its place among the words
};

// The options among the words. `argv` has a name and the words, of which the first one that is no option ends them;
// `end` gets its place.
std::vector<given_option> find_options(int argc, char **argv, int &end) {
    std::vector<given_option> found;
    opterr = 0; // the messages are ours
    optind = 0; // from the start
    // "+": the first word that is not an option is the program. ":": tell a missing value apart.
    for (int code; (code = getopt_long(argc, argv, "+:h", known_options, nullptr)) != -1;) {
        switch (code) {
        case 'h':
            code = help;
            break;
        case ':':
            throw option_error(std::string(argv[optind - 1]) + " needs a value");
        case '?':
            // optopt is a long option's code if that option takes no value and was given one, and
            // the character of an option that is a single one.
            if (optopt >= help)
                throw option_error(std::string(argv[optind - 1]) + ": this option takes no value");
            throw option_error("unknown option " + (optopt != 0 ? std::string{'-', char(optopt)}
                                                                : std::string(argv[optind - 1])));
        }
        found.push_back(
            {code, optarg ? std::optional<std::string>(optarg) : std::nullopt, optind - 1});
    }
    end = optind;
    return found;
}

// The words of a text, parted and quoted as a shell does it.
std::vector<std::string> split_words(const std::string &text) {
    std::vector<std::string> words;
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (!quote && std::isspace(static_cast<unsigned char>(c))) {
            in_word = false;
            continue;
        }
        if (!in_word)
            words.emplace_back();
        in_word = true;
        if (quote ? c == quote : c == '\'' || c == '"') {
            quote = quote ? 0 : c;
        } else if (c == '\\' && quote != '\'') {
            if (++i == text.size())
                throw option_error("a backslash with nothing behind it");
            if (quote && !std::strchr("\"\\$`", text[i]))
                words.back() += c; // within double quotes it is a character like others
            words.back() += text[i];
        } else {
            words.back() += c;
        }
    }
    if (quote)
        throw option_error(std::string("a quote is not closed: ") + quote);
    return words;
}

std::vector<given_option> find_environment_options(const char *text) {
    std::vector<std::string> words = split_words(text);
    std::vector<char *> argv = {const_cast<char *>(variable)};
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const int argc = static_cast<int>(argv.size()) - 1;
    int end;
    const std::vector<given_option> found = find_options(argc, argv.data(), end);
    if (end < argc)
        throw option_error("'" + std::string(argv[end]) + "' is no option");
    return found;
}

// Takes out of the environment's options those that the command line contradicts.
void give_way(std::vector<given_option> &environment,
              const std::vector<given_option> &command_line) {
    static constexpr std::pair<option_code, option_code> contradictions[] = {
        {client, vl},
        {client, no_stats},
        {no_stats, stats},
        {no_stats, stats_format},
        {no_stats, profile},
        {no_stats, profile_format},
        {rewrite_after, trap_every_time},
    };
    for (const given_option &stronger : command_line)
        std::erase_if(environment, [&](const given_option &weaker) {
            return std::ranges::any_of(contradictions, [&](const auto &pair) {
                return (pair.first == stronger.code && pair.second == weaker.code) ||
                       (pair.second == stronger.code && pair.first == weaker.code);
            });
        });
}

// ---- Options to what they ask for ---------------------------------------------------------------

unsigned length_of(const std::string &text) {
    unsigned bits = 0;
    std::from_chars(text.data(), text.data() + text.size(), bits);
    if (text != std::to_string(bits) || bits < 128 || bits > 2048 || bits % 128 != 0)
        throw option_error("--vl=" + text +
                           ": a vector length is a multiple of 128 from 128 to 2048");
    return bits;
}

unsigned number_of_traps(const std::string &text) {
    constexpr unsigned most = 255; // that are counted
    unsigned traps = 0;
    std::from_chars(text.data(), text.data() + text.size(), traps);
    if (text != std::to_string(traps) || traps < 1 || traps > most)
        throw option_error("--rewrite-after=" + text + ": give a number of traps from 1 to " +
                           std::to_string(most));
    return traps;
}

std::string file_of(const char *name, const given_option &option) {
    if (option.value && option.value->empty())
        throw option_error(std::string(name) + "= needs the name of a file");
    return option.value.value_or("");
}

struct formats {
    std::optional<std::string> profile, stats;
};

void apply(const given_option &option, request &request, formats &formats) {
    const std::string value = option.value.value_or("");
    switch (option.code) {
    case client:
        request.client = value;
        break;
    case client_arg:
        if (value.find('\n') != std::string::npos)
            throw option_error("a word for the client library can't have a line break");
        request.client_args += value + '\n';
        break;
    case vl:
        request.vector_bits = length_of(value);
        break;
    case stats:
        request.totals = totals_request{file_of("--stats", option)};
        if (value == "-")
            throw option_error("--stats=-: standard output is the program's, which may not have "
                               "written all of its own "
                               "when the totals come; give the name of a file");
        break;
    case stats_format:
        if (value != "text" && value != "json")
            throw option_error("--stats-format is text or json, not '" + value + "'");
        formats.stats = value;
        break;
    case no_stats:
        request.statistics = false;
        break;
    case libraries:
        request.libraries = true;
        break;
    case keep_upper:
        request.keep_upper = true;
        break;
    case rewrite_after:
        request.rewrite_after = number_of_traps(value);
        break;
    case trap_every_time:
        request.rewrite_after = 0;
        break;
    case no_translate:
        request.translate = false;
        break;
    case report:
        request.report = true;
        break;
    case profile:
        request.profile = profile_request{file_of("--profile", option), ""};
        break;
    case profile_format:
        if (value != "text" && value != "json" && value != "html")
            throw option_error("--profile-format is text, json or html, not '" + value + "'");
        formats.profile = value;
        break;
    case emulator:
        request.emulator = value;
        break;
    case cpu:
        request.cpu = value;
        break;
    case sysroot:
        request.sysroot = value;
        break;
    }
}

// What doesn't go together.
void check(request &request, const formats &formats) {
    if (formats.profile) {
        if (!request.profile)
            throw option_error("--profile-format needs --profile");
        if (*formats.profile != "text" && request.profile->file.empty())
            throw option_error("--profile-format=" + *formats.profile + " needs --profile=FILE");
        request.profile->format = *formats.profile;
    }
    if (formats.stats) {
        if (!request.totals)
            throw option_error("--stats-format needs --stats");
        request.totals->as_json = *formats.stats == "json";
        if (request.totals->as_json && request.totals->file.empty())
            throw option_error("--stats-format=json needs --stats=FILE");
    }
    if (request.totals && request.profile && !request.totals->file.empty() &&
        request.totals->file == request.profile->file)
        throw option_error("--stats and --profile need different files");
    if (request.client && (request.vector_bits || !request.statistics))
        throw option_error(
            "--client names the client library itself; leave out --vl and --no-stats");
    if (request.profile && !request.statistics)
        throw option_error("--profile needs what --no-stats leaves out");
    if (request.totals && !request.statistics)
        throw option_error("--stats needs what --no-stats leaves out");
}

// If the word before the program is an option that may have a file: how to write it.
std::string advice_on_file(const std::vector<given_option> &options, int end, const char *word) {
    if (options.empty() || options.back().word != end - 1 || options.back().value)
        return "";
    const int code = options.back().code;
    if (code == profile)
        return std::string("; for a profile's file, write --profile=") + word;
    if (code == stats)
        return std::string("; for the totals' file, write --stats=") + word;
    return "";
}

} // namespace

refusal usage_error(const std::string &what) {
    return {status_usage, what + "; try 'sverun --help'"};
}

request read_options(int argc, char **argv) {
    const char *environment = std::getenv(variable);
    const char *prefix = std::getenv("QEMU_LD_PREFIX");
    request request;
    request.sysroot = prefix && *prefix ? prefix : "/usr/aarch64-linux-gnu";
    formats formats;
    std::string where; // of an error
    try {
        int end;
        const std::vector<given_option> given = find_options(argc, argv, end);
        for (const given_option &option : given)
            if (option.code == help || option.code == version)
                show_and_exit(option.code == help ? help_text : version_text());

        if (environment) {
            where = std::string(variable) + ": ";
            std::vector<given_option> weaker = find_environment_options(environment);
            for (const given_option &option : weaker)
                if (option.code == help || option.code == version)
                    throw option_error("--help and --version belong on the command line");
            give_way(weaker, given);
            for (const given_option &option : weaker)
                apply(option, request, formats);
            where.clear();
        }
        for (const given_option &option : given)
            apply(option, request, formats);
        if (environment && *environment)
            where = std::string("with the options of ") + variable + ": ";
        check(request, formats);
        where.clear();
        if (end >= argc)
            throw option_error("no program given");
        request.command.assign(argv + end, argv + argc);
        request.advice = advice_on_file(given, end, argv[end]);
    } catch (const option_error &error) {
        throw usage_error(where + error.what());
    }
    return request;
}

} // namespace sverun
