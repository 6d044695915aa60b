#pragma once

#include <cstdint>

namespace conformance {

// Runs translated code of several instructions, random ones of the rows that match, against the emulator, which runs
// them one by one: what they share (predicates known to be all true, scratch registers, the way to the emulator and
// back) must not show. Returns whether all is well.
bool check_runs(const char *rows, uint64_t runs, uint64_t seed);

} // namespace conformance
