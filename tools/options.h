#pragma once

#include "tools/profile_run.h"
#include "tools/refusal.h"

#include <optional>
#include <string>
#include <vector>

namespace sverun {

// Where the totals go and what they look like.
struct totals_request {
    std::string file; // empty: the standard error stream
    bool as_json = false;
};

// What the options and the command line ask for.
struct request {
    std::optional<std::string> client; // in place of a client library installed with sverun
    std::optional<unsigned> vector_bits;
    bool statistics = true;
    std::optional<totals_request> totals; // asked for by --stats
    bool libraries = false;
    bool keep_upper = false;
    std::string client_args;    // words for the client library, each ended by a newline
    bool names_process = false; // it is to hear which process the program becomes
    std::optional<unsigned> rewrite_after; // traps; 0: never
    bool translate = true;
    bool report = false;
    std::optional<profile_request> profile;
    std::string emulator = "qemu-aarch64";
    std::string cpu = "neoverse-n1"; // no SVE, and all that compilers take for granted beside it
    std::string sysroot;
    std::vector<std::string> command; // the program as the user names it, and its arguments
    std::string
        advice; // where the program can't be run, and may have been meant as an option's file
};

refusal usage_error(const std::string &what);

// Reads the options in SVERUN_OPTIONS and then the command line, whose options win. --help and --version end the
// process. Throws a refusal.
request read_options(int argc, char **argv);

} // namespace sverun
