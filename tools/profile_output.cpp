#include "tools/profile_output.h"

#include "tools/refusal.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/magic.h>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace sverun {
namespace {

using std::filesystem::path;

path directory_of(const path &file) {
    return file.has_parent_path() ? file.parent_path() : ".";
}

bool is_in_proc(const path &file) {
    struct statfs system;
    return statfs(directory_of(file).c_str(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

// The file behind symbolic links, which need not be there. Those of /proc/…/fd stay: they stand for
// open files.
path behind_links(path file) {
    constexpr int most_links = 40; // as the kernel follows
    std::error_code error;
    for (int i = 0; i < most_links && !is_in_proc(file); i++) {
        const path link = std::filesystem::read_symlink(file, error);
        if (error)
            break;
        file = file.parent_path() / link;
    }
    return file;
}

// The number of this process's descriptor that a file of /proc stands for, like /dev/stdout. Opened
// anew, a file would be written from its beginning.
std::optional<int> own_descriptor(const path &file) {
    std::error_code error;
    const std::string own = "/proc/" + std::to_string(getpid()) + "/fd";
    if (std::filesystem::canonical(directory_of(file), error) != own)
        return std::nullopt;
    const std::string name = file.filename();
    int number;
    const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), number);
    return fault == std::errc() && !*end ? std::optional(number) : std::nullopt;
}

// 0, or the error.
int write_all(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (written == -1 && errno == EAGAIN) { // the program has left it so
            pollfd wanted = {file, POLLOUT, 0};
            poll(&wanted, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return written == 0 ? EIO : errno;
        }
    }
    return 0;
}

} // namespace

profile_output::profile_output(const std::string &name) : name_(name) {
    const auto require = [this](bool good) {
        if (!good)
            throw refusal(status_cannot_run, this->name() + ": " + strerror(errno));
    };
    if (name.empty() || name == "-") {
        stream_ = name.empty() ? STDERR_FILENO : STDOUT_FILENO;
        require(fcntl(stream_, F_GETFD) != -1);
        return;
    }
    const path file = behind_links(name);
    if (const auto descriptor = own_descriptor(file)) {
        stream_ = fcntl(*descriptor, F_DUPFD_CLOEXEC, 0);
        require(stream_ != -1);
        return;
    }
    const auto directory_is_writable = [&file] {
        return faccessat(AT_FDCWD, directory_of(file).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    };
    struct stat status;
    if (stat(file.c_str(), &status) != 0) {
        require(errno == ENOENT && directory_is_writable());
        errno = EISDIR;
        require(file.has_filename());
        const mode_t mask = umask(0);
        umask(mask);
        mode_ = 0666 & ~mask;
        replaced_ = file;
        return;
    }
    stream_ = open(file.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    require(stream_ != -1);
    empties_ = S_ISREG(status.st_mode);
    // A new file in its place has to be the same to others.
    if (S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid() &&
        !is_in_proc(file) && directory_is_writable()) {
        close(stream_);
        stream_ = -1;
        mode_ = status.st_mode & 07777;
        replaced_ = file;
    }
}

std::string profile_output::name() const {
    return name_.empty() ? "standard error" : name_ == "-" ? "standard output" : name_;
}

size_t profile_output::columns() const {
    if (stream_ == -1 || !isatty(stream_))
        return 0;
    const char *wanted = std::getenv("COLUMNS");
    if (const long columns = wanted ? std::strtol(wanted, nullptr, 10) : 0; columns > 0)
        return static_cast<size_t>(columns);
    constexpr size_t usual = 80;
    winsize size;
    return ioctl(stream_, TIOCGWINSZ, &size) == 0 && size.ws_col ? size.ws_col : usual;
}

int profile_output::write(const std::string &text) const {
    if (!replaced_.empty())
        return replace_file(text);
    if (empties_ && ftruncate(stream_, 0) != 0)
        return errno;
    return write_all(stream_, text);
}

int profile_output::replace_file(const std::string &text) const {
    // A signal must not leave the new file behind.
    sigset_t all, former;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &former);
    std::string beside = directory_of(replaced_) / ".sverun-profile-XXXXXX";
    int error = 0;
    const int file = mkostemp(beside.data(), O_CLOEXEC);
    if (file == -1) {
        error = errno;
    } else {
        error = write_all(file, text);
        const auto take = [&error](int result) {
            if (result != 0 && error == 0)
                error = errno;
        };
        take(fchmod(file, mode_));
        take(close(file));
        if (error == 0)
            take(rename(beside.c_str(), replaced_.c_str()));
        if (error != 0)
            unlink(beside.c_str());
    }
    sigprocmask(SIG_SETMASK, &former, nullptr);
    return error;
}

} // namespace sverun
