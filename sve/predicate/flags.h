#pragma once

// The one rule by which predicate-producing instructions set the condition flags, and the search for
// active elements. Of the elements that the mask makes active:
//
//     N   the first one is true in the result
//     Z   none is true
//     C   the last one is not true
//     V   0
//
// Without an active element N = 0, Z = 1, C = 1.

#include "sve/core/cpu_context.h"
#include "sve/core/cpu_state.h"
#include "sve/core/export.h"
#include "sve/core/predicate_bits.h"

#include <bit>

// Sets the flags in state->nzcv, whose other bits stay. `mask` and `result` are P rows or local rows of
// the same form; an element has the width of T, and only bit 0 of its first byte counts.
template <class T>
void sve_ptest(cpu_state *state, const char *mask, const char *result);

// The same for the reference library, in context->NZCV. esize is the element's width in bits: 8, 16, 32
// or 64. An element of the mask counts by its lowest bit, and so does N; Z and C take all bits of the
// element of the result.
SVE_EXPORT void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext *context);
// The same without V.
SVE_EXPORT void PredSetNZC(PredV mask, PredV result, int esize, CpuContext *context);

// The lowest or highest element whose lowest predicate bit is set, or -1.
SVE_EXPORT int FindFirstActive(PredV predicate, int esize, CpuContext *context);
SVE_EXPORT int FindLastActive(PredV predicate, int esize, CpuContext *context);

namespace sve {

// The condition flags, in the places that NZCV has.
inline constexpr uint32_t flag_n = 1u << 31, flag_z = 1u << 30, flag_c = 1u << 29,
                          flag_v = 1u << 28;
inline constexpr uint32_t all_flags = flag_n | flag_z | flag_c | flag_v;

// The lowest `count` bits of a word; none if it is negative, and all if there are no more.
inline uint64_t lowest_of(int count) {
    return count >= 64 ? ~uint64_t{0} : count > 0 ? (uint64_t{1} << count) - 1 : 0;
}

// The predicate whose lowest `count` elements of type T are true, each in its first bit.
template <class T>
PredV first_elements(unsigned count) {
    PredV predicate;
    int bits_left = static_cast<int>(count * sizeof(T));
    for (uint64_t &word : predicate.word) {
        word = lowest_of(bits_left) & first_bits_of_elements<T>;
        bits_left -= 64;
    }
    return predicate;
}

// The predicate with all bits of the vector length set.
inline PredV all_true(const CpuContext *context) {
    return first_elements<uint8_t>(context->VL * 8);
}

// ---- What the functions above do, for elements of type T ------------------------------------------

// Words of a predicate with bits of the vector length, and the first bits of the active elements in one of them.
inline int word_count(const CpuContext *context) {
    return static_cast<int>(context->VL + 7) / 8;
}
template <class T>
uint64_t active_word(const CpuContext *context, const PredV &predicate, int i) {
    return predicate.word[i] & first_bits_of_elements<T> &
           lowest_of(static_cast<int>(context->VL * 8) - 64 * i);
}

// The lowest and the highest active element, or -1.
template <class T>
int first_active(const CpuContext *context, const PredV &predicate) {
    for (int i = 0; i < word_count(context); i++)
        if (const uint64_t active = active_word<T>(context, predicate, i))
            return (i * 64 + std::countr_zero(active)) / int{sizeof(T)};
    return -1;
}
template <class T>
int last_active(const CpuContext *context, const PredV &predicate) {
    for (int i = word_count(context) - 1; i >= 0; i--)
        if (const uint64_t active = active_word<T>(context, predicate, i))
            return (i * 64 + 63 - std::countl_zero(active)) / int{sizeof(T)};
    return -1;
}

// The bits of element e. They lie in one word.
template <class T>
uint64_t element_bits(const PredV &predicate, unsigned e) {
    const unsigned bit = e * sizeof(T);
    return predicate.word[bit / 64] >> bit % 64 & ((1u << sizeof(T)) - 1);
}

// N, Z and C; V is 0.
template <class T>
uint32_t flags_of(const CpuContext *context, const PredV &mask, const PredV &result) {
    const int first = first_active<T>(context, mask);
    if (first < 0)
        return flag_z | flag_c;
    const int last = last_active<T>(context, mask);
    const bool first_is_true = element_bits<T>(result, static_cast<unsigned>(first)) & 1;
    const bool last_is_true = element_bits<T>(result, static_cast<unsigned>(last));
    bool any = first_is_true || last_is_true;
    for (int i = 0; !any && i < word_count(context); i++) {
        // A product with the bits of one element sets those of all: they don't overlap.
        const uint64_t active = active_word<T>(context, mask, i) * ((1u << sizeof(T)) - 1);
        any = active & result.word[i];
    }
    return (first_is_true ? flag_n : 0) | (any ? 0 : flag_z) | (last_is_true ? 0 : flag_c);
}

template <class T>
void set_flags(CpuContext *context, const PredV &mask, const PredV &result) {
    context->NZCV = (context->NZCV & ~all_flags) | flags_of<T>(context, mask, result);
}

} // namespace sve
