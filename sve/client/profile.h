#pragma once

#include "dr_api.h"

#include <cstdint>

namespace sve::client {

// Notes, if there is to be a profile, that the SVE instruction at `pc`, in the block that begins at
// `block`, is emulated from now on: in which module it lies is known now, and may not be at the end.
void note_for_profile(app_pc block, app_pc pc, uint32_t word);

// Writes what was counted for each instruction, if the client's options ask for it:
//
//     -profile FILE            the file, which must be there
//     -profile_process NUMBER  only by the process of this number, not by those that it starts
//
// Lines of fields that are parted by tabs, in ascending order of the addresses:
//
//     sve-profile 2  vector bits
//     module         first address  address behind the last  path
//     site           address  module  word  count  handler  family  route
//     end            count of all SVE instructions
//
// A site's module is a number, 0 for the module that was named first, or "-" for code that the
// program made. One address is several sites where a module took the place of another one, or the
// program wrote new code. Addresses and words are hexadecimal. Must not run while a thread is
// emulating.
void write_profile();

} // namespace sve::client
