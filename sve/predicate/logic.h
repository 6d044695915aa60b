#pragma once

// Predicate logic.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/core/handler_row.h"

namespace sve {
extern const handler_rows predicate_logic_rows;
}
