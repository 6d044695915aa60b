#include "sve/integer/saturating.h"
#include "sve/integer/saturation.h"

#include <limits>
#include <type_traits>

using namespace sve;

// The nearer limit to a, in whose direction a signed result overflows.
template <class T>
static constexpr T limit(T a) {
    return static_cast<T>(a >> (8 * sizeof(T) - 1)) ^ std::numeric_limits<T>::max();
}

static constexpr auto add = []<class T>(T a, T b) -> T {
    if constexpr (std::is_unsigned_v<T>) {
        return increase_saturating(a, b);
    } else {
        using U = std::make_unsigned_t<T>;
        const auto sum = static_cast<T>(static_cast<U>(a) + static_cast<U>(b));
        // Its sign is that of neither operand.
        return ((a ^ sum) & (b ^ sum)) < 0 ? limit(a) : sum;
    }
};
static constexpr auto subtract = []<class T>(T a, T b) -> T {
    if constexpr (std::is_unsigned_v<T>) {
        return decrease_saturating(a, b);
    } else {
        using U = std::make_unsigned_t<T>;
        const auto difference = static_cast<T>(static_cast<U>(a) - static_cast<U>(b));
        return ((a ^ b) & (a ^ difference)) < 0 ? limit(a) : difference;
    }
};
// The sum with an immediate is exact before it is saturated, whatever the element's sign.
static constexpr auto add_immediate = increase_saturating;
static constexpr auto subtract_immediate = decrease_saturating;

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

// Of the two halves of each element of a chunk, the low or the high one, widened to the element.
static constexpr auto low_halves = [](auto pairs) {
    constexpr int half_width = 4 * sizeof pairs[0];
    return (pairs << half_width) >> half_width;
};
static constexpr auto high_halves = [](auto pairs) {
    constexpr int half_width = 4 * sizeof pairs[0];
    return pairs >> half_width;
};

// The elements of a, each with the products of the four quarters of elements of n and m added to it. A product of
// two quarters fits a Half.
template <class Wide, class Half>
static chunk<Wide> dot(chunk<Wide> a, chunk<Wide> n, chunk<Wide> m) {
    using Sum = chunk<std::make_unsigned_t<Wide>>; // modulo its width
    const auto n_halves = reinterpret_cast<chunk<Half>>(n),
               m_halves = reinterpret_cast<chunk<Half>>(m);
    auto sum = reinterpret_cast<Sum>(a);
    const auto add = [&](chunk<Half> products) {
        const auto pairs = reinterpret_cast<chunk<Wide>>(products);
        sum += reinterpret_cast<Sum>(low_halves(pairs)) + reinterpret_cast<Sum>(high_halves(pairs));
    };
    add(low_halves(n_halves) * low_halves(m_halves));
    add(high_halves(n_halves) * high_halves(m_halves));
    return reinterpret_cast<chunk<Wide>>(sum);
}

// The same of whole vectors; m(block) is the chunk that meets chunk `block` of n.
template <class Wide, class Half, class M>
static VecT dots(const CpuContext *context, const VecT &da, const VecT &n, M m) {
    VecT result;
    for (unsigned block = 0; block < block_count(context); block++)
        store_chunk<Wide>(result.byte, block,
                          dot<Wide, Half>(load_chunk<Wide>(da.byte, block),
                                          load_chunk<Wide>(n.byte, block), m(block)));
    return result;
}

#define DOT(type, Wide, Half)                                                                      \
    VecT Vec##type##DotVVVX(VecT n, VecT m, VecT da, CpuContext *context) {                        \
        return dots<Wide, Half>(context, da, n,                                                    \
                                [&](unsigned block) { return load_chunk<Wide>(m.byte, block); });  \
    }                                                                                              \
    /* Zm's element of the same 128-bit segment that the index names */                            \
    VecT Vec##type##DotVVVIX(VecT n, VecT m, VecT da, unsigned index, CpuContext *context) {       \
        return dots<Wide, Half>(context, da, n, [&](unsigned block) {                              \
            return chunk<Wide>{} + m.get<Wide>(block * block_elements<Wide> + index);              \
        });                                                                                        \
    }
DOT(S32, int32_t, int16_t)
DOT(S64, int64_t, int32_t)
DOT(U32, uint32_t, uint16_t)
DOT(U64, uint64_t, uint32_t)
