#include "sve/memory/elements.h"
#include "sve/memory/gathers.h"

using namespace sve;
using namespace sve::memory;

// An element of the offsets is read before the loaded one is written, which may take its place.
#define GATHER(access, type, bytes, shape, routine)                                                \
    aarch64_decode_rc sve_##routine(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,          \
                                    shape::first_record first, shape::second_record second) {      \
        using Memory = memory_type<type, bytes>;                                                   \
        access<Memory, type>(state->z[zt.num], state->p[pg.num],                                   \
                             gather_addresses<shape, Memory, type>(state, first, second));         \
        return AARCH64_DECODE_OK;                                                                  \
    }
#define LOAD(type, op, bytes, shape, routine, key) GATHER(load_active, type, bytes, shape, routine)
#define STORE(type, op, bytes, shape, routine, key)                                                \
    GATHER(store_active, type, bytes, shape, routine)
SVE_DIRECT_GATHERS(LOAD)
SVE_DIRECT_SCATTERS(STORE)
