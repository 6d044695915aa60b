// A profile for the terminal: at most 100 columns.
#include "tools/profile.h"

#include <algorithm>
#include <utility>

namespace sverun {
namespace {

constexpr size_t columns = 100, gap = 2;
constexpr size_t functions_shown = 20, sites_shown = 40;

bool begins_character(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
}

size_t width_of(const std::string &text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

// The first `width` characters at most; where some are left out, dots say so.
std::string shortened(const std::string &text, size_t width) {
    if (width_of(text) <= width)
        return text;
    size_t end = 0;
    for (size_t characters = 0; end < text.size(); end++)
        if (begins_character(text[end]) && ++characters > width - 2)
            break;
    return text.substr(0, end) + "..";
}

// Columns as wide as their widest cell, but for one that gives way if a line gets too long.
class table {
public:
    struct column {
        std::string title;
        bool to_the_right = false;
    };
    table(std::vector<column> columns, size_t giving_way)
        : columns_(std::move(columns)), giving_way_(giving_way) {}

    void add(std::vector<std::string> cells) {
        for (std::string &cell : cells)
            cell = readable(std::move(cell));
        rows_.push_back(std::move(cells));
    }

    std::string text() const {
        std::vector<size_t> widths;
        size_t total = 0;
        for (size_t i = 0; i < columns_.size(); i++) {
            size_t width = width_of(columns_[i].title);
            for (const auto &row : rows_)
                width = std::max(width, width_of(row[i]));
            widths.push_back(width);
            total += width + gap;
        }
        // If that doesn't suffice, so does the last one; both keep some room.
        for (const size_t i : {giving_way_, columns_.size() - 1}) {
            const size_t least = std::min<size_t>(widths[i], 16);
            while (total > columns && widths[i] > least) {
                widths[i]--;
                total--;
            }
        }
        std::string result;
        std::vector<std::string> titles;
        for (const column &column : columns_)
            titles.push_back(column.title);
        append(result, titles, widths);
        for (const auto &row : rows_)
            append(result, row, widths);
        return result;
    }

private:
    void append(std::string &result, const std::vector<std::string> &cells,
                const std::vector<size_t> &widths) const {
        std::string line;
        for (size_t i = 0; i < cells.size(); i++) {
            const std::string cell = shortened(cells[i], widths[i]);
            const std::string space(widths[i] - width_of(cell), ' ');
            line +=
                std::string(gap, ' ') + (columns_[i].to_the_right ? space + cell : cell + space);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + '\n';
    }

    std::vector<column> columns_;
    std::vector<std::vector<std::string>> rows_;
    size_t giving_way_;
};

// A table of the groups: the first `shown` and, in one line, the others.
std::string group_table(const profile &profile, const std::string &title,
                        const std::vector<profile::group> &groups, size_t shown, bool with_source) {
    std::vector<table::column> columns = {
        {"share", true}, {"count", true}, {"sites", true}, {title}};
    if (with_source)
        columns.push_back({"hottest at"});
    table table(columns, 3);
    const auto add = [&](uint64_t count, size_t sites, const std::string &name,
                         const std::string &source) {
        std::vector<std::string> cells = {percent(profile.share(count)), std::to_string(count),
                                          std::to_string(sites), name};
        if (with_source)
            cells.push_back(source);
        table.add(cells);
    };
    uint64_t count = 0;
    size_t sites = 0;
    for (size_t i = 0; i < groups.size(); i++)
        if (i < shown) {
            add(groups[i].count, groups[i].sites, groups[i].name,
                profile::source(*groups[i].first));
        } else {
            count += groups[i].count;
            sites += groups[i].sites;
        }
    if (groups.size() > shown)
        add(count, sites, std::to_string(groups.size() - shown) + " others", "");
    return table.text();
}

} // namespace

std::string as_text(const profile &profile) {
    std::string result = "Profile of";
    for (const std::string &word : profile.command)
        result += ' ' + word;
    result = shortened(readable(result), columns) + "\n" + std::to_string(profile.total) +
             " SVE instructions of " + std::to_string(profile.vector_bits) + "-bit vectors at " +
             std::to_string(profile.sites.size()) +
             (profile.sites.size() == 1 ? " address\n" : " addresses\n");
    if (profile.sites.empty())
        return result;

    table sites({{"share", true},
                 {"count", true},
                 {"address", true},
                 {"handler"},
                 {"function"},
                 {"source"}},
                4);
    uint64_t others = profile.total;
    for (size_t i = 0; i < profile.sites.size() && i < sites_shown; i++) {
        const profile::site &site = profile.sites[i];
        sites.add({percent(profile.share(site.count)), std::to_string(site.count),
                   hexadecimal(site.file_address), site.handler, profile.place(site),
                   profile::source(site)});
        others -= site.count;
    }
    if (profile.sites.size() > sites_shown)
        sites.add({percent(profile.share(others)), std::to_string(others), "",
                   std::to_string(profile.sites.size() - sites_shown) + " others", "", ""});
    const auto functions = profile.functions();
    result +=
        "\nBy function\n" + group_table(profile, "function", functions, functions_shown, true);
    result += "\nBy instruction\n" + sites.text();
    const auto families = profile.families();
    result += "\nBy family\n" + group_table(profile, "family", families, families.size(), false);
    const auto routes = profile.routes();
    result += "\nBy route\n" + group_table(profile, "route", routes, routes.size(), false);
    for (const std::string &note : profile.notes)
        result += "\nNote: " + readable(note) + '\n';
    return result;
}

} // namespace sverun
