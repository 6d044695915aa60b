#pragma once

#include <cstdint>

namespace conformance {

// Runs random words of the SVE encoding space on the processor. A word that the processor refuses must not be
// recognised, but where the table of known differences has it; words that only the processor knows are counted
// and, by their top bits, listed. Returns whether all is well.
bool check_encodings(uint64_t words, uint64_t seed);

} // namespace conformance
