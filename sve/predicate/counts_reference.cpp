#include "sve/predicate/counts.h"
