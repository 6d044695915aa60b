#include "sve/permute/reorder.h"
