#include "sve/predicate/flags.h"

#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace sve;

// Both forms take 64 bits of the predicates at a time: 8 bytes of a row, or 64 bits of a PredV.
// Neither has elements that reach from one into the next.

// The lowest and the highest set bit alone.
static uint64_t lowest(uint64_t bits) {
    return bits & -bits;
}
static uint64_t highest(uint64_t bits) {
    return std::bit_floor(bits);
}

// ---- Rows ---------------------------------------------------------------------------------------

template <class T>
void sve_ptest(cpu_state *state, const char *mask, const char *result) {
    // Bit 0 of the first byte of each element.
    constexpr uint64_t first_bytes =
        ~uint64_t{0} / std::numeric_limits<std::make_unsigned_t<T>>::max();
    constexpr unsigned words = sve_vector_bytes / sizeof(uint64_t);
    const auto word = [](const char *row, unsigned i) {
        uint64_t bytes;
        std::memcpy(&bytes, row + i * sizeof bytes, sizeof bytes);
        return bytes;
    };
    const auto active = [&](unsigned i) { return word(mask, i) & first_bytes; };

    unsigned first = 0;
    while (first < words && !active(first))
        first++;

    uint64_t flags = flag_z | flag_c;
    if (first < words) {
        unsigned last = words - 1;
        while (!active(last))
            last--;
        const bool first_is_true = word(result, first) & lowest(active(first));
        const bool last_is_true = word(result, last) & highest(active(last));
        bool any = first_is_true || last_is_true;
        for (unsigned i = first; !any && i <= last; i++)
            any = word(result, i) & active(i);
        flags = (first_is_true ? flag_n : 0) | (any ? 0 : flag_z) | (last_is_true ? 0 : flag_c);
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

// ---- Packed bits --------------------------------------------------------------------------------

// The result of f.operator()<T>() with the element type of a width in bits.
template <class F>
static auto with_element(int esize, F &&f) {
    switch (esize) {
    case 8:
        return f.template operator()<uint8_t>();
    case 16:
        return f.template operator()<uint16_t>();
    case 32:
        return f.template operator()<uint32_t>();
    default:
        return f.template operator()<uint64_t>();
    }
}

int FindFirstActive(PredV predicate, int esize, CpuContext *context) {
    return with_element(esize, [&]<class T>() { return first_active<T>(context, predicate); });
}

int FindLastActive(PredV predicate, int esize, CpuContext *context) {
    return with_element(esize, [&]<class T>() { return last_active<T>(context, predicate); });
}

void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext *context) {
    with_element(esize, [&]<class T>() { set_flags<T>(context, mask, result); });
}

void PredSetNZC(PredV mask, PredV result, int esize, CpuContext *context) {
    const uint32_t v = context->NZCV & flag_v;
    PredSetNZCV(mask, result, esize, context);
    context->NZCV |= v;
}
