#pragma once

// A native instruction that writes Vn clears bytes 16 and up of Zn on a processor with SVE. Here it leaves them as they
// are, and it must be replaced where that can be noticed: where, tells the analysis (analysis/code.h).

#include "dr_api.h"

#include <cstdint>

namespace sve::client {

// In a block event, before the block is rewritten: finds the native instructions that have to be replaced before
// the program goes on at `pc`, asks the platform for them, and clears the upper bytes that this thread has
// written natively on its way there.
void find_native_writes(void *drcontext, app_pc pc);

// The Z registers whose upper bytes the native instruction `word` at `pc` has to clear: bit n for Zn, four at most. 0
// for all instructions that may stay. Only in a block event.
uint32_t native_write_at(app_pc pc, uint32_t word);

} // namespace sve::client
