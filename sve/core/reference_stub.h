#pragma once

// The bridge to the reference library: a stub turns the byte-per-bit, fixed-length rows of
// cpu_state into values, calls a function of the library, and turns the results back. It exists
// once, as
//
//     reference<function, destination, operand…>
//
// and, beside a direct stub, as second_reference<…>, with the operand descriptors of operands.h, which
// must agree with the function's parameters. A reference stub names its destination, since the type of
// the result alone does not tell it.

#include "sve/core/operands.h"
#include "sve/core/predicate_bits.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace sve {

// ---- Operands, by value ------------------------------------------------------------------------

inline VecT operand_value(const cpu_state *state, aarch64_z_reg reg) {
    VecT value; // bytes above the vector length have no meaning
    std::memcpy(value.byte, state->z[reg.num], sve_vector_bytes);
    return value;
}
[[gnu::always_inline]] inline PredV operand_value(const cpu_state *state, aarch64_p_reg reg) {
    return pack_predicate(state->p[reg.num]);
}
inline uint64_t operand_value(const cpu_state *state, aarch64_i_reg reg) {
    return read_reg(state, reg);
}
inline uint64_t operand_value(const cpu_state *state, aarch64_i_rsp_reg reg) {
    return read_reg(state, reg);
}
inline uint64_t operand_value(const cpu_state *state, v_scalar reg) {
    uint64_t value = 0;
    std::memcpy(&value, state->z[reg.num], size_t{1} << reg.size);
    return value;
}
inline uint64_t operand_value(const cpu_state *, aarch64_sve_logical64_imm imm) {
    return imm.mask;
}
inline unsigned operand_value(const cpu_state *, aarch64_sve_fp_arith_imm imm) {
    return imm.i1;
}
inline aarch64_sve_fp_dup_imm operand_value(const cpu_state *, aarch64_sve_fp_dup_imm imm) {
    return imm;
}
inline int operand_value(const cpu_state *, int imm) {
    return imm;
}
inline unsigned operand_value(const cpu_state *, unsigned imm) {
    return imm;
}

// ---- Destinations ------------------------------------------------------------------------------

// A vector, to Zd.
struct to_z {
    static constexpr unsigned vectors = 1;
    static void write(cpu_state *state, uint32_t word, const VecT &result) {
        std::memcpy(state->z[bits(word, 4, 0)], result.byte, sve_vector_bytes);
    }
};

// A predicate, to all bytes of Pd.
struct to_p {
    [[gnu::always_inline]] static void write(cpu_state *state, uint32_t word, const PredV &result) {
        unpack_predicate(state->p[bits(word, 3, 0)], result);
    }
};

// A scalar of 64 bits, to Xd; dropped for register 31.
struct to_x {
    static void write(cpu_state *state, uint32_t word, uint64_t result) {
        write_reg(state, Rd<X>::read(word), result);
    }
};

// The low bits of a scalar, at the width of a size code, to the V register Vd: the rest of the Z
// row becomes 0.
template <unsigned size>
struct to_v {
    static constexpr unsigned vectors = 1;
    static void write(cpu_state *state, uint32_t word, uint64_t result) {
        uint8_t *row = state->z[bits(word, 4, 0)];
        std::memset(row, 0, sve_vector_bytes);
        std::memcpy(row, &result, size_t{1} << size);
    }
};

// The function has no result of its own: compares of scalars, scatters.
struct to_none {};

// `count` vectors, to Zt and the registers behind it, the last being followed by Z0. The function
// writes them through pointers, which come behind its other operands.
template <unsigned count>
struct to_z_group {
    static constexpr unsigned vectors = count;
};

// ---- The stub ----------------------------------------------------------------------------------

// All of it is in one function for each handler, since it is called on every emulated instruction.

[[gnu::always_inline]] inline CpuContext make_context(const cpu_state *state) {
    return {.NZCV = static_cast<uint32_t>(state->nzcv),
            .FPSR = state->fpsr,
            .FPCR = state->fpcr | state->fpcr_or,
            .VL = sve_vector_bits / 64,
            .FFR = pack_predicate(state->ffr)};
}

[[gnu::always_inline]] inline void write_back(cpu_state *state, const CpuContext &context) {
    state->nzcv = context.NZCV;
    state->fpsr = context.FPSR;
    state->fpcr = context.FPCR;
    unpack_predicate(state->ffr, context.FFR);
}

template <class... Operand, class Function>
[[gnu::always_inline]] inline void
call_reference(to_none, Function *function, [[maybe_unused]] cpu_state *state,
               [[maybe_unused]] uint32_t word, CpuContext *context) {
    function(operand_value(state, Operand::read(word))..., context);
}

template <class... Operand, unsigned count, class Function>
[[gnu::always_inline]] inline void call_reference(to_z_group<count>, Function *function,
                                                  cpu_state *state, uint32_t word,
                                                  CpuContext *context) {
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        VecT result[count];
        function(operand_value(state, Operand::read(word))..., &result[i]..., context);
        (std::memcpy(state->z[(bits(word, 4, 0) + i) % 32], result[i].byte, sve_vector_bytes), ...);
    }
    (std::make_integer_sequence<unsigned, count>{});
}

template <class... Operand, class Destination, class Function>
[[gnu::always_inline]] inline void call_reference(Destination, Function *function, cpu_state *state,
                                                  uint32_t word, CpuContext *context) {
    // Every operand is made in its place among the arguments: a vector is copied once.
    Destination::write(state, word,
                       function(operand_value(state, Operand::read(word))..., context));
}

template <class Destination, class... Operand, class Function>
[[gnu::always_inline]] inline aarch64_decode_rc run_function(Function *function, cpu_state *state,
                                                             uint32_t word) {
    CpuContext context = make_context(state);
    call_reference<Operand...>(Destination{}, function, state, word, &context);
    write_back(state, context);
    return AARCH64_DECODE_OK;
}

template <auto function, class Destination, class... Operand>
aarch64_decode_rc reference(cpu_state *state, unsigned int word) {
    return run_function<Destination, Operand...>(function, state, word);
}

// ---- The stub beside a direct one --------------------------------------------------------------

// It does the same, but only the comparison of the two implementations calls it, so it need not be fast: one
// function serves all forms whose reference functions have one type and whose operands lie at the same places.

// As values, registers are the same at every element size.
template <class Operand>
struct without_size {
    using type = Operand;
};
template <class Record, unsigned high, unsigned low, unsigned size>
struct without_size<plain_operand<Record, high, low, size>> {
    using type = plain_operand<Record, high, low, 0>;
};
template <class Record, unsigned high, unsigned low, unsigned size>
struct without_size<tied_operand<Record, high, low, size>> {
    using type = tied_operand<Record, high, low, 0>;
};

template <class Destination, class... Operand, class Function>
[[gnu::noinline]] aarch64_decode_rc run_any_function(Function *function, cpu_state *state,
                                                     uint32_t word) {
    return run_function<Destination, Operand...>(function, state, word);
}

template <auto function, class Destination, class... Operand>
aarch64_decode_rc second_reference(cpu_state *state, unsigned int word) {
    return run_any_function<Destination, typename without_size<Operand>::type...>(function, state,
                                                                                  word);
}

} // namespace sve
