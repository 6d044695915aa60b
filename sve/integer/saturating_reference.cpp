#include "sve/integer/saturating.h"

#include <limits>
#include <type_traits>

using namespace sve;

// The limit that a result of T lies beyond.
template <class T>
static constexpr T limit(bool below) {
    return below ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
}

static constexpr auto add = []<class T>(T a, T b) {
    T sum;
    return __builtin_add_overflow(a, b, &sum) ? limit<T>(std::is_signed_v<T> && a < T{0}) : sum;
};
static constexpr auto subtract = []<class T>(T a, T b) {
    T difference;
    return __builtin_sub_overflow(a, b, &difference) ? limit<T>(std::is_unsigned_v<T> || a < T{0})
                                                     : difference;
};
// The sum with an immediate is exact before it is saturated, whatever the element's sign.
static constexpr auto add_immediate = []<class T>(T a, std::make_unsigned_t<T> immediate) {
    T sum;
    return __builtin_add_overflow(a, immediate, &sum) ? limit<T>(false) : sum;
};
static constexpr auto subtract_immediate = []<class T>(T a, std::make_unsigned_t<T> immediate) {
    T difference;
    return __builtin_sub_overflow(a, immediate, &difference) ? limit<T>(true) : difference;
};

#define SATURATING(type, T, op, f)                                                                 \
    VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *context) {                                 \
        return unpredicated<T>(context, f, n, m);                                                  \
    }                                                                                              \
    VecT Vec##type##op##VIX(VecT dn, std::make_unsigned_t<T> immediate, CpuContext *context) {     \
        return unpredicated<T>(context, f##_immediate, dn, immediate);                             \
    }
#define BOTH(type, T)                                                                              \
    SATURATING(type, T, QAdd, add)                                                                 \
    SATURATING(type, T, QSub, subtract)
SVE_UNSIGNED_TYPES(BOTH)
SVE_SIGNED_TYPES(BOTH)

// Element e of Zda plus four products. `group_of(e)` is the group of four in Zm that e is multiplied
// with: those of its own place, or one of its 128-bit segment.
template <class Wide, class Narrow, class Group>
static VecT dot(const CpuContext *context, const VecT &n, const VecT &m, const VecT &da,
                Group group_of) {
    VecT result;
    for (unsigned e = 0; e < element_count<Wide>(context); e++) {
        auto sum = static_cast<unsigned long>(da.get<Wide>(e)); // modulo the width of all
        for (unsigned j = 0; j < 4; j++)
            sum += static_cast<unsigned long>(long{n.get<Narrow>(4 * e + j)} *
                                              m.get<Narrow>(4 * group_of(e) + j));
        result.set<Wide>(e, static_cast<Wide>(sum));
    }
    return result;
}

#define DOT(type, Wide, Narrow)                                                                    \
    VecT Vec##type##DotVVVX(VecT n, VecT m, VecT da, CpuContext *context) {                        \
        return dot<Wide, Narrow>(context, n, m, da, [](unsigned e) { return e; });                 \
    }                                                                                              \
    VecT Vec##type##DotVVVIX(VecT n, VecT m, VecT da, unsigned index, CpuContext *context) {       \
        constexpr unsigned in_segment = 16 / sizeof(Wide);                                         \
        return dot<Wide, Narrow>(context, n, m, da, [index](unsigned e) {                          \
            return e / in_segment * in_segment + index;                                            \
        });                                                                                        \
    }
DOT(S32, int32_t, int8_t)
DOT(S64, int64_t, int16_t)
DOT(U32, uint32_t, uint8_t)
DOT(U64, uint64_t, uint16_t)
