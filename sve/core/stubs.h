#pragma once

// Decode stubs. A stub knows from its row which form it serves and at which element size; it takes
// the operand fields out of the word, tests no opcode bits, and hands them on. Its template
// arguments are the routine and the operand descriptors (operands.h), which must agree with the
// routine's parameters or the row doesn't compile.

#include "sve/core/handler_row.h"
#include "sve/core/host_fp.h"
#include "sve/core/operands.h"
#include "sve/core/reference_stub.h"
#include "sve/core/vector_use.h"
#include "sve/core/translation.h"

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
inline void translated_no_op(native::code &, uint32_t) {}

// In the place of a direct routine or its stub: the handler takes the reference route.
inline constexpr std::nullptr_t reference_route = nullptr;

// The stub of a direct routine, or reference_route as it is.
template <auto routine, class... Operand>
consteval auto direct_stub() {
    if constexpr (std::is_null_pointer_v<decltype(routine)>)
        return reference_route;
    else
        return aarch64_handler{direct<routine, Operand...>};
}
template <auto routine, class... Operand>
consteval auto direct_fp_stub() {
    if constexpr (std::is_null_pointer_v<decltype(routine)>)
        return reference_route;
    else
        return aarch64_handler{direct_fp<routine, Operand...>};
}

// The third way: native code that does the work, which `routine` writes. Its operands are those of the direct routine, and
// `untranslated` stands in its place where there is none.
inline constexpr std::nullptr_t untranslated = nullptr;
template <auto routine, class... Operand>
void translated(native::code &code, [[maybe_unused]] uint32_t word) {
    routine(code, Operand::read(word)...);
}
template <auto routine, class... Operand>
consteval native::translation translation_stub() {
    if constexpr (std::is_null_pointer_v<decltype(routine)>)
        return nullptr;
    else
        return translated<routine, Operand...>;
}
// How a row names it: by<native_add_zzz>, behind the key.
template <auto routine>
struct translated_by {};
template <auto routine>
inline constexpr translated_by<routine> by{};

// The row of a handler that does nothing.
constexpr handler_row no_op_row(const char *name, decode_map *map, unsigned key) {
    return {name, map, key, no_op, nullptr, handler_route::no_op, {}, translated_no_op};
}

// The row of a handler with a reference function and its operands, and with the stub of a direct routine or
// reference_route. (Not consteval: Clang 14 doesn't let consteval functions call such with their own arguments.)
template <auto function, class Destination, class... Operand>
constexpr handler_row row_of(const char *name, decode_map *map, unsigned key,
                             aarch64_handler direct, native::translation translate = nullptr) {
    return {name,
            map,
            key,
            direct,
            second_reference<function, Destination, Operand...>,
            handler_route::direct,
            vector_use_of<Destination, Operand...>(),
            translate};
}
template <auto function, class Destination, class... Operand>
constexpr handler_row row_of(const char *name, decode_map *map, unsigned key, std::nullptr_t,
                             native::translation translate = nullptr) {
    return {name,
            map,
            key,
            reference<function, Destination, Operand...>,
            nullptr,
            handler_route::reference,
            vector_use_of<Destination, Operand...>(),
            translate};
}

// The same where both tiers take the same operands in the same order: the destination is among them.
template <auto routine, auto function, class Destination, class... Operand,
          auto native = untranslated>
constexpr handler_row row(const char *name, decode_map *map, unsigned key,
                          translated_by<native> = {}) {
    return row_of<function, Destination, Operand...>(
        name, map, key, direct_stub<routine, Operand...>(), translation_stub<native, Operand...>());
}

// The same where the destination is only written: a direct routine and a translation get its record in front, a
// reference function doesn't.
template <auto routine, auto function, class Destination, class Written, class... Operand,
          auto native = untranslated>
constexpr handler_row row_to(const char *name, decode_map *map, unsigned key,
                             translated_by<native> = {}) {
    return row_of<function, Destination, Operand...>(
        name, map, key, direct_stub<routine, Written, Operand...>(),
        translation_stub<native, Written, Operand...>());
}

// The same two where the direct routine uses the host's floating-point instructions.
template <auto routine, auto function, class Destination, class... Operand,
          auto native = untranslated>
constexpr handler_row fp_row(const char *name, decode_map *map, unsigned key,
                             translated_by<native> = {}) {
    return row_of<function, Destination, Operand...>(name, map, key,
                                                     direct_fp_stub<routine, Operand...>(),
                                                     translation_stub<native, Operand...>());
}
template <auto routine, auto function, class Destination, class Written, class... Operand,
          auto native = untranslated>
constexpr handler_row fp_row_to(const char *name, decode_map *map, unsigned key,
                                translated_by<native> = {}) {
    return row_of<function, Destination, Operand...>(
        name, map, key, direct_fp_stub<routine, Written, Operand...>(),
        translation_stub<native, Written, Operand...>());
}

} // namespace sve
