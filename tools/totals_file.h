#pragma once

#include <string>

namespace sverun {

// The path by which the client library finds the file for the totals, whatever directory the program is in then. Throws
// a refusal if the file can't be written.
std::string writable_totals_file(const std::string &file);

} // namespace sverun
