#pragma once

#include <functional>
#include <string>
#include <vector>

namespace sverun {

// Where the profile goes and what it looks like.
struct profile_request {
    std::string file;   // empty: the standard error stream; "-": standard output
    std::string format; // empty: text
};

// Runs the program in a child process, writes its profile, and ends as the program ended. `become`
// makes the program of the calling process; the words for the client that it gets, each ended by a
// newline, have to come before others. Throws a refusal before it starts anything.
[[noreturn]] void
run_with_profile(const profile_request &request, const std::vector<std::string> &command,
                 const std::function<void(const std::string &client_args)> &become);

} // namespace sverun
