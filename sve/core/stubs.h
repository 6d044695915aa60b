#pragma once

// Decode stubs. A stub knows from its row which form it serves and at which element size; it takes
// the operand fields out of the word, tests no opcode bits, and hands them on. Its template
// arguments are the routine and the operand descriptors (operands.h), which must agree with the
// routine's parameters or the row doesn't compile.

#include "sve/core/handler_row.h"
#include "sve/core/host_fp.h"
#include "sve/core/operands.h"
#include "sve/core/reference_stub.h"

#include <cstddef>
#include <type_traits>

namespace sve {

// The direct route: `routine` works in place on the state.
template <auto routine, class... Operand>
aarch64_decode_rc direct(cpu_state *state, unsigned int word) {
    state->insn = word;
    return routine(state, Operand::read(word)...);
}

// The same for routines that use the host's floating-point instructions: the exceptions that they
// raised are in the host's FPSR.
template <auto routine, class... Operand>
aarch64_decode_rc direct_fp(cpu_state *state, unsigned int word) {
    const aarch64_decode_rc rc = direct<routine, Operand...>(state, word);
    state->fpsr = read_host_fpsr();
    return rc;
}

// Prefetches: nothing is touched.
inline aarch64_decode_rc no_op(cpu_state *, unsigned int) {
    return AARCH64_DECODE_OK;
}

// In the place of a direct routine: the handler takes the reference route.
inline constexpr std::nullptr_t reference_route = nullptr;

// A row of a handler that takes it, and one of a handler that does nothing.
constexpr handler_row reference_row(const char *name, const decode_map *map, unsigned key,
                                    reference_stub stub) {
    return {name, map, key, stub.run, nullptr, handler_route::reference, stub.vectors};
}
constexpr handler_row no_op_row(const char *name, const decode_map *map, unsigned key) {
    return {name, map, key, no_op, nullptr, handler_route::no_op};
}
// A row of a handler on the direct route that has a reference stub, too.
constexpr handler_row direct_row(const char *name, const decode_map *map, unsigned key,
                                 aarch64_handler direct, reference_stub stub) {
    return {name, map, key, direct, stub.run, handler_route::direct, stub.vectors};
}

// A row of a handler whose two tiers take the same operands in the same order: the destination is
// among them. (Not consteval: Clang 14 doesn't let consteval functions call such with their own arguments.)
template <auto routine, auto function, class Destination, class... Operand>
constexpr handler_row row(const char *name, const decode_map *map, unsigned key) {
    if constexpr (std::is_null_pointer_v<decltype(routine)>)
        return reference_row(name, map, key, reference<function, Destination, Operand...>);
    else
        return direct_row(name, map, key, direct<routine, Operand...>,
                          reference<function, Destination, Operand...>);
}

// The same where the destination is only written: a direct routine gets its record in front, a
// reference function doesn't.
template <auto routine, auto function, class Destination, class Written, class... Operand>
constexpr handler_row row_to(const char *name, const decode_map *map, unsigned key) {
    if constexpr (std::is_null_pointer_v<decltype(routine)>)
        return reference_row(name, map, key, reference<function, Destination, Operand...>);
    else
        return direct_row(name, map, key, direct<routine, Written, Operand...>,
                          reference<function, Destination, Operand...>);
}

// The same where the direct routine uses the host's floating-point instructions.
template <auto routine, auto function, class Destination, class... Operand>
consteval handler_row fp_row(const char *name, const decode_map *map, unsigned key) {
    handler_row result = row<routine, function, Destination, Operand...>(name, map, key);
    if constexpr (!std::is_null_pointer_v<decltype(routine)>)
        result.handler = direct_fp<routine, Operand...>;
    return result;
}
template <auto routine, auto function, class Destination, class Written, class... Operand>
consteval handler_row fp_row_to(const char *name, const decode_map *map, unsigned key) {
    handler_row result =
        row_to<routine, function, Destination, Written, Operand...>(name, map, key);
    if constexpr (!std::is_null_pointer_v<decltype(routine)>)
        result.handler = direct_fp<routine, Written, Operand...>;
    return result;
}

} // namespace sve
