#include "sve/predicate/compares.h"
