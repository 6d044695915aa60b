#pragma once

// The core of the conversions to integers.

#include "sve/fplib/format.h"

namespace fplib {

// (-1)^sgn * mnt * 2^(exp - 1023 - 52), the number's layout in double, rounded to an integer of 64
// bits. `exp` is at most 1086. The only flag is set alone: IOC with the nearest integer if the
// result is out of range, or IXC.
long FPToFixed_64(int sgn, int exp, unsigned long mnt, bool unsigned_, FPRounding rounding,
                  int *flags);

} // namespace fplib
