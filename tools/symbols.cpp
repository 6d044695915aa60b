// What a program's files say about addresses, asked of binutils.
#include "tools/profile.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
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

const std::string lines_tool = BINUTILS_PREFIX "addr2line";
const std::string text_tool = BINUTILS_PREFIX "objdump";
const std::string sections_tool = BINUTILS_PREFIX "readelf";

using text_lines = std::vector<std::string>;

// Runs a tool of binutils on `input`, its standard input, and returns the lines that it writes:
// nothing if it isn't there.
std::optional<text_lines> lines_of(std::vector<std::string> command, std::string_view input) {
    text_lines lines;
    // A file, so that nobody waits for the other.
    const int in = memfd_create("input", MFD_CLOEXEC);
    int out[2] = {-1, -1};
    if (in == -1 || write(in, input.data(), input.size()) != static_cast<ssize_t>(input.size()) ||
        lseek(in, 0, SEEK_SET) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        close(in);
        return std::nullopt;
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
        return std::nullopt;
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

// Whether the file has the symbols of all its functions, not only of those that it exports.
bool has_symbols(const std::string &path) {
    const auto sections = lines_of({sections_tool, "-SW", path}, "");
    return !sections || std::ranges::any_of(*sections, [](const std::string &line) {
        return line.find(" SYMTAB ") != std::string::npos;
    });
}

// What isn't known of these sites of one module, and why.
std::optional<std::string> note_on(const profile::module &module,
                                   const std::vector<profile::site *> &sites) {
    const auto without = [&sites](auto member) {
        return static_cast<size_t>(std::ranges::count_if(
            sites, [member](const profile::site *site) { return (site->*member).empty(); }));
    };
    const size_t nameless = without(&profile::site::function);
    const size_t lineless = without(&profile::site::file);
    if (nameless == 0 && lineless == 0)
        return std::nullopt;
    if (!has_symbols(module.path))
        return module.name + (nameless == sites.size()
                                  ? " has no symbols: it was stripped"
                                  : " was stripped: a function that it doesn't export has the "
                                    "name of one that it does");
    if (lineless == sites.size())
        return module.name + " has no source lines: build it with -g";
    if (lineless != 0)
        return "parts of " + module.name + " have no source lines: build all of it with -g";
    return std::nullopt;
}

// False if there is no tool for it.
bool add_functions(profile &profile) {
    for (size_t i = 0; i < profile.modules.size(); i++) {
        const profile::module &module = profile.modules[i];
        std::vector<profile::site *> sites;
        for (profile::site &site : profile.sites)
            if (site.module == i)
                sites.push_back(&site);
        if (!module.is_readable)
            continue;
        std::string addresses;
        for (const profile::site *site : sites)
            addresses += hexadecimal(site->file_address) + '\n';
        // Two lines for each. Not the chain of inlined functions: the function is the one in whose
        // source the instruction stands.
        const auto lines = lines_of({lines_tool, "-f", "-C", "-e", module.path}, addresses);
        if (!lines)
            return false;
        if (lines->empty()) {
            profile.notes.push_back("no functions and source lines of " + module.path + ": " +
                                    lines_tool + " can't read it");
            continue;
        }
        for (size_t n = 0; n < sites.size() && 2 * n + 1 < lines->size(); n++) {
            if ((*lines)[2 * n] != "??")
                sites[n]->function = (*lines)[2 * n];
            set_source(*sites[n], (*lines)[2 * n + 1]);
        }
        if (const auto note = note_on(module, sites))
            profile.notes.push_back(*note);
    }
    return true;
}

// False if there is no tool for it.
bool add_instructions(profile &profile) {
    std::string words;
    for (const profile::site &site : profile.sites)
        for (unsigned shift = 0; shift < 32; shift += 8)
            words += static_cast<char>(site.word >> shift);
    const auto lines =
        lines_of({text_tool, "-D", "-z", "-b", "binary", "-m", "aarch64", "/dev/stdin"}, words);
    // "   0:\t25a0c020 \tadd\tz0.s, z0.s, #1", with other lines before the first; one line each.
    size_t place = 0;
    for (const std::string &line : lines.value_or(text_lines{})) {
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
    return lines.has_value();
}

} // namespace

void add_symbols(profile &profile) {
    if (profile.sites.empty())
        return;
    const bool has_functions = add_functions(profile);
    const bool has_text = add_instructions(profile);
    if (has_functions && has_text)
        return;
    const std::string what = has_functions ? "text of instructions"
                             : has_text    ? "functions and source lines"
                                           : "functions, source lines and text of instructions";
    const std::string tools = has_functions ? text_tool + " is"
                              : has_text    ? lines_tool + " is"
                                            : lines_tool + " and " + text_tool + " are";
    profile.notes.push_back("no " + what + ": " + tools + " missing; install the Debian package " +
                            binutils_package);
}

} // namespace sverun
