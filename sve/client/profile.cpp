#include "sve/client/profile.h"

#include "sve/client/client.h"
#include "sve/core/sve_utils.h"
#include "sve/core/vector_length.h"

#include "droption.h"

#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

namespace {

droption_t<std::string> profile_file(DROPTION_SCOPE_CLIENT, "profile", "",
                                     "Where the counts of the instructions go",
                                     "A file that is there. At the end of the process it gets the "
                                     "count of each SVE instruction that ran.");
droption_t<std::string> profile_process(DROPTION_SCOPE_CLIENT, "profile_process", "",
                                        "The process that is counted",
                                        "No other process writes the file.");

// A file of lines. Streams of the C library would take memory from the application's heap, which
// may emulate.
class line_writer {
public:
    explicit line_writer(const char *path) : file_(open(path, O_WRONLY | O_TRUNC | O_CLOEXEC)) {
        if (file_ == -1)
            error_ = errno;
    }
    ~line_writer() {
        if (file_ != -1)
            close(file_);
    }
    line_writer(const line_writer &) = delete;
    line_writer &operator=(const line_writer &) = delete;

    // At most `longest` bytes.
    [[gnu::format(printf, 2, 3)]] void line(const char *format, ...) {
        if (sizeof buffer_ - filled_ < longest)
            flush();
        std::va_list values;
        va_start(values, format);
        const int length = vsnprintf(buffer_ + filled_, longest, format, values);
        va_end(values);
        if (length < 0 || static_cast<size_t>(length) >= longest)
            error_ = EOVERFLOW;
        else
            filled_ += static_cast<size_t>(length);
    }
    // 0 if everything has been written so far.
    int flush() {
        for (size_t done = 0; done < filled_ && error_ == 0;) {
            const ssize_t written = write(file_, buffer_ + done, filled_ - done);
            if (written > 0)
                done += static_cast<size_t>(written);
            else if (written == 0 || errno != EINTR)
                error_ = written == 0 ? EIO : errno;
        }
        filled_ = 0;
        return error_;
    }

private:
    static constexpr size_t longest = 5000; // a path and some numbers
    int file_;
    int error_ = 0;
    size_t filled_ = 0;
    char buffer_[4 * longest];
};

// Tells for ascending addresses when they come to another module.
class module_walk {
public:
    module_walk() = default;
    ~module_walk() { forget(); }
    module_walk(const module_walk &) = delete;
    module_walk &operator=(const module_walk &) = delete;

    // The module that holds `pc`, if it isn't that of the address before.
    const module_data_t *entered(app_pc pc) {
        if (module_ && pc < module_->end)
            return nullptr;
        // A look-up may read the whole list of the mappings, and a page belongs to one of them.
        const uintptr_t page = reinterpret_cast<uintptr_t>(pc) / static_cast<size_t>(page_size);
        if (page == page_of_none_)
            return nullptr;
        forget();
        module_ = dr_lookup_module(pc);
        if (!module_)
            page_of_none_ = page;
        return module_;
    }

private:
    void forget() {
        if (module_)
            dr_free_module_data(module_);
        module_ = nullptr;
    }
    module_data_t *module_ = nullptr;
    uintptr_t page_of_none_ = 0;
};

const char *route_name(sve::handler_route route) {
    switch (route) {
    case sve::handler_route::direct:
        return "direct";
    case sve::handler_route::reference:
        return "reference";
    case sve::handler_route::no_op:
        break;
    }
    return "no-op";
}

} // namespace

void sve::client::write_profile() {
    if (!profile_file.specified() ||
        (profile_process.specified() && profile_process.get_value() != std::to_string(getpid())))
        return;

    line_writer file(profile_file.get_value().c_str());
    file.line("sve-profile 1\t%u\n", sve_vector_bits);
    module_walk modules;
    uint64_t total = 0;
    const std::lock_guard lock(icounts_mutex);
    for (const auto &[address, counted] : icounts) {
        const auto pc = reinterpret_cast<app_pc>(address);
        if (const module_data_t *module = modules.entered(pc))
            file.line("module\t%" PRIxPTR "\t%" PRIxPTR "\t%s\n",
                      reinterpret_cast<uintptr_t>(module->start),
                      reinterpret_cast<uintptr_t>(module->end),
                      module->full_path ? module->full_path : "");
        const auto [family, row] = find_row(counted.first);
        const uint64_t count = counted.second.load();
        total += count;
        file.line("site\t%" PRIxPTR "\t%x\t%" PRIu64 "\t%s\t%s\t%s\n",
                  reinterpret_cast<uintptr_t>(pc), counted.first, count,
                  row ? row->name : "unknown", row ? family->name : "unknown",
                  row ? route_name(row->route) : "unknown");
    }
    file.line("end\t%" PRIu64 "\n", total);
    if (const int error = file.flush())
        dr_fprintf(STDERR, "The profile can't be written to %s: %s\n",
                   profile_file.get_value().c_str(), strerror(error));
}
