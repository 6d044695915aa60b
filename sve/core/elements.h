#pragma once

// Loops of the reference tier. A reference function is its name, its element type and one
// expression:
//
//     VecT VecU8SubVVM(VecT dn, PredV pg, VecT m, CpuContext *context) {
//         return merge_blocks<uint8_t>(context, dn, pg, [](auto a, auto b) { return a - b; }, dn, m);
//     }
//
// The vector length comes from the context. `op` gets the element of each vector operand, and other
// operands as they are; its result is cut to the element.

#include "sve/core/cpu_context.h"
#include "sve/core/export.h"
#include "sve/core/predicate_bits.h"

#include <cstdint>

namespace sve {

// Elements of type T in a vector.
template <class T>
unsigned element_count(const CpuContext *context) {
    return context->VL * 8 / sizeof(T);
}

template <class T>
T element_of(const VecT &vector, unsigned element) {
    return vector.get<T>(element);
}
template <class T, class Scalar>
const Scalar &element_of(const Scalar &scalar, unsigned) {
    return scalar;
}

// An operand whose element e is f(e).
template <class F>
struct elements_by {
    F f;
};
template <class F>
elements_by(F) -> elements_by<F>; // Clang 14 doesn't make it itself
template <class T, class F>
auto element_of(const elements_by<F> &elements, unsigned element) {
    return elements.f(element);
}

// Calls f(element, active) for each element of type T in ascending order. The predicate is read a word at
// a time: every predicated function of the library runs this loop.
template <class T, class F>
[[gnu::always_inline]] inline void for_each_element(const CpuContext *context, const PredV &pg,
                                                    F &&f) {
    constexpr unsigned in_word = 64 / sizeof(T);
    const unsigned count = element_count<T>(context);
    for (unsigned e = 0; e < count;) {
        uint64_t active = pg.word[e / in_word];
        const unsigned end = count < e + in_word ? count : e + in_word;
        for (; e < end; e++, active >>= sizeof(T))
            f(e, (active & 1) != 0);
    }
}

// ---- Blocks ------------------------------------------------------------------------------------

// Elements of type T in 16 bytes. A loop over so many, with an operation that has no branches,
// becomes vector instructions.
template <class T>
inline constexpr unsigned block_elements = sizeof(chunk<T>) / sizeof(T);

inline unsigned block_count(const CpuContext *context) {
    return (context->VL + 1) / 2;
}

// op(operand elements e…) for the elements of a block.
template <class T, class Op, class... Operand>
chunk<T> block_result(unsigned block, Op &op, const Operand &...operand) {
    T value[block_elements<T>];
    for (unsigned e = 0; e < block_elements<T>; e++)
        value[e] = static_cast<T>(op(element_of<T>(operand, block * block_elements<T> + e)...));
    return load_chunk<T>(reinterpret_cast<const uint8_t *>(value), 0);
}

// Element e is op(operand elements e…).
template <class T, class Op, class... Operand>
VecT unpredicated(const CpuContext *context, Op op, const Operand &...operand) {
    VecT result;
    for (unsigned block = 0, count = block_count(context); block < count; block++)
        store_chunk<T>(result.byte, block, block_result<T>(block, op, operand...));
    return result;
}

// The same where the predicate is true; elsewhere the element of `old`. For operations that do
// nothing but give a result: `op` is called for the other elements, too.
template <class T, class Op, class... Operand>
VecT merge_blocks(const CpuContext *context, const VecT &old, const PredV &pg, Op op,
                  const Operand &...operand) {
    VecT result;
    for (unsigned block = 0, count = block_count(context); block < count; block++)
        store_chunk<T>(result.byte, block,
                       active_elements<T>(pg, block) ? block_result<T>(block, op, operand...)
                                                     : load_chunk<T>(old.byte, block));
    return result;
}

// The predicate that is true, in the first bit of each element of type T, where `pg` is and the element in the
// chunk holds(block) is all ones; all its other bits are 0. An element that is not all ones is 0.
template <class T, class Holds>
PredV active_where(const CpuContext *context, const PredV &pg, Holds holds) {
    PredV result = {};
    for (unsigned w = 0, block = 0, count = block_count(context); block < count; w++) {
        uint64_t bits = 0;
        for (unsigned at = 0; at < 64 && block < count; at += 16, block++)
            bits |= uint64_t{pack_16(reinterpret_cast<chunk<uint8_t>>(holds(block)))} << at;
        result.word[w] = bits & pg.word[w] & first_bits_of_elements<T>;
    }
    return result;
}

// The same where relation(operand elements e…) holds. For relations that do nothing but tell.
template <class T, class Relation, class... Operand>
PredV compare_blocks(const CpuContext *context, const PredV &pg, Relation relation,
                     const Operand &...operand) {
    // All ones where the relation holds.
    const auto holds = [&](const auto &...element) -> T { return relation(element...) ? -1 : 0; };
    return active_where<T>(
        context, pg, [&](unsigned block) { return block_result<T>(block, holds, operand...); });
}

// ---- One by one --------------------------------------------------------------------------------

// As merge_blocks, for operations that must not be called for other elements than the active ones.
template <class T, class Op, class... Operand>
VecT merge(const CpuContext *context, const VecT &old, const PredV &pg, Op op,
           const Operand &...operand) {
    VecT result;
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        result.set<T>(e, active ? static_cast<T>(op(element_of<T>(operand, e)...)) : old.get<T>(e));
    });
    return result;
}

// As compare_blocks, for relations that must not be asked for other elements than the active ones.
template <class T, class Relation, class... Operand>
PredV compare(const CpuContext *context, const PredV &pg, Relation relation,
              const Operand &...operand) {
    PredV result = {};
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        if (active && relation(element_of<T>(operand, e)...))
            result.set(e * sizeof(T), true);
    });
    return result;
}

// Folds the active elements in ascending order: accumulator = op(accumulator, element).
template <class T, class Accumulator, class Op>
Accumulator fold_active(const CpuContext *context, const PredV &pg, const VecT &vector,
                        Accumulator start, Op op) {
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        if (active)
            start = op(start, vector.get<T>(e));
    });
    return start;
}

} // namespace sve

// Stamps a definition for each element type: F(type of the handler's name, element type).
#define SVE_UNSIGNED_TYPES(F) F(U8, uint8_t) F(U16, uint16_t) F(U32, uint32_t) F(U64, uint64_t)
#define SVE_SIGNED_TYPES(F) F(S8, int8_t) F(S16, int16_t) F(S32, int32_t) F(S64, int64_t)
