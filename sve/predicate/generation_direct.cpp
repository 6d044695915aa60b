#include "sve/core/lanes.h"
#include "sve/predicate/flags.h"
#include "sve/predicate/generation.h"
#include "sve/predicate/patterns.h"
#include "sve/predicate/predicate_rows.h"

#include <array>
#include <limits>

using namespace sve;

// Every code's element count at the built vector length.
template <class T>
static constexpr auto pattern_counts = [] {
    std::array<unsigned, 32> counts{};
    for (unsigned pattern = 0; pattern < counts.size(); pattern++)
        counts[pattern] = pattern_count(pattern, sve_vector_bytes / sizeof(T));
    return counts;
}();

SVE_ROUTINE sve_ptrue_pi(cpu_state *state, aarch64_p_reg pd, unsigned int pattern) {
    with_lanes(unsigned_lanes{}, pd.size, [&]<class T>() {
        const unsigned limit = pattern_counts<T>[pattern % 32] * sizeof(T);
        write_row<uint8_t>(state->p[pd.num], [&](unsigned i) { return true_below<T>(limit, i); });
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_pfalse_p(cpu_state *state, aarch64_p_reg pd) {
    std::memset(state->p[pd.num], 0, sve_vector_bytes);
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_pnext_pp(cpu_state *state, aarch64_p_reg pdn, aarch64_p_reg pg) {
    with_lanes(unsigned_lanes{}, pdn.src_size, [&]<class T>() {
        const unsigned last = find_last_true<T>(bytes_of(state->p[pdn.num]));
        const unsigned from = last == sve_vector_bytes ? 0 : last + sizeof(T);
        const unsigned next = find_first_true<T>(bytes_of(state->p[pg.num]), from);
        uint8_t result[sve_vector_bytes] = {};
        if (next != sve_vector_bytes)
            result[next] = 1;
        sve_ptest<T>(state, reinterpret_cast<char *>(state->p[pg.num]),
                     reinterpret_cast<char *>(result));
        std::memcpy(state->p[pdn.num], result, sve_vector_bytes);
    });
    return AARCH64_DECODE_OK;
}

// A predicate of all elements, the mask of WHILE's flags.
static const char *all_true_row() {
    static constexpr auto row = [] {
        std::array<char, sve_vector_bytes> ones{};
        ones.fill(1);
        return ones;
    }();
    return row.data();
}

// WHILE on operands of type Operand: elements are true as long as the comparison holds, and the first one
// at which it fails ends the run. So a count says it all.
template <class Operand, class Count>
static void write_while(cpu_state *state, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm,
                        Count true_elements) {
    const auto n = static_cast<Operand>(read_reg(state, rn));
    const auto m = static_cast<Operand>(read_reg(state, rm));
    with_lanes(unsigned_lanes{}, pd.size, [&]<class T>() {
        constexpr unsigned all = sve_vector_bytes / sizeof(T);
        const unsigned limit = true_elements(n, m, all) * sizeof(T);
        uint8_t *row = state->p[pd.num];
        write_row<uint8_t>(row, [&](unsigned i) { return true_below<T>(limit, i); });
        sve_ptest<T>(state, all_true_row(), reinterpret_cast<char *>(row));
    });
}

// Elements before n + e reaches m. The difference of two numbers in order is unsigned.
static constexpr auto elements_less = []<class Operand>(Operand n, Operand m, unsigned all) {
    using Distance = std::make_unsigned_t<Operand>;
    if (n >= m)
        return 0u;
    const auto distance =
        static_cast<Distance>(static_cast<Distance>(m) - static_cast<Distance>(n));
    return distance < all ? static_cast<unsigned>(distance) : all;
};

// Elements before n + e exceeds m. Nothing exceeds the greatest number: the sum wraps around.
static constexpr auto elements_less_or_equal = []<class Operand>(Operand n, Operand m,
                                                                 unsigned all) {
    if (m == std::numeric_limits<Operand>::max())
        return all;
    return n > m ? 0u : elements_less(n, static_cast<Operand>(m + 1), all);
};

#define WHILE(name, sign, count)                                                                   \
    SVE_ROUTINE sve_##name##_prr(cpu_state *state, aarch64_p_reg pd, aarch64_i_reg rn,             \
                                 aarch64_i_reg rm) {                                               \
        if (rn.size == sve_size_d)                                                                 \
            write_while<sign##64_t>(state, pd, rn, rm, count);                                     \
        else                                                                                       \
            write_while<sign##32_t>(state, pd, rn, rm, count);                                     \
        return AARCH64_DECODE_OK;                                                                  \
    }
WHILE(whilelt, int, elements_less)
WHILE(whilelo, uint, elements_less)
WHILE(whilels, uint, elements_less_or_equal)
