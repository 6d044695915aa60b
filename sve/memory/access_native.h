#pragma once

// What translations of memory instructions have in common: elements, and addresses.
//
// A vector's elements in memory are accessed in blocks of up to 16 bytes, in ascending order. Loads of partly active
// vectors load all of a page's and clear the inactive lanes; if the vector leaves its page the emulator loads it,
// which asks no page that it must not. Stores of partly active vectors go by chunks, and by elements where a chunk has
// active and inactive ones.

#include "sve/native/a64_memory.h"
#include "sve/native/code.h"

namespace sve::memory {

using native::code;

// An element of a register and in memory, by size codes.
struct accessed {
    unsigned size, memory;
    bool is_signed;

    constexpr bool is_extended() const { return memory != size; }
    constexpr native::a64::extension extension() const {
        return !is_signed           ? native::a64::extension::zero
               : size == sve_size_d ? native::a64::extension::sign_to_64
                                    : native::a64::extension::sign_to_32;
    }
    // Of all elements of a vector
    unsigned memory_bytes(const code &c) const { return c.vector_bytes() >> size << memory; }
};
template <class Memory>
constexpr accessed accessed_by(unsigned size) {
    return {size, static_cast<unsigned>(__builtin_ctz(sizeof(Memory))), Memory(-1) < Memory(0)};
}

// Where accesses begin.
struct place {
    unsigned base; // an X register, or 31 for SP
    int64_t offset;
    bool is_scratch; // the base is a scratch register
};
place bytes_away(code &c, aarch64_i_rsp_reg base, int64_t bytes);
// Base + index << shift
place index_away(code &c, aarch64_i_rsp_reg base, aarch64_i_reg index, unsigned shift);
// The same place, with an offset for all accesses of the next `bytes` bytes, pairs of Q registers included.
place reachable(code &c, const place &at, unsigned bytes);
// A scratch register with its address, which may be advanced.
unsigned address(code &c, const place &at);
// Leaves unless `bytes` bytes from there on are in one page of the smallest pages that there are.
void stay_in_page(code &c, const place &at, unsigned bytes);

// All of a row, from and to memory.
void load_row(code &c, unsigned zt, const place &from);
void store_row(code &c, unsigned zt, const place &to);

} // namespace sve::memory
