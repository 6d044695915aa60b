#include "sve/integer/integer_helpers.h"
#include "sve/integer/logic.h"

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
static constexpr auto leading_sign_bits = []<class T>(T a) {
    // The sign extension of the element: the helper compares each bit with the one above it.
    return CountLeadingSignBits(a, width<T>);
};
static constexpr auto leading_zeros = []<class T>(T a) {
    return CountLeadingZeroBits(a, width<T>);
};
static constexpr auto set_bits = []<class T>(T a) { return BitCount(a, width<T>); };

#define VVM(type, T, op, f)                                                                        \
    VecT Vec##type##op##VVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                      \
        return merge<T>(context, dn, pg, f, dn, m);                                                \
    }
#define VM(type, T, op, f)                                                                         \
    VecT Vec##type##op##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                        \
        return merge<T>(context, d, pg, f, n);                                                     \
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
        return merge<T>(                                                                           \
            context, d, pg, [](T a) { return Reverse(a, width<T>, unit); }, n);                    \
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
