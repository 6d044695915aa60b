#pragma once

#include <cstdint>
#include <string>

namespace sverun {

// Path of the file that a shell would run for `word`: `word` itself if it has a slash, else the
// first executable file of that name in the directories of PATH. Throws a refusal if there is none
// or it may not be executed; `advice` ends its text where the file is not there.
std::string find_program(const std::string &word, const std::string &advice = "");

// Examines the program in the file `path`, and returns the path of the loader that it asks for.
// Throws a refusal unless it is an AArch64 Linux program that a library can be preloaded into. The
// file's content is trusted in nothing.
std::string loader_of_program(const std::string &path);

// Throws a refusal unless the file `path` is a whole AArch64 library, or program.
void require_library(const std::string &path);

// The address that the file `path` gives to its own first byte: what the address where it is loaded
// is counted from. Throws a refusal unless it is a whole AArch64 library or program.
uint64_t first_address_of(const std::string &path);

} // namespace sverun
