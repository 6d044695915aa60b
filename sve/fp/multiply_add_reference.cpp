#include "sve/fp/multiply_add.h"

using namespace sve;

// ---- What an operation is, on the elements of any format ------------------------------------------

template <class T>
static T fmla(T a, T n, T m, FPSCR &fpscr) {
    return FPMulAdd(a, n, m, fpscr);
}
template <class T>
static T fmls(T a, T n, T m, FPSCR &fpscr) {
    return FPMulAdd(a, FPNeg(n), m, fpscr);
}
template <class T>
static T fnmla(T a, T n, T m, FPSCR &fpscr) {
    return FPMulAdd(FPNeg(a), FPNeg(n), m, fpscr);
}
template <class T>
static T fnmls(T a, T n, T m, FPSCR &fpscr) {
    return FPMulAdd(FPNeg(a), n, m, fpscr);
}

// ---- Operands that are not element by element -----------------------------------------------------

// Of each 128-bit segment, the element at an index everywhere.
template <class T>
static auto indexed(const VecT &m, unsigned index) {
    constexpr unsigned in_segment = 16 / sizeof(T);
    return elements_by{
        [&m, index](unsigned e) { return m.get<T>(e / in_segment * in_segment + index); }};
}
// The same with the pair at an index.
template <class T>
static auto indexed_pair(const VecT &m, unsigned index) {
    constexpr unsigned in_segment = 16 / sizeof(T);
    return elements_by{[&m, index](unsigned e) {
        return m.get<T>(e / in_segment * in_segment + 2 * index + e % 2);
    }};
}

// Of each pair, the real (0) or the imaginary (1) part in both places.
template <class T>
static auto part(const VecT &n, unsigned which) {
    return elements_by{[&n, which](unsigned e) { return n.get<T>(e / 2 * 2 + which); }};
}

// Each pair turned by quarters of a circle: a + ib becomes -b + ia, -a - ib, b - ia.
template <class T, class Pairs>
static auto rotated(const Pairs &pairs, unsigned quarters) {
    return elements_by{[&pairs, quarters](unsigned e) {
        const T from = element_of<T>(pairs, e ^ (quarters & 1));
        const bool real = e % 2 == 0;
        return quarters == 2 || quarters == (real ? 1 : 3) ? FPNeg(from) : from;
    }};
}

// ---- Shapes ---------------------------------------------------------------------------------------

#define ACCUMULATING(type, T, op, function)                                                        \
    VecT Vec##type##op##VVVM(VecT da, PredV pg, VecT n, VecT m, CpuContext *context) {             \
        return fp_merge<T, function<T>>(context, da, pg, da, n, m);                                \
    }
#define MULTIPLYING(type, T, op, function)                                                         \
    VecT Vec##type##op##VVVM(VecT dn, PredV pg, VecT m, VecT a, CpuContext *context) {             \
        return fp_merge<T, function<T>>(context, dn, pg, a, dn, m);                                \
    }
#define ACCUMULATING_INDEXED(type, T, op, function)                                                \
    VecT Vec##type##op##VVVIX(VecT da, VecT n, VecT m, unsigned index, CpuContext *context) {      \
        return fp_unpredicated<T, function<T>>(context, da, n, indexed<T>(m, index));              \
    }
#define INDEXED(type, T, op, function)                                                             \
    VecT Vec##type##op##VVIX(VecT n, VecT m, unsigned index, CpuContext *context) {                \
        return fp_unpredicated<T, function<T>>(context, n, indexed<T>(m, index));                  \
    }

// Zdn plus Zm times i or -i; and Zda plus a part of Zn times Zm turned. Two of the latter, of unlike parity,
// make a complex product.
#define COMPLEX(type, T)                                                                           \
    VecT Vec##type##FCADDVVM(VecT dn, PredV pg, VecT m, unsigned rot, CpuContext *context) {       \
        return fp_merge<T, FPAdd<T>>(context, dn, pg, dn, rotated<T>(m, rot ? 3 : 1));             \
    }                                                                                              \
    VecT Vec##type##FCMLAVVVM(VecT da, PredV pg, VecT n, VecT m, unsigned rot,                     \
                              CpuContext *context) {                                               \
        return fp_merge<T, FPMulAdd<T>>(context, da, pg, da, part<T>(n, rot & 1),                  \
                                        rotated<T>(m, rot));                                       \
    }
#define COMPLEX_INDEXED(type, T)                                                                   \
    VecT Vec##type##FCMLAVVVIX(VecT da, VecT n, VecT m, unsigned index, unsigned rot,              \
                               CpuContext *context) {                                              \
        return fp_unpredicated<T, FPMulAdd<T>>(context, da, part<T>(n, rot & 1),                   \
                                               rotated<T>(indexed_pair<T>(m, index), rot));        \
    }

// clang-format off
#define FORMAT(type, T)                                                                            \
    ACCUMULATING(type, T, FMA, fmla) MULTIPLYING(type, T, FMADD, fmla)                             \
    ACCUMULATING(type, T, FMS, fmls) MULTIPLYING(type, T, FMSUB, fmls)                             \
    ACCUMULATING(type, T, FNMA, fnmla) MULTIPLYING(type, T, FNMADD, fnmla)                         \
    ACCUMULATING(type, T, FNMS, fnmls) MULTIPLYING(type, T, FNMSUB, fnmls)                         \
    ACCUMULATING_INDEXED(type, T, FMA, fmla)                                                       \
    ACCUMULATING_INDEXED(type, T, FMS, fmls)                                                       \
    INDEXED(type, T, Mul, FPMul)                                                                   \
    COMPLEX(type, T)
SVE_FP_TYPES(FORMAT)
COMPLEX_INDEXED(F16, uint16_t)
COMPLEX_INDEXED(F32, uint32_t)
// clang-format on
