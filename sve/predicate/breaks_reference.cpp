#include "sve/predicate/breaks.h"
#include "sve/predicate/flags.h"

#include <iterator>

using namespace sve;

// Whether the element at which a run ends still belongs to it.
enum class end_of_run { included, excluded };

// The run of active elements from the first one on to the first active true one of `stop`. It is empty
// where `starts` is false. Inactive elements are those of `inactive`.
static PredV run(const PredV &inactive, const PredV &pg, const PredV &stop, end_of_run end,
                 bool starts, CpuContext *context) {
    PredV stops;
    for (unsigned w = 0; w < std::size(stops.word); w++)
        stops.word[w] = pg.word[w] & stop.word[w];
    unsigned length = 0; // elements up to the end of the run, inactive ones included
    if (starts) {
        const int last = FindFirstActive(stops, 8, context);
        length = last < 0 ? element_count<uint8_t>(context)
                          : static_cast<unsigned>(last) + (end == end_of_run::included ? 1 : 0);
    }
    PredV result;
    for (unsigned w = 0; w < std::size(result.word); w++) {
        const unsigned before = 64 * w;
        const uint64_t in_run = length >= before + 64 ? ~uint64_t{0}
                                : length <= before    ? 0
                                                      : (uint64_t{1} << (length - before)) - 1;
        result.word[w] = (inactive.word[w] & ~pg.word[w]) | (pg.word[w] & in_run);
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
