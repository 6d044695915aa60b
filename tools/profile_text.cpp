// A profile as text. Only on a terminal names are cut, so that its lines stay lines.
#include "tools/profile.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

namespace sverun {
namespace {

constexpr size_t gap = 2;
constexpr size_t functions_shown = 20, sites_shown = 40;

bool begins_character(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
}

size_t width_of(const std::string &text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

// `count` characters from the one with the number `first` on.
std::string part(const std::string &text, size_t first, size_t count) {
    std::string result;
    size_t number = 0; // of the next character
    for (const char c : text) {
        number += begins_character(c);
        if (number > first && number <= first + count)
            result += c;
    }
    return result;
}

// `width` characters at most; an ellipsis stands for those in the middle.
std::string shortened(const std::string &text, size_t width) {
    const size_t all = width_of(text);
    if (all <= width || width == 0)
        return text;
    const size_t tail = (width - 1) / 2;
    return part(text, 0, width - 1 - tail) + "…" + part(text, all - tail, tail);
}

// Broken at spaces into lines of `width` characters, where they can be.
std::string wrapped(const std::string &text, size_t width) {
    std::string result, word;
    size_t used = 0;
    std::istringstream words(text);
    while (std::getline(words, word, ' ')) {
        const bool fits = width == 0 || used + 1 + width_of(word) <= width;
        if (!result.empty())
            result += fits ? ' ' : '\n';
        used = fits && !result.empty() ? used + 1 + width_of(word) : width_of(word);
        result += word;
    }
    return result + '\n';
}

// Columns as wide as their widest cell. One that has only empty cells is left out. Where lines get
// too long, columns of names give way.
class table {
public:
    enum kind { number, name, spare_name }; // the last one goes first
    struct column {
        std::string title;
        kind is = name;
    };
    table(std::vector<column> columns, size_t width)
        : columns_(std::move(columns)), width_(width) {}

    void add(std::vector<std::string> cells) {
        for (std::string &cell : cells)
            cell = readable(std::move(cell));
        rows_.push_back(std::move(cells));
    }

    std::string text() const {
        std::string result;
        std::vector<std::string> titles;
        for (const column &column : columns_)
            titles.push_back(column.title);
        const std::vector<size_t> widths = fitted_widths();
        append(result, titles, widths);
        for (const auto &row : rows_)
            append(result, row, widths);
        return result;
    }

private:
    std::vector<size_t> natural_widths() const {
        std::vector<size_t> widths;
        for (size_t i = 0; i < columns_.size(); i++) {
            size_t width = 0;
            for (const auto &row : rows_)
                width = std::max(width, width_of(row[i]));
            widths.push_back(width ? std::max(width, width_of(columns_[i].title)) : 0);
        }
        return widths;
    }

    // Makes the widest names narrower until a line fits. False if that leaves less than `least`.
    bool fit(std::vector<size_t> &widths, size_t least) const {
        size_t line = 0;
        for (const size_t width : widths)
            line += width ? gap + width : 0;
        for (; width_ != 0 && line > width_; line--) {
            size_t *widest = nullptr;
            for (size_t i = 0; i < widths.size(); i++)
                if (columns_[i].is != number && widths[i] > least &&
                    (!widest || widths[i] >= *widest))
                    widest = &widths[i];
            if (!widest)
                return false;
            --*widest;
        }
        return true;
    }

    // 0: the column is left out.
    std::vector<size_t> fitted_widths() const {
        constexpr size_t readable_width = 14;
        std::vector<size_t> widths = natural_widths();
        if (fit(widths, readable_width))
            return widths;
        widths = natural_widths();
        for (size_t i = 0; i < columns_.size(); i++)
            if (columns_[i].is == spare_name)
                widths[i] = 0;
        fit(widths, 1);
        return widths;
    }

    void append(std::string &result, const std::vector<std::string> &cells,
                const std::vector<size_t> &widths) const {
        std::string line;
        for (size_t i = 0; i < cells.size(); i++) {
            if (widths[i] == 0)
                continue;
            const std::string cell = shortened(cells[i], widths[i]);
            const std::string space(widths[i] - width_of(cell), ' ');
            line +=
                std::string(gap, ' ') + (columns_[i].is == number ? space + cell : cell + space);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + '\n';
    }

    std::vector<column> columns_;
    std::vector<std::vector<std::string>> rows_;
    size_t width_;
};

// A table of groups: the first `shown` and, in one line, the others. Those of functions tell more.
// Names of functions stand last, since they may be long.
std::string group_table(const profile &profile, const std::string &title,
                        const std::vector<profile::group> &groups, size_t width,
                        size_t shown = ~size_t{0}, bool of_functions = false) {
    table table({{"share", table::number},
                 {"count", table::number},
                 {"sites", table::number},
                 {"hottest at"},
                 {"module"},
                 {title}},
                width);
    const bool with_module = of_functions && profile.has_several_modules();
    const auto add = [&](uint64_t count, size_t sites, const std::string &source,
                         const std::string &module, const std::string &name) {
        table.add({percent(profile.share(count)), std::to_string(count), std::to_string(sites),
                   source, module, name});
    };
    uint64_t count = 0;
    size_t sites = 0;
    for (size_t i = 0; i < groups.size(); i++)
        if (i < shown) {
            const profile::site &first = *groups[i].first;
            add(groups[i].count, groups[i].sites, of_functions ? profile::source(first) : "",
                with_module ? profile.module_name(first) : "", groups[i].name);
        } else {
            count += groups[i].count;
            sites += groups[i].sites;
        }
    if (groups.size() > shown)
        add(count, sites, "", "", std::to_string(groups.size() - shown) + " others");
    return table.text();
}

std::string site_table(const profile &profile, size_t width) {
    table table({{"share", table::number},
                 {"count", table::number},
                 {"address", table::number},
                 {"instruction"},
                 {"handler", table::spare_name},
                 {"source"},
                 {"module"},
                 {"function"}},
                width);
    const bool with_module = profile.has_several_modules();
    uint64_t others = profile.total;
    for (size_t i = 0; i < profile.sites.size() && i < sites_shown; i++) {
        const profile::site &site = profile.sites[i];
        table.add({percent(profile.share(site.count)), std::to_string(site.count),
                   hexadecimal(site.file_address), site.instruction, site.handler,
                   profile::source(site), with_module ? profile.module_name(site) : "",
                   profile.place(site)});
        others -= site.count;
    }
    if (profile.sites.size() > sites_shown)
        table.add({percent(profile.share(others)), std::to_string(others), "", "", "", "", "",
                   std::to_string(profile.sites.size() - sites_shown) + " others"});
    return table.text();
}

} // namespace

std::string as_text(const profile &profile, size_t columns) {
    std::string result = "Profile of";
    for (const std::string &word : profile.command)
        result += ' ' + word;
    result = shortened(readable(result), columns) + "\n" +
             wrapped(std::to_string(profile.total) + " SVE instructions of " +
                         std::to_string(profile.vector_bits) + "-bit vectors at " +
                         std::to_string(profile.sites.size()) +
                         (profile.sites.size() == 1 ? " address" : " addresses"),
                     columns);
    if (profile.sites.empty())
        return result;
    if (profile.has_several_modules())
        result += "\nBy module\n" + group_table(profile, "module", profile.of_modules(), columns);
    result += "\nBy function\n" +
              group_table(profile, "function", profile.functions(), columns, functions_shown, true);
    result += "\nBy instruction\n" + site_table(profile, columns);
    result += "\nBy family\n" + group_table(profile, "family", profile.families(), columns);
    result += "\nBy route\n" + group_table(profile, "route", profile.routes(), columns);
    for (const std::string &note : profile.notes)
        result += '\n' + wrapped("Note: " + readable(note), columns);
    return result;
}

} // namespace sverun
