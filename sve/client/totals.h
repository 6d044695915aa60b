#pragma once

namespace sve::client {

// Writes the two totals as lines on the standard error stream, unless the client's options ask for another way:
//
//     -totals FILE            in a file instead. It is written beside and renamed, unless it is there and no regular
//                             one, and if that fails they do go to the standard error stream
//     -totals_json PROGRAM    there as a JSON object, which names the program so
//     -none_ran TEXT          where no SVE instruction ran, that is a line on the standard error stream
//     -first_process NUMBER   only the process of this number writes the file or the text; with a file, those that it
//                             starts write nothing
void write_totals();

} // namespace sve::client
