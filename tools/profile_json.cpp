// A profile for other programs: docs/profile.md has the fields.
#include "tools/profile.h"

#include <cstdio>

namespace sverun {
namespace {

std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (const char c : readable(text)) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

std::string quoted_or_null(const std::string &text) {
    return text.empty() ? "null" : quoted(text);
}

std::string quoted_hexadecimal(uint64_t number) {
    return '"' + hexadecimal(number) + '"';
}

// A list with one line for each object.
template <typename Objects, typename Members>
std::string list(const std::string &name, const Objects &objects, const Members &members) {
    std::string result = "  " + quoted(name) + ": [";
    const char *separator = "\n";
    for (const auto &object : objects) {
        result += separator + std::string("    ") + members(object);
        separator = ",\n";
    }
    return result + (objects.empty() ? "]" : "\n  ]");
}

} // namespace

std::string as_json(const profile &profile) {
    const auto counted = [&profile](uint64_t count) {
        char share[32];
        std::snprintf(share, sizeof share, "%.9f", profile.share(count));
        return "\"count\": " + std::to_string(count) + ", \"share\": " + share;
    };
    const auto group = [&](const profile::group &group) {
        return "{\"name\": " + quoted(group.name) + ", " + counted(group.count) +
               ", \"sites\": " + std::to_string(group.sites) + "}";
    };
    const auto module_index = [](const profile::site &site) {
        return site.module ? std::to_string(*site.module) : "null";
    };
    std::vector<profile::group> of_modules(profile.modules.size());
    for (const profile::site &site : profile.sites)
        if (site.module) {
            of_modules[*site.module].count += site.count;
            of_modules[*site.module].sites++;
        }
    const auto strings = [](const std::string &text) { return quoted(text); };

    // clang-format off
    return "{\n"
           "  \"format\": \"sverun-profile\",\n"
           "  \"version\": 1,\n" +
           list("command", profile.command, strings) + ",\n"
           "  \"vector_bits\": " + std::to_string(profile.vector_bits) + ",\n"
           "  \"total\": " + std::to_string(profile.total) + ",\n" +
           list("notes", profile.notes, strings) + ",\n" +
           list("modules", profile.modules, [&](const profile::module &module) {
               const profile::group &group = of_modules[&module - profile.modules.data()];
               return "{\"path\": " + quoted(module.path) +
                      ", \"start\": " + quoted_hexadecimal(module.start) +
                      ", \"end\": " + quoted_hexadecimal(module.end) + ", " +
                      counted(group.count) +
                      ", \"sites\": " + std::to_string(group.sites) + "}";
           }) + ",\n" +
           list("routes", profile.routes(), group) + ",\n" +
           list("families", profile.families(), group) + ",\n" +
           list("functions", profile.functions(), [&](const profile::group &function) {
               return "{\"name\": " + quoted_or_null(function.first->function) +
                      ", \"module\": " + module_index(*function.first) +
                      ", \"file\": " + quoted_or_null(function.first->file) + ", " +
                      counted(function.count) +
                      ", \"sites\": " + std::to_string(function.sites) + "}";
           }) + ",\n" +
           list("sites", profile.sites, [&](const profile::site &site) {
               return "{" + counted(site.count) +
                      ", \"address\": " + quoted_hexadecimal(site.address) +
                      ", \"module\": " + module_index(site) +
                      ", \"file_address\": " +
                      (site.module ? quoted_hexadecimal(site.file_address) : "null") +
                      ", \"function\": " + quoted_or_null(site.function) +
                      ", \"file\": " + quoted_or_null(site.file) +
                      ", \"line\": " + (site.line ? std::to_string(site.line) : "null") +
                      ", \"word\": " + quoted_hexadecimal(site.word) +
                      ", \"instruction\": " + quoted_or_null(site.instruction) +
                      ", \"handler\": " + quoted(site.handler) +
                      ", \"family\": " + quoted(site.family) +
                      ", \"route\": " + quoted(site.route) + "}";
           }) + "\n}\n";
    // clang-format on
}

} // namespace sverun
