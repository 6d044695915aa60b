#include "sve/predicate/compares.h"
#include "sve/predicate/flags.h"

#include <type_traits>

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
    set_flags<T>(context, pg, result);
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

// As compare_with_flags, where each element of type T in a doubleword of n meets the doubleword of m: in 64 bits, to
// which its own type extends it.
template <class T, class Relation>
static PredV compare_wide(CpuContext *context, const PredV &pg, Relation relation, const VecT &n,
                          const VecT &m) {
    using Wide = std::conditional_t<std::is_signed_v<T>, int64_t, uint64_t>;
    constexpr int width = 8 * sizeof(T);
    const PredV result = active_where<T>(context, pg, [&](unsigned block) {
        const auto elements = load_chunk<uint64_t>(n.byte, block);
        const auto value = load_chunk<Wide>(m.byte, block);
        chunk<uint64_t> holds = {};
#pragma GCC unroll 8 // shifts by constants
        for (int from = 0; from < 64; from += width) {
            const auto at_the_top = reinterpret_cast<chunk<Wide>>(elements << (64 - width - from));
            const auto all_ones = relation(at_the_top >> (64 - width), value);
            holds |= reinterpret_cast<chunk<uint64_t>>(all_ones) & lowest_of(width) << from;
        }
        return holds;
    });
    set_flags<T>(context, pg, result);
    return result;
}

#define VWZ(type, T, name, relation)                                                               \
    PredV Vec##type##CmpFlg##name##VWZ(PredV pg, VecT n, VecT m, CpuContext *context) {            \
        return compare_wide<T>(context, pg, relation, n, m);                                       \
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
