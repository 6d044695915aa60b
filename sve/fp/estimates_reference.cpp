#include "sve/fp/estimates.h"

using namespace sve;

// ---- What an operation is, on the elements of any format ------------------------------------------

// The scale is a signed integer of the element's width.
template <class T>
static T scale(T n, T m, FPSCR &fpscr) {
    const auto exponent = static_cast<std::make_signed_t<T>>(m);
    if constexpr (sizeof(T) == 2)
        return FPScale16(n, exponent, fpscr);
    else if constexpr (sizeof(T) == 4)
        return FPScale32(n, exponent, fpscr);
    else
        return FPScale64(n, exponent, fpscr);
}

// The factor of a sine or cosine by the quadrant: x or 1, with its sign inverted or not. Of the bits alone.
template <class T>
static T select_factor(T x, T quadrant) {
    const T factor = quadrant & 1 ? power_of_two<T>(0) : x;
    return quadrant & 2 ? FPNeg(factor) : factor;
}

// ---- Shapes ---------------------------------------------------------------------------------------

#define UNARY(type, T, op, function)                                                               \
    VecT Vec##type##op##V(VecT n, CpuContext *context) {                                           \
        return fp_unpredicated<T, function<T>>(context, n);                                        \
    }
#define BINARY(type, T, op, function)                                                              \
    VecT Vec##type##op##VV(VecT n, VecT m, CpuContext *context) {                                  \
        return fp_unpredicated<T, function<T>>(context, n, m);                                     \
    }

// clang-format off
#define FORMAT(type, T)                                                                            \
    UNARY(type, T, RecpE, FPRecipEstimate) BINARY(type, T, RecpS, FPRecipStepFused)                \
    UNARY(type, T, RSqrtE, FPRSqrtEstimate) BINARY(type, T, RSqrtS, FPRSqrtStepFused)              \
    VecT Vec##type##RecpXVM(VecT d, PredV pg, VecT n, CpuContext *context) {                       \
        return fp_merge<T, FPRecpX<T>>(context, d, pg, n);                                         \
    }                                                                                              \
    VecT Vec##type##ScaleVVM(VecT dn, PredV pg, VecT m, CpuContext *context) {                     \
        return fp_merge<T, scale<T>>(context, dn, pg, dn, m);                                      \
    }                                                                                              \
    VecT Vec##type##EXPAV(VecT n, CpuContext *context) {                                           \
        return unpredicated<T>(context, FPEXPA<T>, n);                                             \
    }                                                                                              \
    VecT Vec##type##TRIMADDVVI(VecT dn, VecT m, unsigned imm3, CpuContext *context) {              \
        return fp_unpredicated<T, FPTRIMADD<T>>(context, imm3, dn, m);                             \
    }                                                                                              \
    BINARY(type, T, TRISMUL, FPTRISMUL)                                                            \
    VecT Vec##type##TRISSELVV(VecT n, VecT m, CpuContext *context) {                               \
        return unpredicated<T>(context, select_factor<T>, n, m);                                   \
    }
SVE_FP_TYPES(FORMAT)
// clang-format on
