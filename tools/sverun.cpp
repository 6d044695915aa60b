// sverun: runs an AArch64 Linux program that uses SVE on a machine whose processor has no SVE, by
// preloading the platform library into it. It checks everything first and then becomes the program
// (or the processor emulator that runs it), so that the program has its standard streams, its
// arguments, its place in the process tree and its way of ending for its own. Only for a profile does
// it stay, as the program's parent.
#include "tools/profile_run.h"
#include "tools/program_file.h"
#include "tools/refusal.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <getopt.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace sverun {
namespace {

#if defined(__aarch64__)
constexpr bool on_aarch64 = true;
#else
constexpr bool on_aarch64 = false;
#endif
constexpr unsigned long hwcap_sve = 1UL << 22; // in AT_HWCAP of AArch64

const std::string default_vector_bits = std::to_string(SVE_VECTOR_BITS);

// What the command line asks for.
struct request {
    std::optional<std::string> client; // in place of a client library installed with sverun
    std::optional<std::string> vector_bits;
    bool statistics = true;
    bool libraries = false;
    bool keep_upper = false;
    std::string client_args; // words for the client library, each ended by a newline
    bool trap_every_time = false;
    bool report = false;
    std::optional<profile_request> profile;
    std::string emulator = "qemu-aarch64";
    std::string cpu = "neoverse-n1"; // no SVE, and all that compilers take for granted beside it
    std::string sysroot;
    std::vector<std::string> command; // the program as the user names it, and its arguments
};

const std::string help_text =
    "Usage: sverun [options] [--] program [arguments]\n"
    "\n"
    "Runs an AArch64 Linux program that uses SVE on a processor without SVE. The\n"
    "program must be dynamically linked.\n"
    "\n"
    "  --vl BITS          run it with vectors of so many bits (default: " +
    default_vector_bits +
    "); --version\n"
    "                     tells which lengths are installed\n"
    "  --no-stats         count nothing, and print no totals: faster\n"
    "  --libraries        emulate SVE in the program's shared libraries, too, but not in\n"
    "                     those of the C library\n"
    "  --keep-upper       let native writes of vector registers keep the upper bytes of Z\n"
    "                     registers, which a processor clears: only for comparison\n"
    "  --client FILE      load this client library instead of an installed one\n"
    "  --client-arg WORD  hand WORD to the client library; may be given several times\n"
    "  --trap-every-time  let every SVE instruction trap each time it runs, and rewrite\n"
    "                     none: slow, for comparison and for finding faults\n"
    "  --report           tell at the end how often it trapped, and about signals\n"
    "  --profile[=FILE]   tell at the end how often each SVE instruction was executed\n"
    "  --profile-format=text|json|html\n"
    "                     form of the profile (default: text); the others need a FILE\n"
    "  --help             show this text\n"
    "  --version          show the version and the vector lengths\n"
    "\n"
    "On a machine that is not AArch64; elsewhere these have no effect:\n"
    "\n"
    "  --emulator FILE    processor emulator to run the program on (default: qemu-aarch64)\n"
    "  --cpu NAME         processor that it emulates (default: neoverse-n1)\n"
    "  --sysroot DIR      root of the AArch64 libraries (default: QEMU_LD_PREFIX from the\n"
    "                     environment, else /usr/aarch64-linux-gnu)\n"
    "\n"
    "The exit status is that of the program. It is 2 if the command line is wrong, 126\n"
    "if the program can't be run, and 127 if it, or something it needs, is not found.\n";

[[noreturn]] void show_and_exit(const std::string &text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw refusal(status_cannot_run, std::string("standard output: ") + std::strerror(errno));
    std::exit(0);
}

refusal usage_error(const std::string &what) {
    return {status_usage, what + "; try 'sverun --help'"};
}

// The directory of the AArch64 libraries.
std::filesystem::path library_directory() {
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    return (self.parent_path() / SVERUN_LIBRARY_DIR).lexically_normal();
}

// The vector lengths for which there are client libraries whose names begin so.
std::set<unsigned> installed_lengths(const std::string &beginning) {
    std::set<unsigned> lengths;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(library_directory(), ignored)) {
        const std::string name = entry.path().filename();
        unsigned bits = 0;
        if (name.starts_with(beginning) &&
            std::from_chars(name.data() + beginning.size(), name.data() + name.size(), bits).ec ==
                std::errc())
            lengths.insert(bits);
    }
    return lengths;
}

