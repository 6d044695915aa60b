#include "sve/core/stubs.h"
#include "sve/predicate/logic.h"

using namespace sve;

constinit const handler_rows sve::predicate_logic_rows = {};
