#pragma once

// Undefined words that the platform puts into its own code, to be told apart by their number. Every
// processor traps on them; the handler knows them only inside trampolines and in the platform.

#include "platform/include/dr_api.h"
#include "platform/src/a64.h"

namespace platform {

// "This thread has no state": what follows the load of a thread's field into an X register when the
// field is null. The handler makes the state, puts the field into the register and goes on behind
// it.
constexpr a64::word_t trap_for_thread_state(unsigned reg, unsigned field) {
    return a64::udf(static_cast<uint16_t>(0x5e00 | field << 5 | reg));
}
static_assert(DR_TLS_FIELD_COUNT <= 16);
constexpr bool is_trap_for_thread_state(a64::word_t word) {
    return word >> 9 == 0x5e00 >> 9;
}
constexpr unsigned trap_register(a64::word_t word) {
    return word & 0x1f;
}
constexpr unsigned trap_field(a64::word_t word) {
    return word >> 5 & 0xf;
}

// "Go on in the application": the end of a trampoline that is out of a branch's reach of its site, and of every detour.
// The eight bytes behind it are the address.
inline constexpr a64::word_t trap_to_application = a64::udf(0x5c00);

// "Go on in the trampoline": stands in the program's text, in the place of an instruction that
// wouldn't trap by itself and whose trampoline is out of a branch's reach.
inline constexpr a64::word_t trap_to_trampoline = a64::udf(0x5c02);

// "The client has returned, and something waits": see let_signals_in. Stands in the platform's own code only.
inline constexpr a64::word_t trap_to_let_in = a64::udf(0x5c01);

} // namespace platform
