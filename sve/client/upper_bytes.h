#pragma once

// A native instruction that writes Vn clears bytes 16 and up of Zn on a processor with SVE. Here it leaves them as they
// are, and it must be replaced where that can be noticed.

#include "dr_api.h"

#include <cstdint>

namespace sve::client {

// The Z registers whose upper bytes the native instruction `word` at `pc` has to clear: bit n for Zn, four at most. 0
// for all instructions that may stay. Only in a block event.
uint32_t clears_upper_bytes(app_pc pc, uint32_t word);

} // namespace sve::client
