#pragma once

#include "sve/core/decode_maps.h"
#include "sve/core/vector_use.h"
#include "sve/core/translation.h"

#include <span>

namespace sve {

// How a handler does its work: in place on the state, by a reference function of values, or not at all.
enum class handler_route : unsigned char { direct, reference, no_op };

// Everything that is particular to one handler stands in one row, in the rows file of its family.
struct handler_row {
    const char *name; // of the handler
    decode_map *map;  // the map that holds it
    unsigned key;     // its key in that map
    aarch64_handler handler;
    // For a handler on the direct route, the stub of its reference function: the second
    // implementation of the same operation, which only the comparison of the two runs.
    aarch64_handler reference = nullptr;
    handler_route route = handler_route::direct;
    vector_use vectors = {}; // that the form's words read and write
    native::translation translate = nullptr; // into native code; null: only the handler does the work
};

// A family's rows: constant-initialised, so that they are there when the maps are filled from them.
using handler_rows = std::span<const handler_row>;

struct handler_family {
    const char *name; // as users see it
    const handler_rows &rows;
};

} // namespace sve
