#include "sve/predicate/flags.h"

using namespace sve;

template <class T>
void sve_ptest(cpu_state *state, const char *mask, const char *result) {
    constexpr unsigned end = sve_vector_bytes;
    unsigned first = 0;
    while (first < end && !(mask[first] & 1))
        first += sizeof(T);

    uint64_t flags = flag_z | flag_c;
    if (first < end) {
        unsigned last = end - sizeof(T);
        while (!(mask[last] & 1))
            last -= sizeof(T);
        bool any = false;
        for (unsigned i = first; i <= last; i += sizeof(T))
            any |= mask[i] & result[i] & 1;
        flags =
            (result[first] & 1 ? flag_n : 0) | (any ? 0 : flag_z) | (result[last] & 1 ? 0 : flag_c);
    }
    state->nzcv = (state->nzcv & ~uint64_t{all_flags}) | flags;
}

template void sve_ptest<signed char>(cpu_state *, const char *, const char *);
template void sve_ptest<short>(cpu_state *, const char *, const char *);
template void sve_ptest<int>(cpu_state *, const char *, const char *);
template void sve_ptest<long>(cpu_state *, const char *, const char *);
template void sve_ptest<unsigned char>(cpu_state *, const char *, const char *);
template void sve_ptest<unsigned short>(cpu_state *, const char *, const char *);
template void sve_ptest<unsigned int>(cpu_state *, const char *, const char *);
template void sve_ptest<unsigned long>(cpu_state *, const char *, const char *);

static int element_count(int esize, const CpuContext *context) {
    return static_cast<int>(context->VL * 64) / esize;
}

int FindFirstActive(PredV predicate, int esize, CpuContext *context) {
    for (int e = 0; e < element_count(esize, context); e++)
        if (predicate.test(static_cast<unsigned>(e * esize / 8)))
            return e;
    return -1;
}

int FindLastActive(PredV predicate, int esize, CpuContext *context) {
    for (int e = element_count(esize, context) - 1; e >= 0; e--)
        if (predicate.test(static_cast<unsigned>(e * esize / 8)))
            return e;
    return -1;
}

// Whether any bit of element e is set. An element's bits lie within one word.
static bool element_is_set(const PredV &predicate, int e, int esize) {
    const unsigned bit = static_cast<unsigned>(e * esize / 8);
    const uint64_t group = (uint64_t{1} << (esize / 8)) - 1;
    return (predicate.word[bit / 64] >> bit % 64 & group) != 0;
}

void PredSetNZC(PredV mask, PredV result, int esize, CpuContext *context) {
    const int first = FindFirstActive(mask, esize, context);
    const int last = FindLastActive(mask, esize, context);
    bool any = false;
    for (int e = first; e >= 0 && e <= last; e++)
        any |= mask.test(static_cast<unsigned>(e * esize / 8)) && element_is_set(result, e, esize);

    uint32_t flags = flag_z | flag_c;
    if (any)
        flags = (result.test(static_cast<unsigned>(first * esize / 8)) ? flag_n : 0) |
                (element_is_set(result, last, esize) ? 0 : flag_c);
    context->NZCV = (context->NZCV & ~(flag_n | flag_z | flag_c)) | flags;
}

void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext *context) {
    PredSetNZC(mask, result, esize, context);
    context->NZCV &= ~flag_v;
}
