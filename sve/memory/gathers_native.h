#pragma once

// Translations of gathers and scatters, first-fault ones among them: they leave if an element can't be read. They take
// the operands of the direct routines; `Memory` is an element in memory, with the sign by which it is extended.

#include "sve/memory/access_native.h"

#include <type_traits>

namespace sve {

namespace memory {

// The elements' addresses: that of the scalar base and the offsets in the vector, or the vector's elements and
// an immediate.
struct gathered {
    unsigned vector;
    native::a64::index_kind offset;
    bool is_scaled;
    bool has_base;
    unsigned base;      // an X register, or 31 for SP
    unsigned immediate; // counts elements in memory
};

void load_gathered(code &c, const accessed &by, unsigned zt, unsigned pg, const gathered &from);
void store_scattered(code &c, const accessed &by, unsigned zt, unsigned pg, const gathered &to);

// Of a shape of addresses.h, and the operands that it has.
template <class Shape, unsigned size>
struct gathered_by {
    using element = std::conditional_t<size == sve_size_d, uint64_t, uint32_t>;
    using offset = typename Shape::template offset<element>;
    static constexpr native::a64::index_kind kind =
        sizeof(offset) == 8      ? native::a64::index_kind::doubleword
        : offset(-1) < offset(0) ? native::a64::index_kind::signed_word
                                 : native::a64::index_kind::unsigned_word;

    static gathered of(aarch64_z_reg vector, unsigned immediate) {
        return {vector.num, kind, false, false, 0, immediate};
    }
    static gathered of(aarch64_z_reg vector, aarch64_i_rsp_reg base) {
        return {vector.num, kind, Shape::scaled, true, base.num, 0};
    }
    static gathered of(aarch64_i_rsp_reg base, aarch64_z_reg vector) { return of(vector, base); }
};

} // namespace memory

template <class Memory, class Shape, unsigned size>
void native_load_gathered(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                          typename Shape::first_record first,
                          typename Shape::second_record second) {
    memory::load_gathered(c, memory::accessed_by<Memory>(size), zt.num, pg.num,
                          memory::gathered_by<Shape, size>::of(first, second));
}
template <class Memory, class Shape, unsigned size>
void native_store_scattered(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                            typename Shape::first_record first,
                            typename Shape::second_record second) {
    memory::store_scattered(c, memory::accessed_by<Memory>(size), zt.num, pg.num,
                            memory::gathered_by<Shape, size>::of(first, second));
}

} // namespace sve
