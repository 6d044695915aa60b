#pragma once

// How an instruction is replaced: by one branch to a trampoline.
//
//     site:        b trampoline              written last, one aligned store
//     trampoline:  the client's sequence     position-independent
//                  b site + 4
//
// All other code runs where it was. Where no trampoline fits within a branch, or the text can't be
// written, an instruction that traps keeps its word and is executed at each trap (trapped_code.h).
//
// A run of adjacent instructions may have one trampoline, at the first one's site, that leads behind the last one. The
// others keep their words, and trap if the program jumps there.
//
// Instructions that the processor knows are replaced in the same way. Such a one wouldn't trap: a
// trap takes its place where no trampoline fits, one out of reach ends in a trap that leads back, and where the text
// can't be written it stays as it is, which is told. Its trampoline may begin with a copy of it.

#include "platform/src/ir.h"

namespace platform {

// Writes out what the clients made of a block, whose text can be written or not. Under the patch lock.
void write_sites(const instrlist_t &list, bool is_writable);

// Whether a native instruction has stayed that was to be replaced.
bool natives_are_kept();

} // namespace platform
