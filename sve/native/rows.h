#pragma once

// Whole rows: of registers in memory, and of elements that are found at run time.

#include "sve/native/code.h"

namespace sve::native {

// Makes all chunks of Zd what chunk 0 is.
void repeat_chunk(code &c, unsigned zd);

// Makes all chunks of Zd zero but chunk 0, as writes of Vd do.
void clear_rest(code &c, unsigned zd);

// Copies a number of chunks between two offsets of the state, the low ones first.
void copy_chunks(code &c, unsigned to, unsigned from, unsigned count);

// Zd = Zn
void copy_z(code &c, unsigned zd, unsigned zn);
// The whole of Zn in the spare row
void copy_to_spare(code &c, unsigned zn);

// An X register with the byte offset of the first or last element of a size that Pg makes active. Goes to `none` if it
// makes none active.
unsigned first_active(code &c, unsigned pg, unsigned size, label none);
unsigned last_active(code &c, unsigned pg, unsigned size, label none);

} // namespace sve::native