std::string text_of(const std::set<unsigned> &lengths) {
    std::string list;
    for (const unsigned bits : lengths)
        list += (list.empty() ? "" : ", ") + std::to_string(bits);
    return list.empty() ? "none" : list;
}

// Path of the installed client library that the command line asks for.
std::string installed_client(const request &request) {
    const std::string beginning = request.statistics ? "libsve_stats_" : "libsve_";
    const std::string bits = request.vector_bits.value_or(default_vector_bits);
    if (request.vector_bits) {
        const std::set<unsigned> lengths = installed_lengths(beginning);
        if (std::ranges::none_of(lengths, [&](unsigned n) { return std::to_string(n) == bits; }))
            throw refusal(status_not_found, "--vl=" + bits +
                                                ": no client library of that length is "
                                                "installed; there are: " +
                                                text_of(lengths));
    }
    return library_directory() / (beginning + bits + ".so");
}

request parse_command_line(int argc, char **argv) {
    enum {
        help = 256,
        version,
        client,
        client_arg,
        vl,
        no_stats,
        libraries,
        keep_upper,
        trap_every_time,
        report,
        profile,
        profile_format,
        emulator,
        cpu,
        sysroot
    };
    static constexpr option options[] = {
        {"help", no_argument, nullptr, help},
        {"version", no_argument, nullptr, version},
        {"client", required_argument, nullptr, client},
        {"client-arg", required_argument, nullptr, client_arg},
        {"vl", required_argument, nullptr, vl},
        {"no-stats", no_argument, nullptr, no_stats},
        {"libraries", no_argument, nullptr, libraries},
        {"keep-upper", no_argument, nullptr, keep_upper},
        {"trap-every-time", no_argument, nullptr, trap_every_time},
        {"report", no_argument, nullptr, report},
        {"profile", optional_argument, nullptr, profile},
        {"profile-format", required_argument, nullptr, profile_format},
        {"emulator", required_argument, nullptr, emulator},
        {"cpu", required_argument, nullptr, cpu},
        {"sysroot", required_argument, nullptr, sysroot},
        {},
    };

    request request;
    const char *prefix = std::getenv("QEMU_LD_PREFIX");
    request.sysroot = prefix && *prefix ? prefix : "/usr/aarch64-linux-gnu";

    std::optional<std::string> format; // of the profile
    opterr = 0;                        // the messages are ours
    // "+": the first word that is not an option is the program. ":": tell a missing value apart.
    for (int found; (found = getopt_long(argc, argv, "+:", options, nullptr)) != -1;) {
        switch (found) {
        case help:
            show_and_exit(help_text);
        case version:
            show_and_exit("sverun " SVERUN_VERSION " (" + default_vector_bits +
                          "-bit vectors; installed lengths: " +
                          text_of(installed_lengths("libsve_stats_")) + ")\n");
        case client:
            request.client = optarg;
            break;
        case client_arg:
            if (std::strchr(optarg, '\n'))
                throw usage_error("a word for the client library can't have a line break");
            request.client_args += std::string(optarg) + '\n';
            break;
        case vl:
            request.vector_bits = optarg;
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
        case trap_every_time:
            request.trap_every_time = true;
            break;
        case report:
            request.report = true;
            break;
        case profile:
            if (optarg && !*optarg)
                throw usage_error("--profile= needs the name of a file");
            request.profile = profile_request{optarg ? optarg : "", ""};
            break;
        case profile_format:
            format = optarg;
            break;
        case emulator:
            request.emulator = optarg;
            break;
        case cpu:
            request.cpu = optarg;
            break;
        case sysroot:
            request.sysroot = optarg;
            break;
        case ':':
            throw usage_error(std::string(argv[optind - 1]) + " needs a value");
        default:
            // optopt is a long option's code if that option takes no value and was given one, and
            // the character of an option that is a single one.
            if (optopt >= help)
                throw usage_error(std::string(argv[optind - 1]) + ": this option takes no value");
            throw usage_error("unknown option " + (optopt != 0 ? std::string{'-', char(optopt)}
                                                               : std::string(argv[optind - 1])));
        }
    }
    if (format) {
        if (*format != "text" && *format != "json" && *format != "html")
            throw usage_error("--profile-format is text, json or html, not '" + *format + "'");
        if (!request.profile)
            throw usage_error("--profile-format needs --profile");
        if (*format != "text" && request.profile->file.empty())
            throw usage_error("--profile-format=" + *format + " needs --profile=FILE");
        request.profile->format = *format;
    }
    if (request.client && (request.vector_bits || !request.statistics))
        throw usage_error(
            "--client names the client library itself; leave out --vl and --no-stats");
    if (request.profile && !request.statistics)
        throw usage_error("--profile needs what --no-stats leaves out");
    if (optind >= argc)
        throw usage_error("no program given");
    request.command.assign(argv + optind, argv + argc);
    return request;
}

