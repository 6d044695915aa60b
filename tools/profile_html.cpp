// A profile as one page for a browser, which needs nothing beside it.
#include "tools/profile.h"

#include <algorithm>
#include <cstdio>

namespace sverun {
namespace {

constexpr size_t functions_shown = 20, sites_shown = 100;

constexpr const char *style = R"(
:root { color-scheme: light dark; --page: #f6f7f9; --card: #ffffff; --text: #1b1f24; --quiet: #5c6570;
  --line: #dfe3e8; --track: #e9edf2; --direct: #2f6fde; --reference: #d9822b; --no-op: #8a929c; }
@media (prefers-color-scheme: dark) { :root { --page: #14171b; --card: #1c2026; --text: #e4e7eb;
  --quiet: #98a2ae; --line: #30363d; --track: #2a3038; --direct: #5b95f5; --reference: #e59b4c;
  --no-op: #747d88; } }
* { box-sizing: border-box; }
body { margin: 0; padding: 2rem 1.25rem 4rem; background: var(--page); color: var(--text);
  font: 15px/1.45 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; }
main { max-width: 72rem; margin: 0 auto; }
h1 { font-size: 1.6rem; margin: 0 0 .25rem; overflow-wrap: anywhere; }
h2 { font-size: 1.05rem; margin: 0 0 .75rem; }
code, .mono { font-family: ui-monospace, "DejaVu Sans Mono", Consolas, monospace; font-size: .86em; }
.quiet { color: var(--quiet); }
.command { margin: 0 0 1.5rem; color: var(--quiet); overflow-wrap: anywhere; }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 10px;
  padding: 1.1rem 1.25rem; margin: 0 0 1.25rem; }
.numbers { display: flex; flex-wrap: wrap; gap: .75rem 3rem; margin: 0; }
.numbers div { display: flex; flex-direction: column-reverse; }
.numbers dd { margin: 0; font-size: 1.5rem; font-weight: 600; }
.numbers dt { color: var(--quiet); }
.routes { display: flex; gap: 2px; height: 14px; margin: 1.1rem 0 .6rem; border-radius: 7px; overflow: hidden; }
.routes i { min-width: 2px; }
.legend { display: flex; flex-wrap: wrap; gap: .25rem 1.5rem; margin: 0; padding: 0; list-style: none; }
.legend i { display: inline-block; width: .75em; height: .75em; border-radius: 3px; margin-right: .45em; }
.direct { background: var(--direct); }
.reference { background: var(--reference); }
.no-op, .unknown { background: var(--no-op); }
.pair { display: grid; grid-template-columns: minmax(0, 3fr) minmax(0, 2fr); gap: 0 1.25rem;
  align-items: start; }
@media (max-width: 60rem) { .pair { grid-template-columns: minmax(0, 1fr); } .groups .keep { display: none; } }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; }
th { text-align: left; font-weight: 500; color: var(--quiet); white-space: nowrap; }
th, td { padding: .32rem .9rem .32rem 0; border-bottom: 1px solid var(--line); vertical-align: middle; }
th:last-child, td:last-child { padding-right: 0; }
tbody tr:last-child td { border-bottom: 0; }
.number { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
.name { overflow-wrap: anywhere; }
.name > span { display: block; }
.name > .bar { margin: .3rem 0 .15rem; }
.groups td { vertical-align: top; }
.groups .name { width: 100%; }
.hottest .name { min-width: 17rem; }
.keep { white-space: nowrap; }
.bar, .routes { background: var(--track); }
.bar { border-radius: 4px; height: 8px; overflow: hidden; }
.bar i { display: block; height: 100%; min-width: 1px; border-radius: 4px; }
.relative { width: 8%; min-width: 4rem; }
.relative .bar { background: none; }
.tag { display: inline-block; width: .7em; height: .7em; border-radius: 3px; margin-right: .5em; }
)";

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : readable(text))
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    return result;
}

// With narrow spaces between groups of three digits.
std::string spaced(uint64_t number) {
    std::string digits = std::to_string(number);
    for (size_t i = digits.size(); i > 3;)
        digits.insert(i -= 3, "&#8239;");
    return digits;
}

std::string element(const char *name, const char *classes, const std::string &content,
                    const std::string &title = "") {
    std::string result = std::string("<") + name;
    if (*classes)
        result += std::string(" class=\"") + classes + '"';
    if (!title.empty())
        result += " title=\"" + escaped(title) + '"';
    return result + '>' + content + "</" + name + '>';
}

std::string cell(const char *classes, const std::string &content, const std::string &title = "") {
    return element("td", classes, content, title);
}

// The given part of the room around it.
std::string part(double share, const std::string &classes) {
    char width[32];
    std::snprintf(width, sizeof width, "%.2f%%", 100 * share);
    return "<i class=\"" + classes + "\" style=\"width:" + width + "\"></i>";
}

std::string bar(double share, const std::string &classes = "direct") {
    return "<div class=\"bar\">" + part(share, classes) + "</div>";
}

std::string header(const profile &profile, const std::vector<profile::group> &functions) {
    const std::string program = profile.command.empty() ? "" : profile.command[0];
    std::string command;
    for (const std::string &word : profile.command)
        command += (command.empty() ? "" : " ") + escaped(word);
    const auto number = [](const std::string &what, const std::string &value) {
        return "<div><dt>" + what + "</dt><dd>" + value + "</dd></div>\n";
    };
    return "<h1>" + escaped(program.substr(program.rfind('/') + 1)) + "</h1>\n" +
           "<p class=\"command\"><code>" + command + "</code></p>\n" +
           "<section class=\"card\">\n<dl class=\"numbers\">\n" +
           number("SVE instructions executed", spaced(profile.total)) +
           number("addresses", spaced(profile.sites.size())) +
           number("functions", spaced(functions.size())) +
           number("bits of a vector", spaced(profile.vector_bits)) + "</dl>\n";
}

std::string routes(const profile &profile) {
    std::string bars, legend;
    for (const profile::group &route : profile.routes()) {
        const std::string classes = escaped(route.name);
        bars += part(profile.share(route.count), classes);
        legend += "<li><i class=\"" + classes + "\"></i>" + escaped(route.name) + " route " +
                  percent(profile.share(route.count)) + " <span class=\"quiet\">" +
                  spaced(route.count) + "</span></li>\n";
    }
    if (bars.empty())
        return "</section>\n";
    return "<div class=\"routes\">" + bars + "</div>\n<ul class=\"legend\">\n" + legend +
           "</ul>\n</section>\n";
}

std::string groups(const profile &profile, const std::string &title,
                   const std::vector<profile::group> &groups, bool of_functions) {
    const bool with_module = of_functions && profile.has_several_modules();
    std::string result =
        "<section class=\"card\">\n<h2>" + title + "</h2>\n<table class=\"groups\">\n<tbody>\n";
    const auto add = [&](const std::string &name, const std::string &module,
                         const std::string &source, uint64_t count) {
        result += "<tr>" +
                  cell("name", element("span", of_functions ? "mono" : "", escaped(name)) +
                                   bar(profile.share(count))) +
                  (with_module ? cell("mono keep quiet", escaped(module)) : "") +
                  (of_functions ? cell("mono keep quiet", escaped(source)) : "") +
                  cell("number", percent(profile.share(count))) +
                  cell("number quiet", spaced(count)) + "</tr>\n";
    };
    uint64_t others = 0;
    for (size_t i = 0; i < groups.size(); i++)
        if (i < functions_shown || !of_functions)
            add(groups[i].name, profile.module_name(*groups[i].first),
                profile::source(*groups[i].first), groups[i].count);
        else
            others += groups[i].count;
    if (others)
        add(std::to_string(groups.size() - functions_shown) + " others", "", "", others);
    return result + "</tbody>\n</table>\n</section>\n";
}

std::string hottest(const profile &profile) {
    const double most = profile.share(profile.sites.front().count);
    const bool with_module = profile.has_several_modules();
    std::string result =
        "<section class=\"card hottest\">\n<h2>Hottest instructions</h2>\n<div class=\"scroll\">\n"
        "<table>\n<thead><tr><th class=\"number\">share</th><th></th><th "
        "class=\"number\">count</th>"
        "<th class=\"number\">address</th><th>instruction</th><th>handler</th><th>function</th>" +
        std::string(with_module ? "<th>module</th>" : "") +
        "<th>source</th></tr></thead>\n<tbody>\n";
    uint64_t others = profile.total;
    for (size_t i = 0; i < profile.sites.size() && i < sites_shown; i++) {
        const profile::site &site = profile.sites[i];
        const double share = profile.share(site.count);
        const std::string route = escaped(site.route);
        others -= site.count;
        result += "<tr>" + cell("number", percent(share)) +
                  cell("relative", bar(share / most, route)) + cell("number", spaced(site.count)) +
                  cell("number mono", hexadecimal(site.file_address),
                       "in memory " + hexadecimal(site.address)) +
                  cell("mono keep", escaped(site.instruction), "word " + hexadecimal(site.word)) +
                  cell("mono keep",
                       element("i", ("tag " + route).c_str(), "", route + " route") +
                           escaped(site.handler),
                       site.family + ", " + route + " route") +
                  cell("mono name", escaped(profile.place(site))) +
                  (with_module ? cell("mono keep", escaped(profile.module_name(site)),
                                      site.module ? profile.modules[*site.module].path : "")
                               : "") +
                  cell("mono keep", escaped(profile::source(site)), site.file) + "</tr>\n";
    }
    if (profile.sites.size() > sites_shown)
        result += "<tr>" + cell("number", percent(profile.share(others))) + cell("bar", "") +
                  cell("number", spaced(others)) + "<td colspan=\"" + (with_module ? "6" : "5") +
                  "\" class=\"quiet\">" + std::to_string(profile.sites.size() - sites_shown) +
                  " others</td></tr>\n";
    return result + "</tbody>\n</table>\n</div>\n</section>\n";
}

} // namespace

std::string as_html(const profile &profile) {
    const std::vector<profile::group> functions = profile.functions();
    const std::string program = profile.command.empty() ? "" : profile.command[0];
    std::string result =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
        escaped(program.substr(program.rfind('/') + 1)) + ": SVE profile</title>\n<style>" + style +
        "</style>\n</head>\n<body>\n<main>\n" + header(profile, functions) + routes(profile);
    if (profile.has_several_modules())
        result += groups(profile, "By module", profile.of_modules(), false);
    if (!profile.sites.empty())
        result += "<div class=\"pair\">\n" + groups(profile, "By function", functions, true) +
                  groups(profile, "By family", profile.families(), false) + "</div>\n" +
                  hottest(profile);
    for (const std::string &note : profile.notes)
        result += "<p class=\"quiet\">Note: " + escaped(note) + "</p>\n";
    return result + "</main>\n</body>\n</html>\n";
}

} // namespace sverun
