#include "sve/core/predicate_bits.h"
#include "sve/memory/addresses.h"
#include "sve/memory/contiguous.h"
#include "sve/memory/elements.h"

using namespace sve;
using namespace sve::memory;

#define CONTIGUOUS(access, type, bytes, routine)                                                   \
    aarch64_decode_rc sve_##routine##_zpri(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,   \
                                           aarch64_i_rsp_reg base, int immediate) {                \
        using Memory = memory_type<type, bytes>;                                                   \
        access<Memory, type>(                                                                      \
            state->z[zt.num], state->p[pg.num],                                                    \
            vectors_away<Memory>(read_reg(state, base), immediate, elements<type>));               \
        return AARCH64_DECODE_OK;                                                                  \
    }                                                                                              \
    aarch64_decode_rc sve_##routine##_scaled_zprr(cpu_state *state, aarch64_z_reg zt,              \
                                                  aarch64_p_reg pg, aarch64_i_rsp_reg base,        \
                                                  aarch64_i_reg index) {                           \
        using Memory = memory_type<type, bytes>;                                                   \
        access<Memory, type>(                                                                      \
            state->z[zt.num], state->p[pg.num],                                                    \
            elements_away<Memory>(read_reg(state, base), read_reg(state, index)));                 \
        return AARCH64_DECODE_OK;                                                                  \
    }
#define LOAD(type, op, bytes, routine, ...) CONTIGUOUS(load_contiguous, type, bytes, routine)
#define STORE(type, op, bytes, routine, ...) CONTIGUOUS(store_contiguous, type, bytes, routine)
SVE_CONTIGUOUS_LOADS(LOAD)
SVE_CONTIGUOUS_STORES(STORE)
#undef CONTIGUOUS
#undef LOAD
#undef STORE

template <class Memory, class Element>
static aarch64_decode_rc replicate(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,
                                   aarch64_i_rsp_reg base, unsigned immediate) {
    const uint64_t address = elements_away<Memory>(read_reg(state, base), immediate);
    load_active<Memory, Element>(state->z[zt.num], state->p[pg.num],
                                 [address](unsigned) { return address; });
    return AARCH64_DECODE_OK;
}

#define REPLICATING(type, op, bytes, routine, key)                                                 \
    aarch64_decode_rc sve_##routine##_zpri(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,   \
                                           aarch64_i_rsp_reg base, unsigned immediate) {           \
        return replicate<memory_type<type, bytes>, type>(state, zt, pg, base, immediate);          \
    }
SVE_REPLICATING_LOADS(REPLICATING)
#undef REPLICATING

// ---- LDR, STR -------------------------------------------------------------------------------------

static uint64_t registers_away(const cpu_state *state, aarch64_i_rsp_reg base, int immediate,
                               unsigned register_bytes) {
    return vectors_away<uint8_t>(read_reg(state, base), immediate, register_bytes);
}

aarch64_decode_rc sve_ldr_zri(cpu_state *state, aarch64_z_reg zt, aarch64_i_rsp_reg base,
                              int immediate) {
    const uint64_t address = registers_away(state, base, immediate, sve_vector_bytes);
    for (unsigned i = 0; i < sve_chunks; i++) {
        store_chunk<uint8_t>(state->z[zt.num], i,
                             load_chunk<uint8_t>(reinterpret_cast<const uint8_t *>(address), i));
        element_done();
    }
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc sve_str_zri(cpu_state *state, aarch64_z_reg zt, aarch64_i_rsp_reg base,
                              int immediate) {
    const uint64_t address = registers_away(state, base, immediate, sve_vector_bytes);
    for (unsigned i = 0; i < sve_chunks; i++) {
        store_chunk<uint8_t>(reinterpret_cast<uint8_t *>(address), i,
                             load_chunk<uint8_t>(state->z[zt.num], i));
        element_done();
    }
    return AARCH64_DECODE_OK;
}

// Bytes of a predicate register.
static constexpr unsigned predicate_bytes = sve_vector_bytes / 8;

aarch64_decode_rc sve_ldr_pri(cpu_state *state, aarch64_p_reg pt, aarch64_i_rsp_reg base,
                              int immediate) {
    PredV packed = {};
    std::memcpy(
        &packed,
        reinterpret_cast<const void *>(registers_away(state, base, immediate, predicate_bytes)),
        predicate_bytes);
    unpack_predicate(state->p[pt.num], packed);
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc sve_str_pri(cpu_state *state, aarch64_p_reg pt, aarch64_i_rsp_reg base,
                              int immediate) {
    const PredV packed = pack_predicate(state->p[pt.num]);
    const uint64_t address = registers_away(state, base, immediate, predicate_bytes);
    // In ascending order: a fault finds the lower ones done.
    constexpr unsigned in_words = predicate_bytes / 8 * 8;
    for (unsigned i = 0; i < in_words; i += 8)
        store_memory(address + i, packed.word[i / 8]);
    for (unsigned i = in_words; i < predicate_bytes; i += 2)
        store_memory(address + i, static_cast<uint16_t>(packed.word[i / 8] >> i % 8 * 8));
    return AARCH64_DECODE_OK;
}
