#include "sve/permute/extraction.h"
