#pragma once

// Which Z registers the words of a form read and write, beyond the scalars in V registers that live in their low
// 16 bytes. It follows from the operand descriptors of the form's row, and serves who follows values through
// code without running it.

#include "sve/core/bits.h"
#include "sve/core/cpu_state.h"
#include "sve/core/vector_length.h"

#include <bit>
#include <cstdint>
#include <type_traits>

namespace sve {

struct vector_use {
    uint8_t read_from_zd =
        0; // registers from the one in bits 4:0 on, Z31 being followed by Z0, that are read
    uint8_t written_from_zd = 0; // those that are written, all bytes of them
    bool reads_zn = false;       // the one in bits 9:5
    uint8_t zn_element = 0;      // of it only the element with a DUP's index: its size code + 1
    uint8_t zm_width = 0; // bits, from bit 16 on, that name another one that is read; 0: none does

    // Masks of the registers, bit n for Zn.
    constexpr uint32_t reads(uint32_t word) const {
        uint32_t mask = group(word, read_from_zd);
        if (reads_zn && !reads_low_element(word))
            mask |= 1u << bits(word, 9, 5);
        if (zm_width)
            mask |= 1u << bits(word, 15u + zm_width, 16);
        return mask;
    }
    constexpr uint32_t writes(uint32_t word) const { return group(word, written_from_zd); }

private:
    static constexpr uint32_t group(uint32_t word, unsigned count) {
        return std::rotl((1u << count) - 1, static_cast<int>(bits(word, 4, 0)));
    }
    // Compilers broadcast scalars by DUP, so it is worth knowing that the element lies in the V register.
    constexpr bool reads_low_element(uint32_t word) const {
        const unsigned index = joined_fields<23, 22, 20, 16>::read(word) >> zn_element;
        return zn_element && index << (zn_element - 1) < sve_chunk_bytes;
    }
};

// Where a vector operand's number stands is found by asking its descriptor for it.
template <class Operand>
constexpr void add_operand(vector_use &use) {
    if constexpr (requires { Operand::element; })
        use.zn_element = Operand::element + 1;
    if constexpr (std::is_same_v<decltype(Operand::read(0u)), aarch64_z_reg>) {
        constexpr auto is_in_number = [](unsigned bit) {
            return Operand::read(1u << bit).num != Operand::read(0).num;
        };
        constexpr unsigned low = [&] {
            unsigned bit = 0;
            while (!is_in_number(bit))
                bit++;
            return bit;
        }();
        static_assert(low == 0 || low == 5 || low == 16);
        if (low == 0) // perhaps a further one of a group
            use.read_from_zd = static_cast<uint8_t>(Operand::read(0).num + 1);
        if (low == 5)
            use.reads_zn = true;
        while (low == 16 && is_in_number(low + use.zm_width))
            use.zm_width++;
    }
}

// The use of a form with a destination (reference_stub.h) and operands.
template <class Destination, class... Operand>
consteval vector_use vector_use_of() {
    vector_use use;
    if constexpr (requires { Destination::vectors; })
        use.written_from_zd = Destination::vectors;
    (add_operand<Operand>(use), ...);
    return use;
}

} // namespace sve
