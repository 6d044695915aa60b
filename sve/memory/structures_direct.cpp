#include "sve/memory/addresses.h"
#include "sve/memory/elements.h"
#include "sve/memory/structures.h"

#include <array>

using namespace sve;
using namespace sve::memory;

// The rows of a structure's registers: Z0 follows Z31.
template <unsigned count, class State>
static auto member_rows(State *state, aarch64_z_reg zt) {
    std::array<decltype(&state->z[0][0]), count> rows;
    for (unsigned r = 0; r < count; r++)
        rows[r] = state->z[(zt.num + r) % 32];
    return rows;
}

// Whether the structures may be accessed as a block.
template <class Element, unsigned count>
static bool are_block(const uint8_t *governing, uint64_t address) {
    return all_active<Element>(governing) && is_block<Element>(address, count * sve_vector_bytes);
}

template <class Memory, class Element, unsigned count>
aarch64_decode_rc sve_ldN_zpri(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,
                               aarch64_i_rsp_reg base, long offset) {
    const auto rows = member_rows<count>(state, zt);
    const uint8_t *governing = state->p[pg.num];
    uint64_t address = elements_away<Memory>(read_reg(state, base), static_cast<uint64_t>(offset));
    if (are_block<Element, count>(governing, address)) {
        Element source[elements<Element>][count];
        std::memcpy(source, reinterpret_cast<const void *>(address), sizeof source);
        Element member[count][elements<Element>];
        for (unsigned e = 0; e < elements<Element>; e++)
            for (unsigned r = 0; r < count; r++)
                member[r][e] = source[e][r];
        for (unsigned r = 0; r < count; r++)
            std::memcpy(rows[r], member[r], sizeof member[r]);
        return AARCH64_DECODE_OK;
    }
    for (unsigned e = 0; e < elements<Element>; e++)
        for (const bool active = is_active<Element>(governing, e); uint8_t * row : rows) {
            const Element value = active ? load_memory<Memory>(address) : Memory{0};
            std::memcpy(row + e * sizeof value, &value, sizeof value);
            element_done();
            address += sizeof(Memory);
        }
    return AARCH64_DECODE_OK;
}

template <class Element, unsigned count>
static aarch64_decode_rc store(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,
                               uint64_t address) {
    const auto rows = member_rows<count>(static_cast<const cpu_state *>(state), zt);
    const uint8_t *governing = state->p[pg.num];
    if (are_block<Element, count>(governing, address)) {
        Element member[count][elements<Element>];
        for (unsigned r = 0; r < count; r++)
            std::memcpy(member[r], rows[r], sizeof member[r]);
        Element result[elements<Element>][count];
        for (unsigned e = 0; e < elements<Element>; e++)
            for (unsigned r = 0; r < count; r++)
                result[e][r] = member[r][e];
        std::memcpy(reinterpret_cast<void *>(address), result, sizeof result);
        return AARCH64_DECODE_OK;
    }
    for (unsigned e = 0; e < elements<Element>; e++, address += count * sizeof(Element)) {
        if (!is_active<Element>(governing, e))
            continue;
        for (unsigned r = 0; r < count; r++) {
            Element value;
            std::memcpy(&value, rows[r] + e * sizeof value, sizeof value);
            store_memory(address + r * sizeof value, value);
        }
    }
    return AARCH64_DECODE_OK;
}

#define STRUCTURES(type, count, bytes, letter, ...)                                                \
    template aarch64_decode_rc                                                                     \
    sve_ldN_zpri<std::make_signed_t<type>, std::make_signed_t<type>, count>(                       \
        cpu_state *, aarch64_z_reg, aarch64_p_reg, aarch64_i_rsp_reg, long);                       \
    aarch64_decode_rc sve_ld##count##letter##_zpri(cpu_state *state, aarch64_z_reg zt,             \
                                                   aarch64_p_reg pg, aarch64_i_rsp_reg base,       \
                                                   int immediate) {                                \
        using T = std::make_signed_t<type>;                                                        \
        return sve_ldN_zpri<T, T, count>(state, zt, pg, base,                                      \
                                         immediate * long{count * elements<type>});                \
    }                                                                                              \
    aarch64_decode_rc sve_ld##count##letter##_scaled_zprr(                                         \
        cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,              \
        aarch64_i_reg index) {                                                                     \
        using T = std::make_signed_t<type>;                                                        \
        return sve_ldN_zpri<T, T, count>(state, zt, pg, base,                                      \
                                         static_cast<long>(read_reg(state, index)));               \
    }                                                                                              \
    aarch64_decode_rc sve_st##count##letter##_zpri(cpu_state *state, aarch64_z_reg zt,             \
                                                   aarch64_p_reg pg, aarch64_i_rsp_reg base,       \
                                                   int immediate) {                                \
        return store<type, count>(                                                                 \
            state, zt, pg,                                                                         \
            vectors_away<type>(read_reg(state, base), immediate, count * elements<type>));         \
    }                                                                                              \
    aarch64_decode_rc sve_st##count##letter##_scaled_zprr(                                         \
        cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,              \
        aarch64_i_reg index) {                                                                     \
        return store<type, count>(                                                                 \
            state, zt, pg, elements_away<type>(read_reg(state, base), read_reg(state, index)));    \
    }
SVE_STRUCTURE_FORMS(STRUCTURES)
#undef STRUCTURES
