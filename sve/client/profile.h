#pragma once

namespace sve::client {

// Writes what was counted for each instruction, if the client's options ask for it:
//
//     -profile FILE            the file, which must be there
//     -profile_process NUMBER  only by the process of this number, not by those that it starts
//
// Lines of fields that are parted by tabs, in ascending order of the addresses:
//
//     sve-profile 1  vector bits
//     module         first address  address behind the last  path
//     site           address  word  count  handler  family  route
//     end            count of the sites
//
// A site lies in the module that was named last, if its address does, and else in code that the
// program made. Numbers are hexadecimal but for counts and bits. Must not run while a thread is
// emulating.
void write_profile();

} // namespace sve::client
