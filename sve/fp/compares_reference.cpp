#include "sve/fp/compares.h"

using namespace sve;

template <class T>
static bool not_equal(T a, T b, FPSCR &fpscr) {
    return !FPCompareEQ(a, b, fpscr);
}
template <class T>
static bool less_or_equal(T a, T b, FPSCR &fpscr) {
    return FPCompareGE(b, a, fpscr);
}
template <class T>
static bool less(T a, T b, FPSCR &fpscr) {
    return FPCompareGT(b, a, fpscr);
}
template <class T>
static bool absolutely_greater_or_equal(T a, T b, FPSCR &fpscr) {
    return FPCompareGE(FPAbs(a), FPAbs(b), fpscr);
}
template <class T>
static bool absolutely_greater(T a, T b, FPSCR &fpscr) {
    return FPCompareGT(FPAbs(a), FPAbs(b), fpscr);
}

#define VECTORS(type, T, op, relation)                                                             \
    PredV Vec##type##op##VVZ(PredV pg, VecT n, VecT m, CpuContext *context) {                      \
        return fp_compare<T, relation<T>>(context, pg, n, m);                                      \
    }
#define WITH_ZERO(type, T, op, relation)                                                           \
    PredV Vec##type##op##V0Z(PredV pg, VecT n, CpuContext *context) {                              \
        return fp_compare<T, relation<T>>(context, pg, n, T{0});                                   \
    }
#define FORMAT(type, T)                                                                            \
    VECTORS(type, T, CmpEQ, FPCompareEQ)                                                           \
    VECTORS(type, T, CmpGE, FPCompareGE)                                                           \
    VECTORS(type, T, CmpGT, FPCompareGT)                                                           \
    VECTORS(type, T, CmpNE, not_equal)                                                             \
    VECTORS(type, T, CmpUN, FPCompareUN)                                                           \
    VECTORS(type, T, AcGE, absolutely_greater_or_equal)                                            \
    VECTORS(type, T, AcGT, absolutely_greater)                                                     \
    WITH_ZERO(type, T, CmpEQ, FPCompareEQ)                                                         \
    WITH_ZERO(type, T, CmpGE, FPCompareGE)                                                         \
    WITH_ZERO(type, T, CmpGT, FPCompareGT)                                                         \
    WITH_ZERO(type, T, CmpLE, less_or_equal)                                                       \
    WITH_ZERO(type, T, CmpLT, less)                                                                \
    WITH_ZERO(type, T, CmpNE, not_equal)
SVE_FP_TYPES(FORMAT)
