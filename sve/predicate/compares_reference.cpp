#include "sve/predicate/compares.h"
#include "sve/predicate/flags.h"

using namespace sve;

static constexpr auto equal = [](auto a, auto b) { return a == b; };
static constexpr auto not_equal = [](auto a, auto b) { return a != b; };
static constexpr auto greater_or_equal = [](auto a, auto b) { return a >= b; };
static constexpr auto greater = [](auto a, auto b) { return a > b; };
static constexpr auto less_or_equal = [](auto a, auto b) { return a <= b; };
static constexpr auto less = [](auto a, auto b) { return a < b; };

// The predicate of the elements that are active and for which the relation holds, and the flags it
// sets.
template <class T, class Relation, class... Operand>
static PredV compare_with_flags(CpuContext *context, const PredV &pg, Relation relation,
                                const Operand &...operand) {
    const PredV result = compare_blocks<T>(context, pg, relation, operand...);
    PredSetNZCV(pg, result, 8 * sizeof(T), context);
    return result;
}

#define VVZ(type, T, name, relation)                                                               \
    PredV Vec##type##CmpFlg##name##VVZ(PredV pg, VecT n, VecT m, CpuContext *context) {            \
        return compare_with_flags<T>(context, pg, relation, n, m);                                 \
    }
#define VIZ(type, T, name, relation)                                                               \
    PredV Vec##type##CmpFlg##name##VIZ(PredV pg, VecT n, T immediate, CpuContext *context) {       \
        return compare_with_flags<T>(context, pg, relation, n, immediate);                         \
    }
#define WITH_IMMEDIATE(type, T)                                                                    \
    VIZ(type, T, GE, greater_or_equal)                                                             \
    VIZ(type, T, GT, greater)                                                                      \
    VIZ(type, T, LE, less_or_equal)                                                                \
    VIZ(type, T, LT, less)
#define SIGNED(S, T)                                                                               \
    VVZ(S, T, EQ, equal)                                                                           \
    VVZ(S, T, NE, not_equal)                                                                       \
    VVZ(S, T, GE, greater_or_equal)                                                                \
    VVZ(S, T, GT, greater)                                                                         \
    VIZ(S, T, EQ, equal)                                                                           \
    VIZ(S, T, NE, not_equal)                                                                       \
    WITH_IMMEDIATE(S, T)
#define UNSIGNED(U, T)                                                                             \
    VVZ(U, T, GE, greater_or_equal)                                                                \
    VVZ(U, T, GT, greater)                                                                         \
    WITH_IMMEDIATE(U, T)
SVE_SIGNED_TYPES(SIGNED)
SVE_UNSIGNED_TYPES(UNSIGNED)

// The element meets the wide value in 64 bits, to which its own type extends it.
#define VWZ(type, T, name, relation)                                                               \
    PredV Vec##type##CmpFlg##name##VWZ(PredV pg, VecT n, VecT m, CpuContext *context) {            \
        return compare_with_flags<T>(context, pg, relation, n, wide_elements<T>{m});               \
    }
#define WIDE(type, T)                                                                              \
    VWZ(type, T, GE, greater_or_equal)                                                             \
    VWZ(type, T, GT, greater)                                                                      \
    VWZ(type, T, LE, less_or_equal)                                                                \
    VWZ(type, T, LT, less)
#define WIDE_SIGNED(S, T)                                                                          \
    VWZ(S, T, EQ, equal)                                                                           \
    VWZ(S, T, NE, not_equal)                                                                       \
    WIDE(S, T)
WIDE_SIGNED(S8, int8_t)
WIDE_SIGNED(S16, int16_t)
WIDE_SIGNED(S32, int32_t)
WIDE(U8, uint8_t)
WIDE(U16, uint16_t)
WIDE(U32, uint32_t)
