// sverun: runs an AArch64 Linux program that uses SVE on a machine whose processor has no SVE, by
// preloading the platform library into it. It checks everything first and then becomes the program
// (or the processor emulator that runs it), so that the program has its standard streams, its
// arguments, its place in the process tree and its way of ending for its own. Only for a profile does
// it stay, as the program's parent.
#include "tools/installation.h"
#include "tools/options.h"
#include "tools/profile.h"
#include "tools/profile_run.h"
#include "tools/program_file.h"
#include "tools/refusal.h"
#include "tools/totals_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
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

// A processor emulator has to translate what is rewritten, which costs it many traps.
constexpr unsigned usual_rewrite_after = on_aarch64 ? 8 : 32;

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
        throw refusal(
            status_cannot_run,
            platform +
                " can't be preloaded from there: its path has a space, a colon or a dollar sign; "
                "install sverun in another directory (a link to this one doesn't help)");
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
    // In the process that becomes the program.
    const auto with_words = [&](std::string client_args) {
        if (request.names_process)
            client_args = "-first_process\n" + std::to_string(getpid()) + '\n' + client_args;
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

struct found_program {
    std::string path, loader;
};

found_program find_program_and_loader(const request &request) {
    try {
        const std::string path = find_program(request.command[0]);
        return {path, loader_of_program(path)};
    } catch (const refusal &why) {
        throw refusal(why.status, why.what() + request.advice);
    }
}

std::string client_library(const request &request) {
    if (!request.client && request.vector_bits) {
        const std::set<unsigned> lengths = installed_lengths(request.statistics);
        const std::string bits = std::to_string(*request.vector_bits);
        if (!lengths.contains(*request.vector_bits))
            throw refusal(
                status_not_found,
                "--vl=" + bits + ": no client library of that length is installed; there are: " +
                    text_of(lengths) + "; 'make run VL=" + bits + "' in a checkout builds it");
    }
    const std::string client =
        library(request.client ? std::filesystem::path(*request.client)
                               : installed_client(request.vector_bits.value_or(default_vector_bits),
                                                  request.statistics));
    require_library(client);
    return client;
}

// What the program's totals would tell only by being 0.
std::string text_if_none_ran(bool libraries) {
    return std::string(
               "sverun: no SVE instruction ran: the program was built without SVE (it takes "
               "-march=armv8.2-a+sve, and -O3 for loops to be vectorised)") +
           (libraries ? "" : ", or its SVE is in shared libraries (sverun --libraries)");
}

// What an installed client library is asked to do, in words for it. Others may not know them.
std::string own_words(request &request, const std::string &program, const std::string &client) {
    const std::string name = std::filesystem::path(client).filename();
    const bool is_installed = name.starts_with("libsve_"),
               counts = name.starts_with("libsve_stats_");
    if (request.profile && is_installed && !counts)
        throw usage_error("--profile needs a client library that counts, unlike " + client);
    const bool has_file = request.totals && !request.totals->file.empty();
    if (has_file && !counts)
        throw usage_error("--stats=FILE needs an installed client library that counts, unlike " +
                          client);

    std::string words;
    if (is_installed && !request.keep_upper)
        words += "-clear_upper_bytes\nyes\n";
    if (is_installed && request.translate)
        words += "-translate\nyes\n";
    if (counts && request.report)
        words += "-report_translation\nyes\n";
    if (counts && (request.totals || request.profile)) {
        request.names_process = true;
        words += "-none_ran\n" + text_if_none_ran(request.libraries) + '\n';
    }
    if (has_file)
        words += "-totals\n" + writable_totals_file(request.totals->file) + '\n';
    if (has_file && request.totals->as_json)
        words += "-totals_json\n" + readable(program) + '\n';
    return words;
}

[[noreturn]] void run(request request) {
    if (on_aarch64 && (getauxval(AT_HWCAP) & hwcap_sve))
        throw refusal(status_cannot_run, "this processor has SVE: run the program directly");

    const auto [program, loader] = find_program_and_loader(request);
    const std::string preload = preload_list(library(library_directory() / "libsve_platform.so"));
    const std::string client = client_library(request);
    request.client_args = own_words(request, program, client) + request.client_args;

    // Under a processor emulator the platform library takes these, and itself, out of the program's
    // environment again: what the program starts are this machine's own programs.
    std::vector<std::string> environment = inherited_environment(on_aarch64);
    environment.push_back("SVERUN_CLIENT=" + client);
    if (request.libraries)
        environment.push_back("SVERUN_LIBRARIES=1");
    const unsigned rewrite_after = request.rewrite_after.value_or(usual_rewrite_after);
    environment.push_back("SVERUN_REWRITE_AFTER=" + std::to_string(rewrite_after));
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
        sverun::run(sverun::read_options(argc, argv));
    } catch (const sverun::refusal &refusal) {
        sverun::complain(refusal.what());
        return refusal.status;
    } catch (const std::exception &error) {
        sverun::complain(error.what());
        return sverun::status_cannot_run;
    }
}
