#include "sve/permute/extraction.h"
#include "sve/predicate/flags.h"

using namespace sve;

// As last_active, the index of an element to take, -1 if none is active.
template <class T>
static int behind_last_active(const CpuContext *context, const PredV &pg) {
    const int last = last_active<T>(context, pg);
    if (last < 0)
        return last;
    return last + 1 == static_cast<int>(element_count<T>(context)) ? 0 : last + 1;
}

// Without an active element the A form takes element 0, the B form the last one.
#define LAST(type, T, op, index, otherwise)                                                        \
    unsigned long Vec##type##op##V(PredV pg, VecT n, CpuContext *context) {                        \
        const int element = index<T>(context, pg);                                                 \
        return n.get<T>(element < 0 ? otherwise : static_cast<unsigned>(element));                 \
    }
#define CONDITIONAL(type, T, op, index)                                                            \
    T Vec##type##op##SV(PredV pg, T old, VecT m, CpuContext *context) {                            \
        const int element = index<T>(context, pg);                                                 \
        return element < 0 ? old : m.get<T>(static_cast<unsigned>(element));                       \
    }
#define BROADCAST(type, T, op, index)                                                              \
    VecT Vec##type##op##VV(PredV pg, VecT dn, VecT m, CpuContext *context) {                       \
        const int element = index<T>(context, pg);                                                 \
        if (element < 0)                                                                           \
            return dn;                                                                             \
        const T value = m.get<T>(static_cast<unsigned>(element));                                  \
        return unpredicated<T>(                                                                    \
            context, [](T x) { return x; }, value);                                                \
    }

#define SCALAR(type, T)                                                                            \
    LAST(type, T, LastA, behind_last_active, 0)                                                    \
    LAST(type, T, LastB, last_active, element_count<T>(context) - 1)                               \
    CONDITIONAL(type, T, CondXA, behind_last_active)                                               \
    CONDITIONAL(type, T, CondXB, last_active)
#define VECTOR(type, T)                                                                            \
    BROADCAST(type, T, VCondXA, behind_last_active)                                                \
    BROADCAST(type, T, VCondXB, last_active)
SVE_UNSIGNED_TYPES(SCALAR)
SVE_V_SCALAR_TYPES(SCALAR)
SVE_UNSIGNED_TYPES(VECTOR)
