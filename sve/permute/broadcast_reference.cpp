#include "sve/permute/broadcast.h"
