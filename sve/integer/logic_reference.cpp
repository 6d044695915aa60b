#include "sve/integer/integer_helpers.h"
#include "sve/integer/logic.h"

#include <bit>
#include <limits>
#include <type_traits>

using namespace sve;

template <class T>
static constexpr int width = 8 * sizeof(T);

static constexpr auto bit_and = [](auto a, auto b) { return a & b; };
static constexpr auto bit_or = [](auto a, auto b) { return a | b; };
static constexpr auto bit_xor = [](auto a, auto b) { return a ^ b; };
static constexpr auto bit_clear = [](auto a, auto b) { return a & ~b; };
static constexpr auto invert = [](auto a) { return ~a; };
static constexpr auto is_zero = [](auto a) { return a == 0; };
static constexpr auto reverse_bits = []<class T>(T a) { return BitReverse(a, width<T>); };
static constexpr auto leading_zeros = [](auto a) { return std::countl_zero(a); };
static constexpr auto leading_sign_bits = []<class T>(T a) {
    const auto number = static_cast<std::make_signed_t<T>>(a);
    const auto signs = static_cast<T>(number < 0 ? ~number : number);
    return leading_zeros(signs) - 1; // the sign itself isn't counted
};
static constexpr auto set_bits = []<class T>(T a) { return BitCount(a, width<T>); };

// The element with its units of `unit_bytes` in reverse order: neighbours change places, then pairs, and so on.
template <unsigned unit_bytes>
static constexpr auto reverse_units = []<class T>(T a) {
    if constexpr (unit_bytes == 1 && sizeof(T) == 4)
        return __builtin_bswap32(a);
    if constexpr (unit_bytes == 1 && sizeof(T) == 8)
        return __builtin_bswap64(a);
    for (unsigned shift = 8 * unit_bytes; shift < 8 * sizeof(T); shift *= 2) {
        const T low_of_each_two = std::numeric_limits<T>::max() / ((T{1} << shift) + 1);
        a = static_cast<T>((a >> shift & low_of_each_two) | (a & low_of_each_two) << shift);
    }
    return a;
};

#define VVM(type, T, op, f)                                                                        \
    VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return merge_blocks<T>(context, dn, pg, f, dn, m);                                         \
    }
#define VM(type, T, op, f)                                                                         \
    VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                        \
        return merge_blocks<T>(context, d, pg, f, n);                                              \
    }
#define UNSIGNED(U, T)                                                                             \
    VVM(U, T, And, bit_and)                                                                        \
    VVM(U, T, Or, bit_or)                                                                          \
    VVM(U, T, Xor, bit_xor)                                                                        \
    VVM(U, T, Bic, bit_clear)                                                                      \
    VM(U, T, Inv, invert)                                                                          \
    VM(U, T, Not, is_zero)                                                                         \
    VM(U, T, RBit, reverse_bits)                                                                   \
    VM(U, T, Cls, leading_sign_bits)                                                               \
    VM(U, T, Clz, leading_zeros)                                                                   \
    VM(U, T, Cnt, set_bits)
SVE_UNSIGNED_TYPES(UNSIGNED)

#define REVERSE(type, T, unit)                                                                     \
    VecT Vec##type##Rev##unit##V(VecT d, PredV pg, VecT n, CpuContext *context) {                  \
        return merge_blocks<T>(context, d, pg, reverse_units<unit>, n);                            \
    }
REVERSE(U16, uint16_t, 1)
REVERSE(U32, uint32_t, 1)
REVERSE(U64, uint64_t, 1)
REVERSE(U32, uint32_t, 2)
REVERSE(U64, uint64_t, 2)
REVERSE(U64, uint64_t, 4)

#define VVX(op, f)                                                                                 \
    VecT VecU64##op##VVX(VecT n, VecT m, CpuContext *context) {                                    \
        return unpredicated<uint64_t>(context, f, n, m);                                           \
    }
#define VIX(op, f)                                                                                 \
    VecT VecU64##op##VIX(VecT dn, uint64_t mask, CpuContext *context) {                            \
        return unpredicated<uint64_t>(context, f, dn, mask);                                       \
    }
VVX(And, bit_and)
VVX(Or, bit_or)
VVX(Xor, bit_xor)
VVX(Bic, bit_clear)
VIX(And, bit_and)
VIX(Or, bit_or)
VIX(Xor, bit_xor)