// Path of a library that is to be loaded into the program.
std::string library(const std::filesystem::path &path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored) || access(path.c_str(), R_OK) != 0)
        throw refusal(status_not_found, "library " + path.string() + " is missing or unreadable");
    return std::filesystem::absolute(path);
}

// The value of LD_PRELOAD that the program gets: our platform library, then what the user preloads.
std::string preload_list(const std::string &platform) {
    // The loader parts the list at spaces and colons, and puts other text for names after a dollar.
    if (platform.find_first_of(" :$") != std::string::npos)
        throw refusal(status_cannot_run, platform + " can't be preloaded from there: its path has "
                                                    "a space, a colon or a dollar sign");
    const char *users = std::getenv("LD_PRELOAD");
    const std::string list = users && *users ? platform + ':' + users : platform;
    // The emulator parts the variables it is given at commas, with no way to write a comma.
    if (!on_aarch64 && list.find(',') != std::string::npos)
        throw refusal(status_cannot_run, "LD_PRELOAD would be '" + list +
                                             "', and the processor emulator can't pass on a comma");
    return list;
}

// The environment of this process without what could be mistaken for a message to the platform
// library, and without LD_PRELOAD if `drop_preload`.
std::vector<std::string> inherited_environment(bool drop_preload) {
    std::vector<std::string> result;
    for (char **entry = environ; *entry; entry++) {
        const std::string_view variable = *entry;
        if (!variable.starts_with("SVERUN_") &&
            !(drop_preload && variable.starts_with("LD_PRELOAD=")))
            result.emplace_back(variable);
    }
    return result;
}

// Returns only by throwing.
[[noreturn]] void become(const std::string &file, std::vector<std::string> command,
                         std::vector<std::string> environment) {
    const auto pointers = [](std::vector<std::string> &strings) {
        std::vector<char *> result;
        for (std::string &string : strings)
            result.push_back(string.data());
        result.push_back(nullptr);
        return result;
    };
    const std::vector<char *> words = pointers(command), variables = pointers(environment);
    execve(file.c_str(), words.data(), variables.data());
    throw refusal(errno == ENOENT ? status_not_found : status_cannot_run,
                  file + ": " + std::strerror(errno));
}

// Becomes the program, or runs it in a child process if its profile is wanted.
[[noreturn]] void start(const request &request, const std::string &file,
                        const std::vector<std::string> &command,
                        const std::vector<std::string> &environment) {
    const auto with_words = [&environment](const std::string &client_args) {
        std::vector<std::string> variables = environment;
        if (!client_args.empty())
            variables.push_back("SVERUN_CLIENT_ARGS=" + client_args);
        return variables;
    };
    if (request.profile)
        run_with_profile(*request.profile, request.command, [&](const std::string &words) {
            become(file, command, with_words(words + request.client_args));
        });
    become(file, command, with_words(request.client_args));
}

