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

// The sum of an element of Zda and the products of the four quarters, of type Narrow, of elements of Zn and Zm.
// They are told by shifts, since operations on whole elements become vector instructions.
template <class Narrow>
static constexpr auto dot = []<class Wide>(Wide a, Wide n, Wide m) {
    using Sum = std::make_unsigned_t<Wide>; // modulo its width
    constexpr int narrow = 8 * sizeof(Narrow);
    auto sum = static_cast<Sum>(a);
    for (int up = 0; up < 4 * narrow; up += narrow) {
        const auto quarter = [up](Wide x) {
            return static_cast<Sum>(static_cast<Wide>(static_cast<Sum>(x) << up) >> 3 * narrow);
        };
        sum += quarter(n) * quarter(m);
    }
    return sum;
};

#define DOT(type, Wide, Narrow)                                                                    \
    VecT Vec##type##DotVVVX(VecT n, VecT m, VecT da, CpuContext *context) {                        \
        return unpredicated<Wide>(context, dot<Narrow>, da, n, m);                                 \
    }                                                                                              \
    /* Zm's element of the same 128-bit segment that the index names */                            \
    VecT Vec##type##DotVVVIX(VecT n, VecT m, VecT da, unsigned index, CpuContext *context) {       \
        constexpr unsigned in_segment = 16 / sizeof(Wide);                                         \
        const elements_by indexed{                                                                 \
            [&m, index](unsigned e) { return m.get<Wide>(e / in_segment * in_segment + index); }}; \
        return unpredicated<Wide>(context, dot<Narrow>, da, n, indexed);                           \
    }
DOT(S32, int32_t, int8_t)
DOT(S64, int64_t, int16_t)
DOT(U32, uint32_t, uint8_t)
DOT(U64, uint64_t, uint16_t)
