#include "sve/core/lanes.h"
#include "sve/core/operands.h"
#include "sve/predicate/counts.h"
#include "sve/predicate/patterns.h"

#include <array>

using namespace sve;

// ---- By the vector length --------------------------------------------------------------------------

// What each pattern means at the built vector length, by the size code of the elements.
static constexpr unsigned size_codes = 4, patterns = 32;
static constexpr auto pattern_counts = [] {
    std::array<std::array<uint16_t, patterns>, size_codes> counts{};
    for (unsigned size = 0; size < size_codes; size++)
        for (unsigned pattern = 0; pattern < patterns; pattern++)
            counts[size][pattern] =
                static_cast<uint16_t>(pattern_count(pattern, sve_elements(size)));
    return counts;
}();

// The pattern's count times the multiplier: elements of a size code.
static unsigned counted(unsigned size_code, unsigned pattern, unsigned multiplier) {
    return pattern < patterns ? multiplier * pattern_counts[size_code][pattern] : 0;
}

static constexpr auto add = [](auto a, auto b) { return a + b; };
static constexpr auto subtract = [](auto a, auto b) { return a - b; };

#define SCALAR(name, size, op)                                                                     \
    SVE_ROUTINE sve_##name##_rii(cpu_state *state, aarch64_i_reg xdn, unsigned int pattern,        \
                                 unsigned int multiplier) {                                        \
        const uint64_t count = counted(size, pattern, multiplier);                                 \
        write_reg(state, xdn, op(read_reg(state, xdn), count));                                    \
        return AARCH64_DECODE_OK;                                                                  \
    }
SCALAR(incb, B, add)
SCALAR(inch, H, add)
SCALAR(incw, S, add)
SCALAR(incd, D, add)
SCALAR(decb, B, subtract)
SCALAR(dech, H, subtract)
SCALAR(decw, S, subtract)
SCALAR(decd, D, subtract)

#define VECTOR(name, size, T, op)                                                                  \
    SVE_ROUTINE sve_##name##_zii(cpu_state *state, aarch64_z_reg zdn, unsigned int pattern,        \
                                 unsigned int multiplier) {                                        \
        return binary_zi<lane_types<T>>(state, zdn, counted(size, pattern, multiplier), op);       \
    }
VECTOR(inch, H, uint16_t, add)
VECTOR(incw, S, uint32_t, add)
VECTOR(incd, D, uint64_t, add)
VECTOR(dech, H, uint16_t, subtract)
VECTOR(decw, S, uint32_t, subtract)
VECTOR(decd, D, uint64_t, subtract)

template <class T>
SVE_ROUTINE sve_uqdec(cpu_state *state, aarch64_i_reg rdn, unsigned int pattern,
                      unsigned int multiplier, unsigned int size_code) {
    const T value = static_cast<T>(read_reg(state, rdn));
    const T count = counted(size_code, pattern, multiplier);
    write_reg(state, rdn, count < value ? value - count : 0);
    return AARCH64_DECODE_OK;
}
template SVE_ROUTINE sve_uqdec<unsigned int>(cpu_state *, aarch64_i_reg, unsigned int, unsigned int,
                                             unsigned int);
template SVE_ROUTINE sve_uqdec<unsigned long>(cpu_state *, aarch64_i_reg, unsigned int,
                                              unsigned int, unsigned int);

SVE_ROUTINE sve_uqdecb_rii(cpu_state *state, aarch64_i_reg rdn, unsigned int pattern,
                           unsigned int multiplier) {
    return rdn.dst_size == X ? sve_uqdec<unsigned long>(state, rdn, pattern, multiplier, B)
                             : sve_uqdec<unsigned int>(state, rdn, pattern, multiplier, B);
}

// ---- By the active elements of predicates -----------------------------------------------------------

// Elements of a size code that are true in all of the rows. Lanes are added up across the chunks first:
// there are few enough for a byte to hold the number.
template <class... Row>
static unsigned active_count(unsigned size_code, const Row *...row) {
    unsigned count = 0;
    with_lanes(unsigned_lanes{}, size_code, [&]<class T>() {
        static_assert(sve_chunks <= UINT8_MAX);
        chunk<T> in_lane = {};
        [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
            const auto active = [&](unsigned index) {
                return (load_chunk<T>(row, index) & ...) & 1;
            };
            ((in_lane += active(i)), ...);
        }
        (std::make_integer_sequence<unsigned, sve_chunks>{});
        for (unsigned lane = 0; lane < sve_chunk_bytes / sizeof(T); lane++)
            count += static_cast<unsigned>(in_lane[lane]);
    });
    return count;
}

SVE_ROUTINE sve_cntp_rpp(cpu_state *state, aarch64_i_reg xd, aarch64_p_reg pg, aarch64_p_reg pn) {
    write_reg(state, xd, active_count(pn.size, state->p[pg.num], state->p[pn.num]));
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_incp_rp(cpu_state *state, aarch64_i_reg xdn, aarch64_p_reg pn) {
    write_reg(state, xdn, read_reg(state, xdn) + active_count(pn.size, state->p[pn.num]));
    return AARCH64_DECODE_OK;
}
