#include "sve/core/stubs.h"
#include "sve/predicate/generation.h"

using namespace sve;

constinit const handler_rows sve::predicate_generation_rows = {};
