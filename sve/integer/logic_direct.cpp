#include "sve/core/lanes.h"
#include "sve/integer/logic.h"

using namespace sve;

static constexpr auto bit_and = [](auto a, auto b) { return a & b; };
static constexpr auto bit_or = [](auto a, auto b) { return a | b; };
static constexpr auto bit_xor = [](auto a, auto b) { return a ^ b; };
static constexpr auto bit_clear = [](auto a, auto b) { return a & ~b; };

// Exchanges neighbouring groups of 1 bit, then of 2, 4 and so on up to half an element.
template <unsigned group = 1, class Lanes>
static Lanes reverse_bits(Lanes a) {
    using T = std::remove_reference_t<decltype(a[0])>;
    constexpr unsigned width = 8 * sizeof(T);
    // Every other group of that many bits: all ones divided by 10…01.
    constexpr T low_groups = static_cast<T>(T(~T{0}) / T((T{1} << group) + 1));
    const Lanes exchanged = (a >> group & low_groups) | (a & low_groups) << group;
    if constexpr (2 * group < width)
        return reverse_bits<2 * group>(exchanged);
    else
        return exchanged;
}

// ---- Element by element ------------------------------------------------------------------------

#define PREDICATED(name, op)                                                                       \
    SVE_ROUTINE sve_##name##_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,            \
                                 aarch64_z_reg zm) {                                               \
        return binary_zpz(state, zdn, pg, zm, op);                                                 \
    }
PREDICATED(and, bit_and)
PREDICATED(orr, bit_or)
PREDICATED(eor, bit_xor)
PREDICATED(bic, bit_clear)

SVE_ROUTINE sve_rbit_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    return unary_zpz(state, zd, pg, zn, [](auto a) { return reverse_bits(a); });
}
SVE_ROUTINE sve_revw_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    return unary_zpz<lane_types<uint64_t>>(state, zd, pg, zn,
                                           [](auto a) { return a >> 32 | a << 32; });
}

// ---- Whole registers ---------------------------------------------------------------------------

#define UNPREDICATED(name, op)                                                                     \
    SVE_ROUTINE sve_##name##_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,             \
                                 aarch64_z_reg zm) {                                               \
        return binary_zzz<lane_types<uint64_t>>(state, zd, zn, zm, op);                            \
    }
UNPREDICATED(and, bit_and)
UNPREDICATED(orr, bit_or)
UNPREDICATED(eor, bit_xor)
UNPREDICATED(bic, bit_clear)

#define WITH_MASK(name, op)                                                                        \
    SVE_ROUTINE sve_##name##_zi(cpu_state *state, aarch64_z_reg zdn,                               \
                                aarch64_sve_logical64_imm immediate) {                             \
        return binary_zi<lane_types<uint64_t>>(state, zdn, immediate.mask, op);                    \
    }
WITH_MASK(and, bit_and)
WITH_MASK(orr, bit_or)
WITH_MASK(eor, bit_xor)
