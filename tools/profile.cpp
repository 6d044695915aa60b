// The record of the client library, and what sites have in common.
#include "tools/profile.h"

#include "tools/program_file.h"
#include "tools/refusal.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <sstream>
#include <string_view>
#include <tuple>

namespace sverun {
namespace {

std::vector<std::string> fields_of(const std::string &line) {
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');)
        fields.push_back(field);
    return fields;
}

template <typename Key, typename Name>
std::vector<profile::group> grouped(const std::vector<profile::site> &sites, const Key &key,
                                    const Name &name) {
    using key_type = decltype(key(sites.front()));
    std::map<key_type, profile::group> groups;
    for (const profile::site &site : sites) {
        profile::group &group =
            groups.try_emplace(key(site), profile::group{name(site), 0, 0, &site}).first->second;
        group.count += site.count;
        group.sites++;
    }
    std::vector<profile::group> result;
    for (auto &[ignored, group] : groups)
        result.push_back(std::move(group));
    std::stable_sort(result.begin(), result.end(),
                     [](const auto &a, const auto &b) { return a.count > b.count; });
    return result;
}

const std::string generated_code = "[generated code]";

profile::module known_module(uint64_t start, uint64_t end, const std::string &path,
                             std::vector<std::string> &notes) {
    profile::module module = {start, end, 0, path, path.substr(path.rfind('/') + 1), true};
    try {
        module.first_address = first_address_of(path);
    } catch (const refusal &refusal) {
        module.is_readable = false;
        notes.push_back(std::string("no functions and source lines of ") + refusal.what());
    }
    return module;
}

} // namespace

std::vector<profile::group> profile::functions() const {
    return grouped(
        sites, [](const site &site) { return std::tuple(site.module, site.file, site.function); },
        [this](const site &site) {
            return site.module && site.function.empty() ? "[" + module_name(site) + "]"
                   : site.module                        ? site.function
                                                        : generated_code;
        });
}

std::vector<profile::group> profile::of_modules() const {
    return grouped(
        sites, [](const site &site) { return site.module; },
        [this](const site &site) { return module_name(site); });
}

std::vector<profile::group> profile::families() const {
    const auto family = [](const site &site) { return site.family; };
    return grouped(sites, family, family);
}

std::vector<profile::group> profile::routes() const {
    const auto route = [](const site &site) { return site.route; };
    return grouped(sites, route, route);
}

std::string profile::place(const site &site) const {
    return !site.function.empty() ? site.function
           : site.module          ? module_name(site) + "+" + hexadecimal(site.file_address)
                                  : generated_code;
}

std::string profile::module_name(const site &site) const {
    return site.module ? modules[*site.module].name : generated_code;
}

std::string profile::source(const site &site) {
    if (site.file.empty())
        return "";
    return site.file.substr(site.file.rfind('/') + 1) + ":" +
           (site.line ? std::to_string(site.line) : "?");
}

std::string readable(std::string text) {
    for (size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const size_t length = first < 0x80   ? 1
                              : first < 0xc2 ? 0
                              : first < 0xe0 ? 2
                              : first < 0xf0 ? 3
                              : first < 0xf5 ? 4
                                             : 0;
        bool good = length != 0 && first >= ' ' && first != 0x7f && i + length <= text.size();
        for (size_t k = 1; good && k < length; k++)
            good = (static_cast<unsigned char>(text[i + k]) & 0xc0) == 0x80;
        // No surrogates, no longer form than needed, nothing beyond the last code point.
        if (good && length > 2) {
            const auto second = static_cast<unsigned char>(text[i + 1]);
            good = !(first == 0xe0 && second < 0xa0) && !(first == 0xed && second >= 0xa0) &&
                   !(first == 0xf0 && second < 0x90) && !(first == 0xf4 && second >= 0x90);
        }
        if (!good)
            text[i] = '?';
        i += good ? length : 1;
    }
    return text;
}

std::string percent(double share) {
    char text[16];
    std::snprintf(text, sizeof text, "%.1f%%", 100 * share);
    return text;
}

std::string hexadecimal(uint64_t number) {
    char text[20];
    std::snprintf(text, sizeof text, "0x%" PRIx64, number);
    return text;
}

std::optional<profile> read_record(const std::string &text) {
    const auto number = [](const std::string &digits, int base) {
        return std::stoull(digits, nullptr, base);
    };
    profile result;
    // A library that is loaded at several places is one module, and its sites are one, too.
    struct loaded_module {
        uint64_t start;
        size_t module;
    };
    std::vector<loaded_module> loaded;
    std::map<std::tuple<size_t, uint64_t, uint32_t>, size_t> known_sites;
    bool whole = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !whole;) {
        std::vector<std::string> fields = fields_of(line);
        if (fields.size() == 2 && fields[0] == "sve-profile 2") {
            result.vector_bits = static_cast<unsigned>(number(fields[1], 10));
        } else if (fields.size() >= 4 && fields[0] == "module") {
            std::string path = fields[3];
            for (size_t i = 4; i < fields.size(); i++) // a path may have tabs
                path += '\t' + fields[i];
            const uint64_t start = number(fields[1], 16);
            const auto same = std::ranges::find(result.modules, path, &profile::module::path);
            loaded.push_back({start, static_cast<size_t>(same - result.modules.begin())});
            if (same == result.modules.end())
                result.modules.push_back(
                    known_module(start, number(fields[2], 16), path, result.notes));
        } else if (fields.size() == 8 && fields[0] == "site") {
            const uint64_t address = number(fields[1], 16);
            profile::site site = {address,
                                  address,
                                  static_cast<uint32_t>(number(fields[3], 16)),
                                  number(fields[4], 10),
                                  fields[5],
                                  fields[6],
                                  fields[7],
                                  std::nullopt,
                                  "",
                                  "",
                                  0,
                                  ""};
            result.total += site.count;
            size_t index = result.sites.size();
            if (fields[2] != "-") {
                const loaded_module &from = loaded.at(number(fields[2], 10));
                site.module = from.module;
                site.file_address =
                    address - from.start + result.modules[from.module].first_address;
                index = known_sites.try_emplace({from.module, site.file_address, site.word}, index)
                            .first->second;
            }
            if (index == result.sites.size())
                result.sites.push_back(std::move(site));
            else
                result.sites[index].count += site.count;
        } else if (fields.size() == 2 && fields[0] == "end") {
            whole = number(fields[1], 10) == result.total;
        } else {
            return std::nullopt;
        }
    }
    if (!whole)
        return std::nullopt;

    std::map<std::string, int> files_of;
    for (const profile::module &module : result.modules)
        files_of[module.name]++;
    for (profile::module &module : result.modules)
        if (files_of[module.name] > 1)
            module.name = module.path;
    std::stable_sort(result.sites.begin(), result.sites.end(),
                     [](const auto &a, const auto &b) { return a.count > b.count; });
    return result;
}

} // namespace sverun
