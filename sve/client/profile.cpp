#include "sve/client/profile.h"

#include "platform/include/dr_extensions.h"
#include "sve/client/client.h"
#include "sve/client/runs.h"
#include "sve/client/write_all.h"
#include "sve/core/sve_utils.h"
#include "sve/core/vector_length.h"

#include "droption.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

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
        if (error_ == 0)
            error_ = sve::client::write_all(file_, buffer_, filled_);
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

struct noted_module {
    uintptr_t start, end;
    std::string path;
    std::optional<size_t> number; // in the file
};

// What is at one address: a module may be unloaded, and another one take its place.
struct noted_code {
    std::optional<size_t> module; // none: the program made the code
    uint32_t word;

    auto operator<=>(const noted_code &) const = default;
};

// All of it is guarded by icounts_mutex.
class site_notes {
public:
    std::optional<size_t> module_of(const module_data_t *data) {
        if (!data)
            return std::nullopt;
        const auto start = reinterpret_cast<uintptr_t>(data->start);
        const auto end = reinterpret_cast<uintptr_t>(data->end);
        const char *path = data->full_path ? data->full_path : "";
        size_t i = 0;
        while (i < modules.size() && (modules[i].start != start || modules[i].path != path))
            i++;
        if (i == modules.size())
            modules.push_back({start, end, path, std::nullopt});
        modules[i].end = std::max(modules[i].end, end);
        return i;
    }

    void note(uintptr_t pc, const noted_code &code) {
        const auto [at, is_new] = running_.try_emplace(pc, running{code, 0});
        if (is_new || at->second.code == code)
            return;
        settle(pc, at->second);
        at->second.code = code;
    }

    // The counts of all that has been noted.
    const auto &counts() {
        for (auto &[pc, running] : running_)
            settle(pc, running);
        return counts_;
    }

    std::vector<noted_module> modules;

private:
    struct running {
        noted_code code;
        uint64_t settled; // of the address's count
    };

    void settle(uintptr_t pc, running &at) {
        const auto row = icounts.find(reinterpret_cast<unsigned int *>(pc));
        if (row == icounts.end())
            return;
        const uint64_t count = row->second.second.load();
        counts_[{pc, at.code}] += count - at.settled;
        at.settled = count;
    }

    std::map<uintptr_t, running> running_;
    std::map<std::pair<uintptr_t, noted_code>, uint64_t> counts_;
};

// Never destroyed: a thread may still be emulating when the process ends.
site_notes &notes() {
    static site_notes &all = *new site_notes;
    return all;
}

bool has_profile() {
    return profile_file.specified() && (!profile_process.specified() ||
                                        profile_process.get_value() == std::to_string(getpid()));
}

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

void sve::client::note_for_profile(app_pc block, app_pc pc, uint32_t word) {
    if (!has_profile())
        return;
    // By the block's address, for which the platform has just been asked.
    module_data_t *data = dr_lookup_code_module(block);
    collect_run_counts(); // of what has been there before
    {
        const std::lock_guard lock(icounts_mutex);
        notes().note(reinterpret_cast<uintptr_t>(pc), {notes().module_of(data), word});
    }
    if (data)
        dr_free_module_data(data);
}

void sve::client::write_profile() {
    if (!has_profile())
        return;

    line_writer file(profile_file.get_value().c_str());
    file.line("sve-profile 2\t%u\n", sve_vector_bits);
    const std::lock_guard lock(icounts_mutex);
    std::vector<noted_module> &modules = notes().modules;
    size_t modules_written = 0;
    for (const auto &[site, count] : notes().counts()) {
        const auto &[pc, code] = site;
        if (count == 0)
            continue;
        std::string module = "-";
        if (code.module) {
            noted_module &noted = modules[*code.module];
            if (!noted.number) {
                noted.number = modules_written++;
                file.line("module\t%" PRIxPTR "\t%" PRIxPTR "\t%s\n", noted.start, noted.end,
                          noted.path.c_str());
            }
            module = std::to_string(*noted.number);
        }
        const auto [family, row] = find_row(code.word);
        file.line("site\t%" PRIxPTR "\t%s\t%x\t%" PRIu64 "\t%s\t%s\t%s\n", pc, module.c_str(),
                  code.word, count, row ? row->name : "unknown", row ? family->name : "unknown",
                  row ? route_name(row->route) : "unknown");
    }
    file.line("end\t%" PRIu64 "\n", sve_instr_count.load());
    if (const int error = file.flush())
        dr_fprintf(STDERR, "sverun: the profile can't be written to %s: %s\n",
                   profile_file.get_value().c_str(), strerror(error));
}
