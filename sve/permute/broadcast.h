#pragma once

// Broadcast, copy and select.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/core/handler_row.h"

namespace sve {
extern const handler_rows broadcast_rows;
}
