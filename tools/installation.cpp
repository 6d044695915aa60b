// What is installed beside this program.
#include "tools/installation.h"

#include <charconv>
#include <system_error>

namespace sverun {

static std::string client_name(bool counting) {
    return counting ? "libsve_stats_" : "libsve_";
}

std::filesystem::path library_directory() {
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    return (self.parent_path() / SVERUN_LIBRARY_DIR).lexically_normal();
}

std::set<unsigned> installed_lengths(bool counting) {
    const std::string beginning = client_name(counting);
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

std::filesystem::path installed_client(unsigned vector_bits, bool counting) {
    return library_directory() / (client_name(counting) + std::to_string(vector_bits) + ".so");
}

} // namespace sverun
