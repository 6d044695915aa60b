#include "sve/fp/reductions.h"

using namespace sve;

// Neighbours are reduced to one until one element is left, as if identities filled the vector up to a power of two. An
// identity with itself is itself and raises nothing, so what is made of them alone is left out.
template <class T, auto op>
static T reduce_tree(CpuContext *context, const PredV &pg, const VecT &vector, T identity) {
    T element[sizeof(VecT) / sizeof(T) + 1];
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        element[e] = active ? vector.get<T>(e) : identity;
    });
    return with_fpscr(context, [&](FPSCR &fpscr) {
        for (unsigned count = element_count<T>(context); count > 1;) {
            element[count] = identity;
            count = (count + 1) / 2;
            for (unsigned i = 0; i < count; i++)
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
