#pragma once

#include "sve/core/cpu_state.h"

#include <map>

// A handler emulates one instruction form: it takes the operand fields from the word and does the
// instruction's work on the state.
using aarch64_handler = aarch64_decode_rc (*)(cpu_state *, unsigned int);

// A decode map takes the key of a word, its bits at the map's key fields, to the word's handler.
using decode_map = std::map<int, aarch64_handler>;
