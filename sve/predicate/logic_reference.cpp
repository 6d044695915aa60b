#include "sve/predicate/logic.h"
