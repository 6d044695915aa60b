#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace sverun {

// The vector length without --vl.
inline constexpr unsigned default_vector_bits = SVE_VECTOR_BITS;

// The directory of the AArch64 libraries.
std::filesystem::path library_directory();

// The vector lengths for which client libraries are installed: those that count what they emulate, or the others.
std::set<unsigned> installed_lengths(bool counting);

// As a list for a message.
std::string text_of(const std::set<unsigned> &lengths);

// Path of the client library for a vector length, which may not be there.
std::filesystem::path installed_client(unsigned vector_bits, bool counting);

} // namespace sverun
