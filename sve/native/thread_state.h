#pragma once

#include "sve/core/cpu_state.h"
#include "sve/native/layout.h"

#include <cstddef>
#include <cstdint>

namespace sve::native {

// What a thread has: its registers, and what runs need beside them.
struct thread_state {
    cpu_state registers;
    uint64_t returns_to; // where the shared hand-over goes back to
    uint64_t *counters;  // of runs, by index; the word before the first is the address of this
    // Of each predicate bit n, if all its elements of size code n are known to be active.
    uint32_t full[16];
    uint64_t padding;
    alignas(8) uint8_t spare[sve_vector_bytes]; // a row for results that may not be written yet
};

static constexpr layout own_layout{sve_vector_bytes};
static_assert(offsetof(cpu_state, sp) == own_layout.sp() &&
              offsetof(cpu_state, z) == own_layout.z(0) &&
              offsetof(cpu_state, p) == own_layout.p(0) &&
              offsetof(cpu_state, ffr) == own_layout.ffr());
static_assert(offsetof(thread_state, returns_to) == own_layout.returns_to() &&
              offsetof(thread_state, counters) == own_layout.counters() &&
              offsetof(thread_state, full) == own_layout.full(0) &&
              offsetof(thread_state, spare) == own_layout.spare() &&
              own_layout.spare() % sve_chunk_bytes == 0);

} // namespace sve::native
