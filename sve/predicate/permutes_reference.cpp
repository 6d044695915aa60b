#include "sve/predicate/flags.h"
#include "sve/predicate/permutes.h"

#include <cstring>
#include <initializer_list>

using namespace sve;

// ---- By words ----------------------------------------------------------------------------------

// Every second group of `width` bits of a word, from the lowest on.
static constexpr uint64_t even_groups(unsigned width) {
    return ~uint64_t{0} / ((uint64_t{1} << width) + 1);
}

// The even (odd = 0) or the odd (odd = 1) elements of n and m in turn.
template <class T, unsigned odd>
static PredV transpose(const PredV &n, const PredV &m) {
    constexpr unsigned width = sizeof(T);
    constexpr uint64_t even = even_groups(width);
    PredV result;
    for (unsigned w = 0; w < PredV::words; w++)
        result.word[w] = (n.word[w] >> odd * width & even) | (m.word[w] >> odd * width & even)
                                                                 << width;
    return result;
}

// The even or the odd elements of a word, together in its low half.
template <class T, unsigned odd>
static uint32_t half_of(uint64_t bits) {
    bits = bits >> odd * sizeof(T) & even_groups(sizeof(T));
    for (unsigned together = sizeof(T); together < 32; together *= 2)
        bits = (bits | bits >> together) & even_groups(2 * together);
    return static_cast<uint32_t>(bits);
}

// The even or the odd elements of n, and behind them those of m.
template <class T, unsigned odd>
static PredV unzip(const CpuContext *context, const PredV &n, const PredV &m) {
    PredV result = {};
    uint8_t *half = reinterpret_cast<uint8_t *>(result.word);
    for (const PredV *source : {&n, &m}) {
        for (int w = 0; w < word_count(context); w++) {
            const uint32_t elements = half_of<T, odd>(source->word[w]);
            std::memcpy(half + w * sizeof elements, &elements, sizeof elements);
        }
        half += context->VL / 2; // half of the bits of the vector length, in bytes
    }
    return result;
}

// ---- One by one --------------------------------------------------------------------------------

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
#define TRN(bits, op, odd)                                                                         \
    PredV VecP##bits##op##PP(PredV n, PredV m, CpuContext *) {                                     \
        return transpose<uint##bits##_t, odd>(n, m);                                               \
    }
#define UZP(bits, op, odd)                                                                         \
    PredV VecP##bits##op##PP(PredV n, PredV m, CpuContext *context) {                              \
        return unzip<uint##bits##_t, odd>(context, n, m);                                          \
    }
#define P(bits)                                                                                    \
    PP(bits, Zip1, of_m_if_odd(e, e / 2, count))                                                   \
    PP(bits, Zip2, of_m_if_odd(e, count / 2 + e / 2, count))                                       \
    UZP(bits, Uzp1, 0)                                                                             \
    UZP(bits, Uzp2, 1)                                                                             \
    TRN(bits, Trn1, 0)                                                                             \
    TRN(bits, Trn2, 1)                                                                             \
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
