#include "sve/predicate/permutes.h"

using namespace sve;

// The bits of element e of type T. They lie in one word.
template <class T>
static uint64_t element_bits(const PredV &predicate, unsigned e) {
    const unsigned bit = e * sizeof(T);
    return predicate.word[bit / 64] >> bit % 64 & ((1u << sizeof(T)) - 1);
}

// Element e of the result is the element source(e, n), counted in the concatenation of n and m.
template <class T, class F>
static PredV permute(const CpuContext *context, const PredV &n, const PredV &m, F source) {
    const unsigned count = element_count<T>(context);
    PredV result = {};
    for (unsigned e = 0; e < count; e++) {
        const unsigned from = source(e, count), bit = e * sizeof(T);
        const uint64_t bits =
            from < count ? element_bits<T>(n, from) : element_bits<T>(m, from - count);
        result.word[bit / 64] |= bits << bit % 64;
    }
    return result;
}

// The even elements of the result come from n, the odd ones from m.
static unsigned of_m_if_odd(unsigned e, unsigned element, unsigned count) {
    return e % 2 == 0 ? element : count + element;
}

#define PP(bits, op, source)                                                                       \
    PredV VecP##bits##op##PP(PredV n, PredV m, CpuContext *context) {                              \
        return permute<uint##bits##_t>(context, n, m,                                              \
                                       [](unsigned e, unsigned count) { return source; });         \
    }
#define P(bits)                                                                                    \
    PP(bits, Zip1, of_m_if_odd(e, e / 2, count))                                                   \
    PP(bits, Zip2, of_m_if_odd(e, count / 2 + e / 2, count))                                       \
    PP(bits, Uzp1, (static_cast<void>(count), 2 * e))                                              \
    PP(bits, Uzp2, (static_cast<void>(count), 2 * e + 1))                                          \
    PP(bits, Trn1, of_m_if_odd(e, e / 2 * 2, count))                                               \
    PP(bits, Trn2, of_m_if_odd(e, e / 2 * 2 + 1, count))                                           \
    PredV VecP##bits##ReverseP(PredV n, CpuContext *context) {                                     \
        return permute<uint##bits##_t>(context, n, n,                                              \
                                       [](unsigned e, unsigned count) { return count - 1 - e; });  \
    }
P(8)
P(16)
P(32)
P(64)

// The bits from `from` on, each the lowest of a halfword element.
static PredV unpack(const PredV &n, unsigned from, const CpuContext *context) {
    PredV result = {};
    for (unsigned e = 0; e < element_count<uint16_t>(context); e++)
        result.set(2 * e, n.test(from + e));
    return result;
}

PredV VecPUnpackLoP(PredV n, CpuContext *context) {
    return unpack(n, 0, context);
}
PredV VecPUnpackHiP(PredV n, CpuContext *context) {
    return unpack(n, context->VL * 4, context);
}
