#include "sve/integer/saturation.h"
#include "sve/predicate/counts.h"
#include "sve/predicate/flags.h"
#include "sve/predicate/patterns.h"

#include <bit>
#include <type_traits>

using namespace sve;

// ---- Counts, of elements of type T -------------------------------------------------------------

template <class T>
static unsigned long counted(const CpuContext *context, unsigned pattern, unsigned imm4) {
    const int elements = static_cast<int>(element_count<T>(context));
    const auto count = static_cast<unsigned long>(VecTrueILength(pattern, elements));
    return count + imm4 * count;
}

template <class T>
static unsigned long active_count(const CpuContext *context, const PredV &pg, const PredV &pn) {
    unsigned long count = 0;
    for (int i = 0; i < word_count(context); i++)
        count +=
            static_cast<unsigned long>(std::popcount(active_word<T>(context, pg, i) & pn.word[i]));
    return count;
}
template <class T>
static unsigned long active_count(const CpuContext *context, const PredV &pn) {
    return active_count<T>(context, pn, pn);
}

// ---- What is done with them --------------------------------------------------------------------

static constexpr auto add = []<class T>(T a, unsigned long count) {
    return static_cast<unsigned long>(a) + count;
};
static constexpr auto subtract = []<class T>(T a, unsigned long count) {
    return static_cast<unsigned long>(a) - count;
};
// A count fits each type that is saturated.
static constexpr auto add_saturating = []<class T>(T a, unsigned long count) {
    return increase_saturating(a, static_cast<std::make_unsigned_t<T>>(count));
};
static constexpr auto subtract_saturating = []<class T>(T a, unsigned long count) {
    return decrease_saturating(a, static_cast<std::make_unsigned_t<T>>(count));
};

// On the low bits of a register that Scalar has. The result is extended to 64 bits by Scalar's sign.
template <class Scalar, class Op>
static unsigned long on_scalar(Op op, unsigned long dn, unsigned long count) {
    return static_cast<unsigned long>(static_cast<Scalar>(op(static_cast<Scalar>(dn), count)));
}

// ---- The functions -----------------------------------------------------------------------------

// T is the type of the counted elements, and of the elements that a vector form changes.
#define COUNT(type, T)                                                                             \
    unsigned long Vec##type##CountVLSI(unsigned pattern, unsigned imm4, CpuContext *context) {     \
        return counted<T>(context, pattern, imm4);                                                 \
    }                                                                                              \
    unsigned long Vec##type##SCountP(PredV pg, PredV pn, CpuContext *context) {                    \
        return active_count<T>(context, pg, pn);                                                   \
    }
#define SCALAR(type, T, op, f, Scalar, pattern_shape, active_shape)                                \
    unsigned long Vec##type##op##pattern_shape(unsigned long dn, unsigned pattern, unsigned imm4,  \
                                               CpuContext *context) {                              \
        return on_scalar<Scalar>(f, dn, counted<T>(context, pattern, imm4));                       \
    }                                                                                              \
    unsigned long Vec##type##op##active_shape(PredV pn, unsigned long dn, CpuContext *context) {   \
        return on_scalar<Scalar>(f, dn, active_count<T>(context, pn));                             \
    }
#define VECTOR(type, T, op, f)                                                                     \
    VecT Vec##type##op##VLVI(VecT dn, unsigned pattern, unsigned imm4, CpuContext *context) {      \
        return unpredicated<T>(context, f, dn, counted<T>(context, pattern, imm4));                \
    }                                                                                              \
    VecT Vec##type##op##CountPV(PredV pn, VecT dn, CpuContext *context) {                          \
        return unpredicated<T>(context, f, dn, active_count<T>(context, pn));                      \
    }

#define UNSIGNED(U, T)                                                                             \
    COUNT(U, T)                                                                                    \
    SCALAR(U, T, Incr, add, uint64_t, VLSI, SCountPS)                                              \
    SCALAR(U, T, Decr, subtract, uint64_t, VLSI, SCountPS)                                         \
    SCALAR(U, T, QIncr, add_saturating, uint32_t, VL4SI, SCount4PS)                                \
    SCALAR(U, T, QIncr, add_saturating, uint64_t, VL8SI, SCount8PS)                                \
    SCALAR(U, T, QDecr, subtract_saturating, uint32_t, VL4SI, SCount4PS)                           \
    SCALAR(U, T, QDecr, subtract_saturating, uint64_t, VL8SI, SCount8PS)
#define SIGNED(S, T)                                                                               \
    SCALAR(S, T, QIncr, add_saturating, int32_t, VL4SI, SCount4PS)                                 \
    SCALAR(S, T, QIncr, add_saturating, int64_t, VL8SI, SCount8PS)                                 \
    SCALAR(S, T, QDecr, subtract_saturating, int32_t, VL4SI, SCount4PS)                            \
    SCALAR(S, T, QDecr, subtract_saturating, int64_t, VL8SI, SCount8PS)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

#define WRAPPING(type, T)                                                                          \
    VECTOR(type, T, Incr, add)                                                                     \
    VECTOR(type, T, Decr, subtract)
#define SATURATING(type, T)                                                                        \
    VECTOR(type, T, QIncr, add_saturating)                                                         \
    VECTOR(type, T, QDecr, subtract_saturating)
WRAPPING(U16, uint16_t)
WRAPPING(U32, uint32_t)
WRAPPING(U64, uint64_t)
SATURATING(S16, int16_t)
SATURATING(S32, int32_t)
SATURATING(S64, int64_t)
SATURATING(U16, uint16_t)
SATURATING(U32, uint32_t)
SATURATING(U64, uint64_t)
