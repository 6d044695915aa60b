#include "sve/predicate/flags.h"

#include <bit>
#include <cstring>
#include <iterator>
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

static constexpr int all_words = std::size(PredV{}.word);

// All predicate bits of the lowest element, and the lowest predicate bit of all elements.
static uint64_t element_group(int esize) {
    return (uint64_t{1} << (esize / 8)) - 1;
}
static uint64_t lowest_bits(int esize) {
    switch (esize) {
    case 8:
        return 0xffffffffffffffff;
    case 16:
        return 0x5555555555555555;
    case 32:
        return 0x1111111111111111;
    default:
        return 0x0101010101010101;
    }
}

// The lowest bit of each element that the predicate makes active.
static PredV active_elements(const PredV &predicate, int esize, const CpuContext *context) {
    PredV active = all_true(context);
    for (int i = 0; i < all_words; i++)
        active.word[i] &= predicate.word[i] & lowest_bits(esize);
    return active;
}

// The first and the last word with an active element; all_words and -1 if there is none.
static int first_word(const PredV &active) {
    int i = 0;
    while (i < all_words && !active.word[i])
        i++;
    return i;
}
static int last_word(const PredV &active) {
    int i = all_words - 1;
    while (i >= 0 && !active.word[i])
        i--;
    return i;
}

int FindFirstActive(PredV predicate, int esize, CpuContext *context) {
    const PredV active = active_elements(predicate, esize, context);
    const int i = first_word(active);
    return i == all_words ? -1 : (i * 64 + std::countr_zero(active.word[i])) * 8 / esize;
}

int FindLastActive(PredV predicate, int esize, CpuContext *context) {
    const PredV active = active_elements(predicate, esize, context);
    const int i = last_word(active);
    return i < 0 ? -1 : (i * 64 + 63 - std::countl_zero(active.word[i])) * 8 / esize;
}

// N, Z and C; V is 0.
static uint32_t flags_of(const PredV &mask, const PredV &result, int esize,
                         const CpuContext *context) {
    // A product with the group sets all bits of the elements: they don't overlap.
    const uint64_t group = element_group(esize);
    bool found = false, first_is_true = false, any = false, last_is_true = false;
    for (int i = 0, left = static_cast<int>(context->VL * 8); left > 0; i++, left -= 64) {
        const uint64_t active = mask.word[i] & lowest_bits(esize) & lowest_of(left);
        if (!active)
            continue;
        if (!found)
            first_is_true = lowest(active) & result.word[i];
        found = true;
        any |= (active * group & result.word[i]) != 0;
        last_is_true = highest(active) * group & result.word[i];
    }
    return (first_is_true ? flag_n : 0) | (any ? 0 : flag_z) | (last_is_true ? 0 : flag_c);
}

void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext *context) {
    context->NZCV = (context->NZCV & ~all_flags) | flags_of(mask, result, esize, context);
}

void PredSetNZC(PredV mask, PredV result, int esize, CpuContext *context) {
    context->NZCV =
        (context->NZCV & (~all_flags | flag_v)) | flags_of(mask, result, esize, context);
}
