#include "sve/core/stubs.h"
#include "sve/predicate/counts.h"

using namespace sve;

constinit const handler_rows sve::element_count_rows = {};
