#include "sve/integer/integer_helpers.h"
#include "sve/integer/shifts.h"

#include <algorithm>
#include <type_traits>

using namespace sve;

template <class T>
static constexpr int width = 8 * sizeof(T);

// A count is unsigned whatever its type.
template <class T>
static bool is_below_width(T count) {
    return static_cast<std::make_unsigned_t<T>>(count) < width<T>;
}

static constexpr auto shift_left = []<class T>(T a, T count) {
    return is_below_width(count) ? static_cast<wider<T>>(a) << count : 0;
};
// A longer shift leaves copies of the sign.
static constexpr auto shift_right = []<class T>(T a, T count) -> wider<T> {
    if (is_below_width(count))
        return a >> count;
    return std::is_signed_v<T> ? a >> (width<T> - 1) : 0;
};
static constexpr auto shift_left_reversed = [](auto a, auto b) { return shift_left(b, a); };
static constexpr auto shift_right_reversed = [](auto a, auto b) { return shift_right(b, a); };
// Division by a power of two, rounded toward zero.
static constexpr auto shift_right_rounding = []<class T>(T a, T count) {
    // One beyond the width is as good as a longer one: nothing remains.
    const int places = is_below_width(count) ? static_cast<int>(count) : width<T>;
    return (a + (a < 0 ? (wider<T>{1} << places) - 1 : 0)) >> places;
};

#define VVM(type, T, op, f)                                                                        \
    VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return merge_blocks<T>(context, dn, pg, f, dn, m);                                         \
    }
#define VIM(type, T, op, f)                                                                        \
    VecT Vec##type##op##VIM(VecT dn, PredV pg, T count, CpuContext *context) {                     \
        return merge_blocks<T>(context, dn, pg, f, dn, count);                                     \
    }
#define VIX(type, T, op, f)                                                                        \
    VecT Vec##type##op##VIX(VecT n, T count, CpuContext *context) {                                \
        return unpredicated<T>(context, f, n, count);                                              \
    }
#define ALL(type, T, op, f)                                                                        \
    VVM(type, T, op, f)                                                                            \
    VVM(type, T, op##R, f##_reversed)                                                              \
    VIM(type, T, op, f)                                                                            \
    VIX(type, T, op, f)
#define UNSIGNED(U, T)                                                                             \
    ALL(U, T, Shl, shift_left)                                                                     \
    ALL(U, T, Shr, shift_right)
#define SIGNED(S, T)                                                                               \
    ALL(S, T, Shr, shift_right)                                                                    \
    VIM(S, T, ShrD, shift_right_rounding)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

// The count of each doubleword as the count of each element of type T in it. One that is too great stays so.
template <class T>
static VecT wide_counts(const CpuContext *context, const VecT &m) {
    return unpredicated<uint64_t>(
        context,
        [](uint64_t count) {
            count = std::min<uint64_t>(count, width<T>);
            for (int filled = width<T>; filled < 64; filled *= 2)
                count |= count << filled;
            return count;
        },
        m);
}

#define WIDE(type, T, op, f)                                                                       \
    VecT Vec##type##op##VWM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return merge_blocks<T>(context, dn, pg, f, dn, wide_counts<T>(context, m));                \
    }                                                                                              \
    VecT Vec##type##op##VWX(VecT n, VecT m, CpuContext *context) {                                 \
        return unpredicated<T>(context, f, n, wide_counts<T>(context, m));                         \
    }
WIDE(U8, uint8_t, Shl, shift_left)
WIDE(U16, uint16_t, Shl, shift_left)
WIDE(U32, uint32_t, Shl, shift_left)
WIDE(U8, uint8_t, Shr, shift_right)
WIDE(U16, uint16_t, Shr, shift_right)
WIDE(U32, uint32_t, Shr, shift_right)
WIDE(S8, int8_t, Shr, shift_right)
WIDE(S16, int16_t, Shr, shift_right)
WIDE(S32, int32_t, Shr, shift_right)

// Bases plus scaled offsets of type Offset, which is taken from the low end of the element.
template <class T, class Offset>
static VecT addresses(const CpuContext *context, const VecT &n, const VecT &m, unsigned scale) {
    return unpredicated<T>(
        context,
        [scale](T base, T offset) {
            return base + static_cast<T>(static_cast<Offset>(offset)) * scale;
        },
        n, m);
}

#define LEA_FORM(type, T, Offset, scale, form)                                                     \
    VecT Vec##type##LEA##scale##form##VV(VecT n, VecT m, CpuContext *context) {                    \
        return addresses<T, Offset>(context, n, m, scale);                                         \
    }
#define LEA(scale)                                                                                 \
    LEA_FORM(U32, uint32_t, uint32_t, scale, )                                                     \
    LEA_FORM(U64, uint64_t, uint64_t, scale, )                                                     \
    LEA_FORM(U64, uint64_t, int32_t, scale, X)                                                     \
    LEA_FORM(U64, uint64_t, uint32_t, scale, Y)
LEA(1)
LEA(2)
LEA(4)
LEA(8)
