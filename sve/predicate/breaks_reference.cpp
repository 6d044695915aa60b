#include "sve/predicate/breaks.h"
#include "sve/predicate/flags.h"

using namespace sve;

// Whether the element at which a run ends still belongs to it.
enum class end_of_run { included, excluded };

// The run of active elements from the first one on, as long as `running` holds at its start and no active
// element of `stop` has been true. Inactive elements are those of `inactive`.
static PredV run(const PredV &inactive, const PredV &pg, const PredV &stop, end_of_run end,
                 bool running, const CpuContext *context) {
    PredV result = {};
    for (unsigned e = 0; e < context->VL * 8; e++) {
        if (!pg.test(e)) {
            result.set(e, inactive.test(e));
            continue;
        }
        if (end == end_of_run::excluded)
            running = running && !stop.test(e);
        result.set(e, running);
        if (end == end_of_run::included)
            running = running && !stop.test(e);
    }
    return result;
}

// Whether n is true at the last active element.
static bool last_active_is_true(const PredV &pg, const PredV &n, CpuContext *context) {
    const int last = FindLastActive(pg, 8, context);
    return last >= 0 && n.test(static_cast<unsigned>(last));
}

static PredV with_flags(const PredV &mask, const PredV &result, CpuContext *context) {
    PredSetNZCV(mask, result, 8, context);
    return result;
}

#define BREAK(letter, end)                                                                         \
    PredV VecPBreak##letter##PM(PredV d, PredV pg, PredV n, CpuContext *context) {                 \
        return run(d, pg, n, end, true, context);                                                  \
    }                                                                                              \
    PredV VecPBreak##letter##PZ(PredV pg, PredV n, CpuContext *context) {                          \
        return run({}, pg, n, end, true, context);                                                 \
    }                                                                                              \
    PredV VecPBreak##letter##FlgPZ(PredV pg, PredV n, CpuContext *context) {                       \
        return with_flags(pg, run({}, pg, n, end, true, context), context);                        \
    }                                                                                              \
    PredV VecPBreakPrev##letter##PZ(PredV pg, PredV n, PredV m, CpuContext *context) {             \
        return run({}, pg, m, end, last_active_is_true(pg, n, context), context);                  \
    }                                                                                              \
    PredV VecPBreakPrev##letter##FlgPZ(PredV pg, PredV n, PredV m, CpuContext *context) {          \
        return with_flags(pg, VecPBreakPrev##letter##PZ(pg, n, m, context), context);              \
    }
BREAK(A, end_of_run::included)
BREAK(B, end_of_run::excluded)

PredV VecPBreakNextPZ(PredV pg, PredV n, PredV dm, CpuContext *context) {
    return last_active_is_true(pg, n, context) ? dm : PredV{};
}
PredV VecPBreakNextFlgPZ(PredV pg, PredV n, PredV dm, CpuContext *context) {
    return with_flags(all_true(context), VecPBreakNextPZ(pg, n, dm, context), context);
}
