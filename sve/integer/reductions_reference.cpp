#include "sve/integer/integer_helpers.h"
#include "sve/integer/reductions.h"

#include <limits>

using namespace sve;

// Each fold starts from its identity. Elements come in their own type, the accumulator has 64 bits.
#define REDUCE(type, T, op, identity, step)                                                        \
    unsigned long Vec##type##op##ReduceV(PredV pg, VecT n, CpuContext *context) {                  \
        return fold_active<T>(context, pg, n, static_cast<unsigned long>(identity),                \
                              [](unsigned long a, T b) -> unsigned long { return step; });         \
    }
#define UNSIGNED(U, T)                                                                             \
    REDUCE(U, T, Add, 0, a + b)                                                                    \
    REDUCE(U, T, And, std::numeric_limits<T>::max(), a &b)                                         \
    REDUCE(U, T, Or, 0, a | b)                                                                     \
    REDUCE(U, T, Xor, 0, a ^ b)                                                                    \
    REDUCE(U, T, Max, 0, Max(a, b, 8 * sizeof(T), 1))                                              \
    REDUCE(U, T, Min, std::numeric_limits<T>::max(), Min(a, b, 8 * sizeof(T), 1))
#define SIGNED(S, T)                                                                               \
    REDUCE(S, T, Max, std::numeric_limits<T>::min(), Max(a, b, 8 * sizeof(T), 0))                  \
    REDUCE(S, T, Min, std::numeric_limits<T>::max(), Min(a, b, 8 * sizeof(T), 0))
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

REDUCE(S8, int8_t, Add, 0, a + static_cast<unsigned long>(b))
REDUCE(S16, int16_t, Add, 0, a + static_cast<unsigned long>(b))
REDUCE(S32, int32_t, Add, 0, a + static_cast<unsigned long>(b))
