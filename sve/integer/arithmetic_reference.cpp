#include "sve/integer/arithmetic.h"
#include "sve/integer/integer_helpers.h"

#include <type_traits>

using namespace sve;

// ---- Operations on elements, held in their own type --------------------------------------------

static constexpr auto add = [](auto a, auto b) { return a + b; };
static constexpr auto subtract = [](auto a, auto b) { return a - b; };
static constexpr auto subtract_reversed = [](auto a, auto b) { return b - a; };
static constexpr auto negate = []<class T>(T a) { return -wider<T>{a}; };
static constexpr auto absolute = []<class T>(T a) { return a < 0 ? negate(a) : wider<T>{a}; };
static constexpr auto absolute_difference = []<class T>(T a, T b) {
    // It has no sign, and fits the unsigned type: no wider one is needed, which would make the loop longer.
    using U = std::make_unsigned_t<T>;
    return a > b ? static_cast<U>(a) - static_cast<U>(b) : static_cast<U>(b) - static_cast<U>(a);
};
// The low bits of a product don't depend on the sign; in an unsigned 64-bit type no product
// overflows.
static constexpr auto multiply = [](auto a, auto b) {
    return static_cast<unsigned long>(a) * static_cast<unsigned long>(b);
};
static constexpr auto multiply_high = []<class T>(T a, T b) {
    return wider<T>{a} * b >> (8 * sizeof(T));
};
static constexpr auto maximum = [](auto a, auto b) { return a < b ? b : a; };
static constexpr auto minimum = [](auto a, auto b) { return b < a ? b : a; };
static constexpr auto divide = []<class T>(T a, T b) { return b == 0 ? 0 : wider<T>{a} / b; };
static constexpr auto divide_reversed = []<class T>(T a, T b) { return divide(b, a); };
// Zda + Zn * Zm, and Za + Zdn * Zm: the first operand is the destination's old value.
static constexpr auto mla = [](auto da, auto n, auto m) {
    return static_cast<unsigned long>(da) + multiply(n, m);
};
static constexpr auto mls = [](auto da, auto n, auto m) {
    return static_cast<unsigned long>(da) - multiply(n, m);
};
static constexpr auto mad = [](auto dn, auto m, auto a) { return mla(a, dn, m); };
static constexpr auto msb = [](auto dn, auto m, auto a) { return mls(a, dn, m); };

// ---- The functions -----------------------------------------------------------------------------

#define VVX(type, T, op, f)                                                                        \
    VecT Vec##type##op##VVX(VecT n, VecT m, CpuContext *context) {                                 \
        return unpredicated<T>(context, f, n, m);                                                  \
    }
#define VVM(type, T, op, f)                                                                        \
    VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return merge_blocks<T>(context, dn, pg, f, dn, m);                                         \
    }
#define VM(type, T, op, f)                                                                         \
    VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                        \
        return merge_blocks<T>(context, d, pg, f, n);                                              \
    }
#define VIX(type, T, op, f)                                                                        \
    VecT Vec##type##op##VIX(VecT dn, T immediate, CpuContext *context) {                           \
        return unpredicated<T>(context, f, dn, immediate);                                         \
    }
#define VVVM(type, T, op, f)                                                                       \
    VecT Vec##type##op##VVVM(VecT a, PredV pg, VecT b, VecT c, CpuContext *context) {              \
        return merge_blocks<T>(context, a, pg, f, a, b, c);                                        \
    }

#define UNSIGNED(U, T)                                                                             \
    VVX(U, T, Add, add)                                                                            \
    VVX(U, T, Sub, subtract)                                                                       \
    VVM(U, T, Add, add)                                                                            \
    VVM(U, T, Sub, subtract)                                                                       \
    VVM(U, T, SubR, subtract_reversed)                                                             \
    VVM(U, T, Abd, absolute_difference)                                                            \
    VVM(U, T, MulH, multiply_high)                                                                 \
    VVM(U, T, Max, maximum)                                                                        \
    VVM(U, T, Min, minimum)                                                                        \
    VIX(U, T, Add, add)                                                                            \
    VIX(U, T, Sub, subtract)                                                                       \
    VIX(U, T, SubR, subtract_reversed)                                                             \
    VIX(U, T, Max, maximum)                                                                        \
    VIX(U, T, Min, minimum)
#define SIGNED(S, T)                                                                               \
    VVM(S, T, Abd, absolute_difference)                                                            \
    VVM(S, T, Mul, multiply)                                                                       \
    VVM(S, T, MulH, multiply_high)                                                                 \
    VVM(S, T, Max, maximum)                                                                        \
    VVM(S, T, Min, minimum)                                                                        \
    VM(S, T, Abs, absolute)                                                                        \
    VM(S, T, Neg, negate)                                                                          \
    VIX(S, T, Mul, multiply)                                                                       \
    VIX(S, T, Max, maximum)                                                                        \
    VIX(S, T, Min, minimum)                                                                        \
    VVVM(S, T, MLA, mla)                                                                           \
    VVVM(S, T, MLS, mls)                                                                           \
    VVVM(S, T, MADD, mad)                                                                          \
    VVVM(S, T, MSUB, msb)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

#define DIVISIONS(type, T)                                                                         \
    VVM(type, T, Div, divide)                                                                      \
    VVM(type, T, DivR, divide_reversed)
DIVISIONS(S32, int32_t)
DIVISIONS(S64, int64_t)
DIVISIONS(U32, uint32_t)
DIVISIONS(U64, uint64_t)

// The element's low part, as a number of the narrow type.
#define EXTEND(type, T, digits, Narrow)                                                            \
    VM(type, T, Extnd##digits, [](auto a) { return static_cast<Narrow>(a); })
EXTEND(S16, int16_t, 12, int8_t)
EXTEND(S32, int32_t, 14, int8_t)
EXTEND(S64, int64_t, 18, int8_t)
EXTEND(S32, int32_t, 24, int16_t)
EXTEND(S64, int64_t, 28, int16_t)
EXTEND(S64, int64_t, 48, int32_t)
EXTEND(U16, uint16_t, 12, uint8_t)
EXTEND(U32, uint32_t, 14, uint8_t)
EXTEND(U64, uint64_t, 18, uint8_t)
EXTEND(U32, uint32_t, 24, uint16_t)
EXTEND(U64, uint64_t, 28, uint16_t)
EXTEND(U64, uint64_t, 48, uint32_t)
