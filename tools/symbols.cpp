// What a program's files say about addresses, asked of binutils.
#include "tools/profile.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sverun {
namespace {

#if defined(__aarch64__)
#define BINUTILS_PREFIX ""
constexpr const char *binutils_package = "binutils";
#else
#define BINUTILS_PREFIX "aarch64-linux-gnu-"
constexpr const char *binutils_package = "binutils-aarch64-linux-gnu";
#endif

// Runs a tool of binutils on `input`, its standard input, and returns the lines that it writes:
// none if it isn't there.
std::vector<std::string> lines_of(std::vector<std::string> command, std::string_view input) {
    std::vector<std::string> lines;
    // A file, so that nobody waits for the other.
    const int in = memfd_create("input", MFD_CLOEXEC);
    int out[2] = {-1, -1};
    if (in == -1 || write(in, input.data(), input.size()) != static_cast<ssize_t>(input.size()) ||
        lseek(in, 0, SEEK_SET) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        close(in);
        return lines;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char *> words;
    for (std::string &word : command)
        words.push_back(word.data());
    words.push_back(nullptr);
    pid_t tool;
    const bool started =
        posix_spawnp(&tool, words[0], &actions, nullptr, words.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(in);
    close(out[1]);
    std::string output;
    char buffer[1 << 16];
    for (ssize_t got; (got = read(out[0], buffer, sizeof buffer)) > 0;)
        output.append(buffer, static_cast<size_t>(got));
    close(out[0]);
    if (!started)
        return lines;
    int status;
    waitpid(tool, &status, 0);
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// "file:line", perhaps with a discriminator behind it; "??" and 0 are what isn't known.
void set_source(profile::site &site, std::string place) {
    place = place.substr(0, place.find(" (discriminator"));
    const size_t colon = place.rfind(':');
    if (colon == std::string::npos || place.starts_with("??"))
        return;
    site.file = std::filesystem::path(place.substr(0, colon)).lexically_normal();
    site.line = static_cast<unsigned>(std::strtoul(place.c_str() + colon + 1, nullptr, 10));
}

void add_functions(profile &profile) {
    for (size_t i = 0; i < profile.modules.size(); i++) {
        const profile::module &module = profile.modules[i];
        std::vector<profile::site *> sites;
        std::string addresses;
        for (profile::site &site : profile.sites)
            if (site.module == i) {
                char line[24];
                std::snprintf(line, sizeof line, "%" PRIx64 "\n", site.file_address);
                addresses += line;
                sites.push_back(&site);
            }
        // Two lines for each. Not the chain of inlined functions: the function is the one in whose
        // source the instruction stands.
        const std::vector<std::string> lines =
            lines_of({BINUTILS_PREFIX "addr2line", "-f", "-C", "-e", module.path}, addresses);
        if (lines.empty()) {
            profile.notes.push_back("no functions of " + module.path +
                                    ": " BINUTILS_PREFIX
                                    "addr2line is missing or can't read it; it is in the Debian "
                                    "package " +
                                    binutils_package);
            continue;
        }
        bool functions = false, sources = false;
        for (size_t n = 0; n < sites.size() && 2 * n + 1 < lines.size(); n++) {
            if (lines[2 * n] != "??")
                sites[n]->function = lines[2 * n];
            set_source(*sites[n], lines[2 * n + 1]);
            functions |= !sites[n]->function.empty();
            sources |= !sites[n]->file.empty();
        }
        if (!functions)
            profile.notes.push_back(module.name() + " has no symbols: it was stripped");
        else if (!sources)
            profile.notes.push_back(module.name() + " has no source lines: build it with -g");
    }
}

void add_instructions(profile &profile) {
    std::string words;
    for (const profile::site &site : profile.sites)
        for (unsigned shift = 0; shift < 32; shift += 8)
            words += static_cast<char>(site.word >> shift);
    // "   0:\t25a0c020 \tadd\tz0.s, z0.s, #1", with other lines before the first; one line each.
    size_t place = 0;
    for (const std::string &line : lines_of(
             {BINUTILS_PREFIX "objdump", "-D", "-z", "-b", "binary", "-m", "aarch64", "/dev/stdin"},
             words)) {
        const size_t address = line.find_first_not_of(' ');
        const size_t word = line.find(":\t");
        if (word == std::string::npos ||
            std::strtoull(line.c_str() + address, nullptr, 16) != place)
            continue;
        const size_t text = line.find('\t', word + 2);
        if (text == std::string::npos || place / 4 >= profile.sites.size())
            continue;
        std::string &instruction = profile.sites[place / 4].instruction;
        instruction = line.substr(text + 1);
        instruction = instruction.substr(0, instruction.find("\t//"));
        std::replace(instruction.begin(), instruction.end(), '\t', ' ');
        place += 4;
    }
}

} // namespace

void add_symbols(profile &profile) {
    add_functions(profile);
    if (!profile.sites.empty())
        add_instructions(profile);
}

} // namespace sverun
