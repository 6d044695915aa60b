#include "sve/predicate/breaks.h"
#include "sve/predicate/flags.h"

using namespace sve;

// Whether the element at which a run ends still belongs to it.
enum class end_of_run { included, excluded };

// The run of active elements from the first one on to the first active true one of `stop`. It is empty
// where `starts` is false. Inactive elements are those of `inactive`.
static PredV run(const PredV &inactive, const PredV &pg, const PredV &stop, end_of_run end,
                 bool starts, CpuContext *context) {
    int length = 0; // elements up to the end of the run, inactive ones included
    if (starts) {
        PredV stops;
        for (int w = 0; w < word_count(context); w++)
            stops.word[w] = pg.word[w] & stop.word[w];
        const int last = first_active<uint8_t>(context, stops);
        length = last < 0 ? static_cast<int>(element_count<uint8_t>(context))
                          : last + (end == end_of_run::included ? 1 : 0);
    }
    PredV result = {};
    for (int w = 0; w < word_count(context); w++)
        result.word[w] =
            (inactive.word[w] & ~pg.word[w]) | (pg.word[w] & lowest_of(length - 64 * w));
    return result;
}

// Whether n is true at the last active element.
static bool last_active_is_true(const PredV &pg, const PredV &n, CpuContext *context) {
    const int last = last_active<uint8_t>(context, pg);
    return last >= 0 && n.test(static_cast<unsigned>(last));
}

static PredV with_flags(const PredV &mask, const PredV &result, CpuContext *context) {
    set_flags<uint8_t>(context, mask, result);
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
