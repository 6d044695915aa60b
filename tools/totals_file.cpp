#include "tools/totals_file.h"

#include "tools/refusal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace sverun {

std::string writable_totals_file(const std::string &file) {
    const auto refused = [&](int error) {
        return refusal(status_cannot_run, "--stats=" + file + ": " + std::strerror(error));
    };
    if (file.find('\n') != std::string::npos)
        throw refusal(status_usage, "--stats=FILE: the name of the file can't have a line break");

    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(file, ignored);
    if (std::filesystem::is_directory(status))
        throw refused(EISDIR);
    if (std::filesystem::exists(status) && access(file.c_str(), W_OK) != 0)
        throw refused(errno);
    // It would be replaced, with what the program writes there.
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        if (std::filesystem::is_regular_file(status) &&
            std::filesystem::equivalent(file, "/proc/self/fd/" + std::to_string(stream), ignored))
            throw refusal(status_usage,
                          "--stats=" + file +
                              ": that is where the program writes; give another file");
    // What is no file of bytes is written to as it is.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        return std::filesystem::absolute(file);

    // The file is written beside and renamed. If it is a link, what it leads to is replaced.
    const std::string path = std::filesystem::weakly_canonical(file);
    const std::string beside = path + "." + std::to_string(getpid());
    const int made = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (made == -1)
        throw refused(errno);
    close(made);
    unlink(beside.c_str());
    return path;
}

} // namespace sverun
