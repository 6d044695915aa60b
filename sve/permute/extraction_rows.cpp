#include "sve/core/stubs.h"
#include "sve/permute/extraction.h"

using namespace sve;

constinit const handler_rows sve::extraction_rows = {};