// Refuses unless the loader that the program asks for is in the file `loader`.
void require_loader(const std::string &program, const std::string &loader,
                    const std::string &advice = "") {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(loader, ignored))
        throw refusal(status_not_found,
                      program + ": its loader " + loader + " is not found" + advice);
}

[[noreturn]] void run(request request) {
    if (on_aarch64 && (getauxval(AT_HWCAP) & hwcap_sve))
        throw refusal(status_cannot_run, "this processor has SVE: run the program directly");

    const std::string program = find_program(request.command[0]);
    const std::string loader = loader_of_program(program);

    const std::string preload = preload_list(library(library_directory() / "libsve_platform.so"));
    const std::string client =
        library(request.client ? *request.client : installed_client(request));
    require_library(client);
    const std::string client_name = std::filesystem::path(client).filename();
    if (request.profile && client_name.starts_with("libsve_") &&
        !client_name.starts_with("libsve_stats_"))
        throw usage_error("--profile needs a client library that counts, unlike " + client);
    // Others may not know the word.
    if (!request.keep_upper && client_name.starts_with("libsve_"))
        request.client_args = "-clear_upper_bytes\nyes\n" + request.client_args;

    // Under a processor emulator the platform library takes these, and itself, out of the program's
    // environment again: what the program starts are this machine's own programs.
    std::vector<std::string> environment = inherited_environment(on_aarch64);
    environment.push_back("SVERUN_CLIENT=" + client);
    if (request.libraries)
        environment.push_back("SVERUN_LIBRARIES=1");
    if (request.trap_every_time)
        environment.push_back("SVERUN_TRAP_EVERY_TIME=1");
    if (request.report)
        environment.push_back("SVERUN_REPORT=1");

    if (on_aarch64) {
        require_loader(program, loader);
        environment.push_back("LD_PRELOAD=" + preload);
        environment.push_back("SVERUN_FOLLOW=1");
        start(request, program, request.command, std::move(environment));
    }

    const std::string emulator = find_program(
        request.emulator, "; install the Debian package qemu-user, or give --emulator");
    require_loader(program, loader.starts_with('/') ? request.sysroot + loader : loader,
                   "; install the Debian package libc6-dev-arm64-cross, or give --sysroot");
    // The emulator hands its own environment on to the program. Only LD_PRELOAD goes another way:
    // the emulator itself can't load an AArch64 library, and keeps what the user preloads.
    // clang-format off
    std::vector<std::string> command = {
        request.emulator,
        "-cpu", request.cpu,
        "-L", request.sysroot,
        "-0", request.command[0],
        "-E", "LD_PRELOAD=" + preload,
        "--", program,
    };
    // clang-format on
    command.insert(command.end(), request.command.begin() + 1, request.command.end());
    start(request, emulator, std::move(command), std::move(environment));
}

// One line, whatever the names in it are.
void complain(std::string text) {
    for (char &c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f')
            c = '?';
    std::fprintf(stderr, "sverun: %s\n", text.c_str());
}

// A program that is started without a standard error stream could get its number for a file of its
// own, and the totals in it. So there is one, which leads nowhere.
void need_standard_error() {
    if (fcntl(STDERR_FILENO, F_GETFD) != -1)
        return;
    const int nowhere = open("/dev/null", O_RDWR);
    if (nowhere != -1 && nowhere != STDERR_FILENO) {
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
}

} // namespace
} // namespace sverun

int main(int argc, char **argv) {
    sverun::need_standard_error();
    try {
        sverun::run(sverun::parse_command_line(argc, argv));
    } catch (const sverun::refusal &refusal) {
        sverun::complain(refusal.what());
        return refusal.status;
    } catch (const std::exception &error) {
        sverun::complain(error.what());
        return sverun::status_cannot_run;
    }
}
