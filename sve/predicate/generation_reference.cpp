#include "sve/predicate/flags.h"
#include "sve/predicate/generation.h"
#include "sve/predicate/patterns.h"

#include <algorithm>
#include <limits>

using namespace sve;

// Element e of type T is true where holds(e) is.
template <class T, class F>
static PredV elements_where(const CpuContext *context, F holds) {
    PredV result = {};
    for (unsigned e = 0; e < element_count<T>(context); e++)
        result.set(e * sizeof(T), holds(e));
    return result;
}

template <class T>
static PredV by_pattern(unsigned pattern, const CpuContext *context) {
    const int count = VecTrueILength(pattern, static_cast<int>(element_count<T>(context)));
    return first_elements<T>(static_cast<unsigned>(count));
}

// The first active element behind the last true one of dn.
template <class T>
static PredV next_active(PredV pg, PredV dn, CpuContext *context) {
    const auto from = static_cast<unsigned>(last_active<T>(context, dn) + 1);
    bool found = false;
    const PredV result = elements_where<T>(context, [&](unsigned e) {
        const bool is_next = !found && e >= from && pg.test(e * sizeof(T));
        found |= is_next;
        return is_next;
    });
    set_flags<T>(context, pg, result);
    return result;
}

#define P(bits)                                                                                    \
    PredV VecP##bits##TrueI(unsigned pattern, CpuContext *context) {                               \
        return by_pattern<uint##bits##_t>(pattern, context);                                       \
    }                                                                                              \
    PredV VecP##bits##TrueFlgI(unsigned pattern, CpuContext *context) {                            \
        const PredV result = by_pattern<uint##bits##_t>(pattern, context);                         \
        set_flags<uint##bits##_t>(context, result, result);                                        \
        return result;                                                                             \
    }                                                                                              \
    PredV VecP##bits##GenNextP(PredV pg, PredV dn, CpuContext *context) {                          \
        return next_active<uint##bits##_t>(pg, dn, context);                                       \
    }
P(8)
P(16)
P(32)
P(64)

PredV VecPFalse(CpuContext *) {
    return {};
}

PredV VecPSetFirstActiveP(PredV pg, PredV dn, CpuContext *context) {
    if (const int first = first_active<uint8_t>(context, pg); first >= 0)
        dn.set(static_cast<unsigned>(first), true);
    set_flags<uint8_t>(context, pg, dn);
    return dn;
}

// Element e is true where n + e, which doesn't wrap, is less than m, or equal to it. Where m is the greatest
// number of its type nothing exceeds it.
template <class T, class Operand>
static PredV while_true(Operand n, Operand m, bool or_equal, CpuContext *context) {
    const unsigned all = element_count<T>(context);
    unsigned count = 0;
    if (or_equal && m == std::numeric_limits<Operand>::max())
        count = all;
    else if (n < m || (or_equal && n == m))
        count = static_cast<unsigned>(std::min<unsigned long>(
            all, static_cast<unsigned long>(m) - static_cast<unsigned long>(n) + or_equal));
    const PredV result = first_elements<T>(count);
    set_flags<T>(context, all_true(context), result);
    return result;
}

#define WHILE(type, T, sign, bytes, bits)                                                          \
    PredV Vec##type##While##bytes##LTSS(sign##bits##_t n, sign##bits##_t m, CpuContext *context) { \
        return while_true<T>(n, m, false, context);                                                \
    }                                                                                              \
    PredV Vec##type##While##bytes##LESS(sign##bits##_t n, sign##bits##_t m, CpuContext *context) { \
        return while_true<T>(n, m, true, context);                                                 \
    }
#define UNSIGNED(U, T)                                                                             \
    WHILE(U, T, uint, 4, 32)                                                                       \
    WHILE(U, T, uint, 8, 64)
#define SIGNED(S, T)                                                                               \
    WHILE(S, T, int, 4, 32)                                                                        \
    WHILE(S, T, int, 8, 64)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_SIGNED_TYPES(SIGNED)

static void terminate(bool condition, CpuContext *context) {
    uint32_t flags = context->NZCV & ~(flag_n | flag_v);
    if (condition)
        flags |= flag_n;
    else if (!(flags & flag_c))
        flags |= flag_v;
    context->NZCV = flags;
}

void VecU32CTermEQ(uint32_t n, uint32_t m, CpuContext *context) {
    terminate(n == m, context);
}
void VecU64CTermEQ(uint64_t n, uint64_t m, CpuContext *context) {
    terminate(n == m, context);
}
void VecU32CTermNE(uint32_t n, uint32_t m, CpuContext *context) {
    terminate(n != m, context);
}
void VecU64CTermNE(uint64_t n, uint64_t m, CpuContext *context) {
    terminate(n != m, context);
}
