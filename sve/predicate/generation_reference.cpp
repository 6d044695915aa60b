#include "sve/predicate/generation.h"
