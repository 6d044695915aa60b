#include "sve/predicate/flags.h"
#include "sve/predicate/logic.h"

using namespace sve;

// 64 predicate bits at a time. Above the vector length all operands are 0, and so is what the mask
// leaves.
template <class Op>
static PredV combine(const PredV &pg, const PredV &n, const PredV &m, Op op) {
    PredV result;
    for (unsigned i = 0; i < PredV::words; i++)
        result.word[i] = op(pg.word[i], n.word[i], m.word[i]);
    return result;
}

#define PPZ(name, op)                                                                              \
    PredV VecP##name##PPZ(PredV pg, PredV n, PredV m, CpuContext *) {                              \
        return combine(pg, n, m,                                                                   \
                       [](uint64_t mask, uint64_t a, uint64_t b) { return mask & (op); });         \
    }                                                                                              \
    PredV VecP##name##FlgPPZ(PredV pg, PredV n, PredV m, CpuContext *context) {                    \
        const PredV result = VecP##name##PPZ(pg, n, m, context);                                   \
        set_flags<uint8_t>(context, pg, result);                                                   \
        return result;                                                                             \
    }
PPZ(And, a &b)
PPZ(Bic, a & ~b)
PPZ(Xor, a ^ b)
PPZ(Or, a | b)
PPZ(OrN, a | ~b)
PPZ(Nand, ~(a &b))
PPZ(Nor, ~(a | b))

PredV VecPSelPP(PredV pg, PredV n, PredV m, CpuContext *) {
    return combine(pg, n, m,
                   [](uint64_t mask, uint64_t a, uint64_t b) { return (mask & a) | (~mask & b); });
}

void VecPTestPZ(PredV pg, PredV n, CpuContext *context) {
    set_flags<uint8_t>(context, pg, n);
}
