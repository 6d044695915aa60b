#include "sve/core/stubs.h"
#include "sve/predicate/compares.h"

using namespace sve;

constinit const handler_rows sve::integer_compare_rows = {};
