#pragma once

// Every register that a program sees, set and read back around one instruction (machine_state.S).

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

struct machine_state {
    uint64_t x[31];
    uint64_t sp;
    uint64_t nzcv, fpcr, fpsr, unused;
    std::array<uint8_t, 16> v[32];
};
// machine_state.S has these offsets.
static_assert(offsetof(machine_state, sp) == 248 && offsetof(machine_state, nzcv) == 256 &&
              offsetof(machine_state, fpcr) == 264 && offsetof(machine_state, fpsr) == 272 &&
              offsetof(machine_state, v) == 288);

// Puts the state into the registers, runs one instruction, and puts the registers into the state.
// Not for two threads at a time.
using state_routine = void(machine_state *);

extern "C" {
state_routine run_nop;
state_routine run_add_z0, run_add_z3, run_add_z31;         // add zN.b, zN.b, #1
state_routine run_addvl_x26, run_addvl_x27, run_addvl_x28; // addvl xN, x9, #1
state_routine run_addvl_x29, run_addvl_x30;
state_routine run_addvl_sp;         // addvl sp, sp, #1
state_routine run_invert, run_fail; // the test client's, in test_handlers.cpp
extern uint32_t run_fail_instruction[];

// Native instructions that write V registers.
#define NATIVE_ROUTINES(routine)                                                                   \
    routine(movi) routine(add) routine(insert) routine(scalar) routine(round) routine(post)        \
        routine(pre_x27) routine(pre_sp) routine(pair_sp) routine(from_x0) routine(two)            \
            routine(four) routine(literal_s) routine(literal_d) routine(literal_q)
#define DECLARE(name)                                                                              \
    state_routine run_##name;                                                                      \
    extern uint32_t run_##name##_instruction[];
NATIVE_ROUTINES(DECLARE)
#undef DECLARE
}

// A stack that a state's SP points into, with room for a signal handler below.
inline struct {
    alignas(16) uint8_t below[128 << 10];
    alignas(16) uint8_t above[256];
} test_stack;

// No two registers are alike, nor two bytes of a V register.
inline machine_state distinct_state() {
    machine_state state = {};
    for (unsigned i = 0; i < 31; i++)
        state.x[i] = 0x0807'0605'0403'0201u * (i + 1);
    for (unsigned i = 0; i < 32; i++)
        for (unsigned byte = 0; byte < 16; byte++)
            state.v[i][byte] = static_cast<uint8_t>(i * 37 + byte * 11 + 3);
    state.sp = reinterpret_cast<uint64_t>(test_stack.above);
    std::memset(test_stack.above, 0x5a, sizeof test_stack.above);
    return state;
}

// The names of the registers that differ: "x26 v3".
inline std::string differences(const machine_state &a, const machine_state &b) {
    std::string names;
    const auto compare = [&names](bool equal, const std::string &name) {
        if (!equal)
            names += (names.empty() ? "" : " ") + name;
    };
    for (unsigned i = 0; i < 31; i++)
        compare(a.x[i] == b.x[i], "x" + std::to_string(i));
    compare(a.sp == b.sp, "sp");
    compare(a.nzcv == b.nzcv, "nzcv");
    compare(a.fpcr == b.fpcr, "fpcr");
    compare(a.fpsr == b.fpsr, "fpsr");
    for (unsigned i = 0; i < 32; i++)
        compare(a.v[i] == b.v[i], "v" + std::to_string(i));
    return names;
}
