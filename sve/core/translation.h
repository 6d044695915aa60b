#pragma once

#include <cstdint>

namespace sve::native {

class code;

// Writes native code that does what an instruction does: the translation of a row's words.
using translation = void (*)(code &, uint32_t word);

} // namespace sve::native
