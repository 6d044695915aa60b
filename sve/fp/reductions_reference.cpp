#include "sve/fp/reductions.h"

#include <bit>

using namespace sve;

template <class T, auto op>
static T reduce_tree(CpuContext *context, const PredV &pg, const VecT &vector, T identity) {
    unsigned width = std::bit_ceil(element_count<T>(context));
    T element[sizeof(VecT) / sizeof(T)];
    std::fill_n(element, width, identity);
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        if (active)
            element[e] = vector.get<T>(e);
    });
    return with_fpscr(context, [&](FPSCR &fpscr) {
        while (width > 1) {
            width /= 2;
            for (unsigned i = 0; i < width; i++)
                element[i] = op(element[2 * i], element[2 * i + 1], fpscr);
        }
        return element[0];
    });
}

#define TREE(type, T, op, function, identity)                                                      \
    T Vec##type##op##ReduceFV(PredV pg, VecT n, CpuContext *context) {                             \
        return reduce_tree<T, function<T>>(context, pg, n, identity);                              \
    }
#define FORMAT(type, T)                                                                            \
    TREE(type, T, Add, FPAdd, 0)                                                                   \
    TREE(type, T, Max, FPMax, FPNeg(infinity<T>))                                                  \
    TREE(type, T, Min, FPMin, infinity<T>)                                                         \
    TREE(type, T, MaxNum, FPMaxNum, default_nan<T>)                                                \
    TREE(type, T, MinNum, FPMinNum, default_nan<T>)                                                \
    T Vec##type##AddReduceAV(PredV pg, T start, VecT m, CpuContext *context) {                     \
        return with_fpscr(context, [&](FPSCR &fpscr) {                                             \
            return fold_active<T>(context, pg, m, start,                                           \
                                  [&](T sum, T element) { return FPAdd(sum, element, fpscr); });   \
        });                                                                                        \
    }
SVE_FP_TYPES(FORMAT)
