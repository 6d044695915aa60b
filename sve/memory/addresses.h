#pragma once

// The addresses of memory instructions.
//
// Of contiguous ones: where the elements of a vector begin. Of gathers and scatters a type for each shape of
// the handlers' names, which are made of the operands in their order: V for the vector, S for the scalar base
// or I for an immediate, X or Y before them for offsets that are the sign- or zero-extended low words of the
// elements. The offset is multiplied by the bytes of an element in memory where the base comes first, and so
// is the immediate.

#include "sve/core/elements.h"
#include "sve/core/operands.h"
#include "sve/memory/forms.h"

namespace sve::memory {

// Base + immediate · `count` elements.
template <class Memory>
uint64_t vectors_away(uint64_t base, int64_t immediate, unsigned count) {
    return base + static_cast<uint64_t>(immediate * (count * int64_t{sizeof(Memory)}));
}
// Base + index elements.
template <class Memory>
uint64_t elements_away(uint64_t base, uint64_t index) {
    return base + index * sizeof(Memory);
}

// What a gather's operands are: their records, their values, and their descriptors.
struct vector_and_immediate {
    using first_record = aarch64_z_reg;
    using second_record = unsigned;
    using first_value = VecT;
    using second_value = unsigned;
    template <unsigned size>
    using first = Zn<size>;
    template <unsigned>
    using second = UImm<20, 16>;
};
struct vector_and_scalar {
    using first_record = aarch64_z_reg;
    using second_record = aarch64_i_rsp_reg;
    using first_value = VecT;
    using second_value = unsigned long;
    template <unsigned size>
    using first = Zm<size>;
    template <unsigned>
    using second = Base;
};
struct scalar_and_vector {
    using first_record = aarch64_i_rsp_reg;
    using second_record = aarch64_z_reg;
    using first_value = unsigned long;
    using second_value = VecT;
    template <unsigned>
    using first = Base;
    template <unsigned size>
    using second = Zm<size>;
};

// Which part of an element is the offset, and whether it counts elements in memory.
enum class extend { none, sxtw, uxtw };
template <class Operands, extend part, bool is_scaled>
struct gather_shape : Operands {
    template <class Element>
    using offset = std::conditional_t<
        part == extend::sxtw, int32_t,
        std::conditional_t<part == extend::uxtw, uint32_t, std::make_unsigned_t<Element>>>;
    static constexpr bool scaled = is_scaled;
};
using VIZ = gather_shape<vector_and_immediate, extend::none, false>;
using VSZ = gather_shape<vector_and_scalar, extend::none, false>;
using XVSZ = gather_shape<vector_and_scalar, extend::sxtw, false>;
using YVSZ = gather_shape<vector_and_scalar, extend::uxtw, false>;
using SVZ = gather_shape<scalar_and_vector, extend::none, true>;
using XSVZ = gather_shape<scalar_and_vector, extend::sxtw, true>;
using YSVZ = gather_shape<scalar_and_vector, extend::uxtw, true>;

// The addresses of a gather: address(e) for element e. The vector's bytes are read when an address is asked
// for.
template <class Shape, class Memory, class Element>
class gather_addresses {
public:
    gather_addresses(const cpu_state *state, aarch64_z_reg vector, unsigned immediate)
        : vector_(state->z[vector.num]), base_(immediate * sizeof(Memory)) {}
    gather_addresses(const cpu_state *state, aarch64_z_reg vector, aarch64_i_rsp_reg base)
        : vector_(state->z[vector.num]), base_(read_reg(state, base)) {}
    gather_addresses(const cpu_state *state, aarch64_i_rsp_reg base, aarch64_z_reg vector)
        : gather_addresses(state, vector, base) {}

    gather_addresses(const VecT &vector, unsigned immediate)
        : vector_(vector.byte), base_(immediate * sizeof(Memory)) {}
    gather_addresses(const VecT &vector, unsigned long base) : vector_(vector.byte), base_(base) {}
    gather_addresses(unsigned long base, const VecT &vector) : gather_addresses(vector, base) {}

    uint64_t operator()(unsigned e) const {
        typename Shape::template offset<Element> offset;
        std::memcpy(&offset, vector_ + e * sizeof(Element), sizeof offset);
        return base_ + static_cast<uint64_t>(offset) * (Shape::scaled ? sizeof(Memory) : 1);
    }

private:
    const uint8_t *vector_;
    uint64_t base_;
};

} // namespace sve::memory
