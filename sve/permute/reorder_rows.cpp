#include "sve/core/stubs.h"
#include "sve/permute/reorder.h"

using namespace sve;

constinit const handler_rows sve::reorder_rows = {};
