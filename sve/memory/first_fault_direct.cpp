#include "sve/memory/addresses.h"
#include "sve/memory/elements.h"
#include "sve/memory/first_fault.h"

#include <algorithm>

using namespace sve;
using namespace sve::memory;

static bool is_readable(uint64_t address) {
    return addr_is_readable(reinterpret_cast<const volatile char *>(address));
}

// Only the step into the next page is asked about: the first page is simply read. All is counted at the
// register's width, not at that of memory.
template <class Element>
static unsigned loadable_elements(uint64_t address) {
    const bool in_one_page = page_offset(address) <= page_offset(address + sve_vector_bytes);
    if (in_one_page || is_readable(address + static_cast<unsigned>(page_size)))
        return elements<Element>;
    const unsigned room = static_cast<unsigned>(page_size) - page_offset(address);
    return std::min(room, sve_vector_bytes) / sizeof(Element);
}

// The first active element, or the number of all elements.
template <class Element>
static unsigned first_active(const uint8_t *governing) {
    unsigned e = 0;
    while (e < elements<Element> && !is_active<Element>(governing, e))
        e++;
    return e;
}

template <class Memory, class Element>
static aarch64_decode_rc load_first_fault(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,
                                          uint64_t address) {
    uint8_t *row = state->z[zt.num];
    const uint8_t *governing = state->p[pg.num];
    unsigned limit = loadable_elements<Element>(address);
    if (limit == elements<Element>) {
        load_contiguous<Memory, Element>(row, governing, address);
        return AARCH64_DECODE_OK;
    }
    // The first active element is loaded, or faults: else a program that goes on from it would never come
    // further.
    if (const unsigned first = first_active<Element>(governing);
        first >= limit && first < elements<Element>)
        limit = first + 1;
    load_active<Memory, Element>(row, governing, consecutive<Memory>(address), limit);
    const unsigned loaded = limit * sizeof(Element);
    std::memset(state->ffr + loaded, 0, sve_vector_bytes - loaded);
    return AARCH64_DECODE_OK;
}

// Every page is asked about before it is read.
template <class Memory, class Element>
static aarch64_decode_rc load_non_fault(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,
                                        uint64_t address) {
    uint8_t *row = state->z[zt.num];
    const uint8_t *governing = state->p[pg.num];
    bool readable = is_readable(address);
    unsigned asked = page_offset(address);
    for (unsigned e = 0; e < elements<Element>; e++, address += sizeof(Memory)) {
        Element value = 0;
        if (is_active<Element>(governing, e)) {
            if (page_offset(address) <= asked) { // a new page, or the first element
                readable = is_readable(address);
                asked = page_offset(address);
            }
            const uint64_t last = address + sizeof(Memory) - 1;
            const bool is_split = page_offset(last) < page_offset(address);
            if (!readable || (is_split && !is_readable(last))) {
                std::memset(state->ffr + e * sizeof value, 0, sizeof value);
                continue;
            }
            value = load_memory<Memory>(address);
        }
        std::memcpy(row + e * sizeof value, &value, sizeof value);
    }
    return AARCH64_DECODE_OK;
}

#define FIRST_FAULT(type, op, bytes, routine, key)                                                 \
    aarch64_decode_rc sve_##routine##_scaled_zprr(cpu_state *state, aarch64_z_reg zt,              \
                                                  aarch64_p_reg pg, aarch64_i_rsp_reg base,        \
                                                  aarch64_i_reg index) {                           \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_first_fault<Memory, type>(                                                     \
            state, zt, pg, elements_away<Memory>(read_reg(state, base), read_reg(state, index)));  \
    }
SVE_DIRECT_FIRST_FAULT_LOADS(FIRST_FAULT)

#define NON_FAULT(type, op, bytes, routine, key)                                                   \
    aarch64_decode_rc sve_##routine##_zpri(cpu_state *state, aarch64_z_reg zt, aarch64_p_reg pg,   \
                                           aarch64_i_rsp_reg base, int immediate) {                \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_non_fault<Memory, type>(                                                       \
            state, zt, pg,                                                                         \
            vectors_away<Memory>(read_reg(state, base), immediate, elements<type>));               \
    }
SVE_NON_FAULT_LOADS(NON_FAULT)

// ---- FFR ------------------------------------------------------------------------------------------

aarch64_decode_rc sve_rdffr_p(cpu_state *state, aarch64_p_reg pd) {
    std::memcpy(state->p[pd.num], state->ffr, sve_vector_bytes);
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc sve_rdffr_pp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg) {
    write_row<uint8_t>(state->p[pd.num], [&](unsigned i) {
        return load_chunk<uint8_t>(state->ffr, i) & load_chunk<uint8_t>(state->p[pg.num], i);
    });
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc sve_wrffr_p(cpu_state *state, aarch64_p_reg pn) {
    std::memcpy(state->ffr, state->p[pn.num], sve_vector_bytes);
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc sve_setffr(cpu_state *state) {
    std::memset(state->ffr, 1, sve_vector_bytes);
    return AARCH64_DECODE_OK;
}
