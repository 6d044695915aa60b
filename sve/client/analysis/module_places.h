#pragma once

// All places of a module at once, when its first SVE instruction is met: what runs later finds them rewritten from its
// first instruction on.

#include "sve/client/analysis/code.h"
#include "sve/client/analysis/module_image.h"

#include <vector>

namespace sve::analysis {

struct module_places {
    std::vector<place>
        native; // native instructions where upper bytes have to be cleared, in ascending order
    std::vector<uintptr_t>
        sve; // SVE instructions that have been reached, in ascending order, nearly all of them
};

// All of the module's functions that matter. Looked at are
//
//     functions that hold SVE instructions
//     functions that they call or jump to, where they read upper bytes behind that: a result may
//     have been made natively
//     functions that call or jump to those which read upper bytes before they write them: an argument may have been
//     made natively
//
// and so on, through functions that only hand on. An indirect call is taken to read Z0 to Z7, if they were written
// natively in the function that calls, and to return nothing that was made natively.
module_places find_places(const sve_words &sve, const module_image &image);

// The function loaded and followed, to answer questions about it. Calls are taken to read Z0 to Z7.
void load_function(code_stretch &stretch, const function &function,
                   std::span<const uint32_t> words);

} // namespace sve::analysis
