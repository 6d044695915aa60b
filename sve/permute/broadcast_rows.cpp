#include "sve/core/stubs.h"
#include "sve/permute/broadcast.h"

using namespace sve;

constinit const handler_rows sve::broadcast_rows = {};
