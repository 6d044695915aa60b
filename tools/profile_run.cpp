// Running a program for its profile.
#include "tools/profile_run.h"

#include "tools/child.h"
#include "tools/profile.h"
#include "tools/profile_output.h"
#include "tools/refusal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sverun {
namespace {

constexpr std::string_view not_started = "not started\n";

std::string content_of(int file) {
    std::string content;
    char buffer[1 << 16];
    for (ssize_t got;
         (got = pread(file, buffer, sizeof buffer, static_cast<off_t>(content.size()))) > 0;)
        content.append(buffer, static_cast<size_t>(got));
    return content;
}

// How the program ended, where it left no record.
std::string end_of_program(int wait_status) {
    if (WIFSIGNALED(wait_status)) {
        const int number = WTERMSIG(wait_status);
        return "signal " + std::to_string(number) + " (" + strsignal(number) +
               ") ended the program before it could be written";
    }
    return "the program ended with status " + std::to_string(WEXITSTATUS(wait_status)) +
           " and without its totals, or became another program";
}

// Nothing if the record isn't whole, or isn't what the client library writes.
std::optional<profile> understood(const std::string &record) {
    try {
        return read_record(record);
    } catch (const std::logic_error &) { // a number that is none
        return std::nullopt;
    }
}

} // namespace

void run_with_profile(const profile_request &request, const std::vector<std::string> &command,
                      const std::function<void(const std::string &)> &become) {
    const profile_output output(request.file);
    // A file without a name, which the client library finds in this process.
    const int record = memfd_create("profile", MFD_CLOEXEC);
    if (record == -1)
        throw refusal(status_cannot_run, std::string("no room for a profile: ") + strerror(errno));
    const std::string record_path =
        "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(record);

    const int status = run_in_child([&] {
        try {
            become("-profile\n" + record_path + "\n-profile_process\n" + std::to_string(getpid()) +
                   "\n");
        } catch (...) {
            [[maybe_unused]] const auto written =
                write(record, not_started.data(), not_started.size());
            throw;
        }
    });

    // Who reads this may be gone, or the file too large; the status is the program's all the same.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string content = content_of(record);
    if (std::optional<profile> profile = understood(content)) {
        profile->command = command;
        add_symbols(*profile);
        const std::string text = request.format == "json"   ? as_json(*profile)
                                 : request.format == "html" ? as_html(*profile)
                                                            : as_text(*profile, output.columns());
        const int error = output.write(text);
        if (error != 0 && error != EPIPE)
            std::fprintf(stderr, "sverun: no profile: %s: %s\n", readable(output.name()).c_str(),
                         strerror(error));
    } else if (content != not_started) {
        std::fprintf(stderr, "sverun: no profile: %s\n",
                     content.empty() ? end_of_program(status).c_str() : "its record is incomplete");
    }
    end_like(status);
}

} // namespace sverun
