#include "sve/client/totals.h"

#include "sve/client/client.h"
#include "sve/client/write_all.h"
#include "sve/core/sve_utils.h"
#include "sve/core/vector_length.h"

#include "droption.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

droption_t<std::string>
    totals_file(DROPTION_SCOPE_CLIENT, "totals", "", "Where the totals go",
                "A file that gets the totals instead of the standard error stream.");
droption_t<std::string> totals_json(DROPTION_SCOPE_CLIENT, "totals_json", "",
                                    "Totals as a JSON object", "The name of the program in it.");
droption_t<std::string> none_ran(DROPTION_SCOPE_CLIENT, "none_ran", "",
                                 "What to say where no SVE instruction ran",
                                 "A line on the standard error stream.");
droption_t<std::string>
    first_process(DROPTION_SCOPE_CLIENT, "first_process", "", "The process that says so",
                  "No other process writes the file of the totals, or the line.");

const char *program_name() {
    if (!exe || !exe->full_path)
        return "unknown";
    const char *slash = std::strrchr(exe->full_path, '/');
    return slash ? slash + 1 : exe->full_path;
}

std::string as_lines(uint64_t sve_instructions, uint64_t others) {
    struct {
        uint64_t count;
        const char *what;
    } const lines[] = {{sve_instructions, " SVE"}, {others, " Non-SVE AArch64"}};
    std::string text;
    text.reserve(256); // mostly enough
    // Once in the code: every process runs this, and a processor emulator has to translate it first.
    const auto add = [&text](std::string_view piece) __attribute__((noinline)) {
        text += piece;
    };
    for (auto [rest, what] : lines) {
        add(program_name());
        add(": ");
        char digits[20], *first = std::end(digits);
        do
            *--first = static_cast<char>('0' + rest % 10);
        while (rest /= 10);
        add({first, std::end(digits)});
        add(what);
        add(" instructions executed\n");
    }
    return text;
}

std::string as_json(uint64_t sve_instructions, uint64_t others) {
    std::string program;
    for (const char c : totals_json.get_value()) {
        if (c == '"' || c == '\\')
            program += '\\';
        program += c;
    }
    const auto member = [](const char *name, uint64_t value) {
        return ",\n  \"" + std::string(name) + "\": " + std::to_string(value);
    };
    return "{\n  \"format\": \"sverun-totals\"" + member("version", 1) + ",\n  \"program\": \"" +
           program + '"' + member("vector_bits", sve_vector_bits) +
           member("sve_instructions", sve_instructions) + member("other_instructions", others) +
           "\n}\n";
}

// 0 or the error.
int open_and_write(const std::string &path, int flags, mode_t mode, const std::string &text) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, mode);
    if (file == -1)
        return errno;
    const int error = sve::client::write_all(file, text.data(), text.size());
    return close(file) != 0 && error == 0 ? errno : error;
}

int write_file(const std::string &path, const std::string &text) {
    constexpr mode_t usual_mode = 0666, permissions = 0777;
    struct stat former;
    const bool exists = stat(path.c_str(), &former) == 0;
    if (exists && !S_ISREG(former.st_mode))
        return open_and_write(path, 0, 0, text);
    const std::string beside = path + "." + std::to_string(getpid());
    int error = open_and_write(beside, O_CREAT | O_EXCL, usual_mode, text);
    if (error == EEXIST)
        return error;
    if (error == 0 && ((exists && chmod(beside.c_str(), former.st_mode & permissions) != 0) ||
                       rename(beside.c_str(), path.c_str()) != 0))
        error = errno;
    if (error != 0)
        unlink(beside.c_str());
    return error;
}

} // namespace

void sve::client::write_totals() {
    const uint64_t executed = sve_instr_count.load(std::memory_order_acquire),
                   others = aarch64_instr_count;
    const bool is_first =
        !first_process.specified() || first_process.get_value() == std::to_string(getpid());
    bool wanted = !totals_file.specified();
    if (!wanted && is_first) {
        const std::string path = totals_file.get_value();
        if (const int error =
                write_file(path, totals_json.specified() ? as_json(executed, others)
                                                         : as_lines(executed, others))) {
            dr_fprintf(STDERR, "sverun: the totals can't be written to %s: %s\n", path.c_str(),
                       strerror(error));
            wanted = true;
        }
    }
    if (wanted) {
        const std::string lines = as_lines(executed, others);
        fflush(stderr); // of a program that has given it a buffer
        sve::client::write_all(fileno(stderr), lines.data(), lines.size());
    }
    if (executed == 0 && is_first && none_ran.specified())
        dr_fprintf(STDERR, "%s\n", none_ran.get_value().c_str());
}
