#pragma once

// What a program executed, as it is told to the user: the record of the client library, with what
// the program's files say about the addresses, and the forms in which it is written.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sverun {

struct profile {
    struct module {
        uint64_t start, end;    // in memory, where it was found first
        uint64_t first_address; // in the file
        std::string path;
        std::string name; // of the file, or the path where two have the same
        bool is_readable;
    };
    // One SVE instruction of the program.
    struct site {
        uint64_t address;      // in memory
        uint64_t file_address; // in the module's file, as disassemblers show it; else as in memory
        uint32_t word;
        uint64_t count;
        std::string handler, family, route;
        std::optional<size_t> module; // none: the program made this code itself
        std::string function, file;   // empty where they are not known
        unsigned line = 0;            // likewise 0
        std::string instruction;      // as text, or empty
    };
    // The sites that have something in common.
    struct group {
        std::string name;
        uint64_t count = 0;
        size_t sites = 0;
        const site *first; // the most executed one
    };

    std::vector<std::string> command;
    unsigned vector_bits = 0;
    uint64_t total = 0;
    std::vector<module> modules;    // those with sites
    std::vector<site> sites;        // the most executed first
    std::vector<std::string> notes; // why something isn't known

    double share(uint64_t count) const {
        return total ? static_cast<double>(count) / static_cast<double>(total) : 0;
    }
    // The most executed first.
    std::vector<group> functions() const;
    std::vector<group> of_modules() const;
    std::vector<group> families() const;
    std::vector<group> routes() const;

    // Whether a site's place is told by its module, too.
    bool has_several_modules() const { return modules.size() > 1; }
    // Name of the site's module, "[generated code]" for none.
    std::string module_name(const site &site) const;
    // How a user knows a site's place: its function, or else the module and the address in its file.
    std::string place(const site &site) const;
    // "primes.c:34", or empty.
    static std::string source(const site &site);
};

// Reads a record as sve/client/profile.h has it; nothing if it isn't whole.
std::optional<profile> read_record(const std::string &text);

// Adds functions, source lines and the text of the instructions, by the tools of binutils. What is
// missing, and why, is added to the notes.
void add_symbols(profile &profile);

// Text on one line in UTF-8, whatever the names of a program's files and functions are.
std::string readable(std::string text);
// "12.3%"
std::string percent(double share);
std::string hexadecimal(uint64_t number);

// In lines of so many columns, if they can be; whole ones if it is 0.
std::string as_text(const profile &profile, size_t columns);
std::string as_json(const profile &profile);
std::string as_html(const profile &profile);

} // namespace sverun
