#include "sve/core/bits.h"
#include "sve/core/lanes.h"
#include "sve/integer/shifts.h"

#include <algorithm>

using namespace sve;

template <class Lanes>
using lane_of = std::remove_cvref_t<decltype(Lanes{}[0])>;
template <class T>
static constexpr unsigned width = 8 * sizeof(T);

// Counts are lanes like the values. A host's vector shift takes them modulo the width or not at all, so
// those beyond it are chosen apart.
static constexpr auto shift_left = []<class Lanes>(Lanes a, Lanes count) {
    using T = lane_of<Lanes>;
    return count > T{width<T> - 1} ? Lanes{} : a << (count & T{width<T> - 1});
};
static constexpr auto shift_right = []<class Lanes>(Lanes a, Lanes count) {
    using T = lane_of<Lanes>;
    return count > T{width<T> - 1} ? Lanes{} : a >> (count & T{width<T> - 1});
};
// The value is signed, the count is not: by width - 1 at most, which leaves copies of the sign.
static constexpr auto shift_right_signed = []<class Lanes>(Lanes a, Lanes count) {
    using T = std::make_unsigned_t<lane_of<Lanes>>;
    const auto unsigned_count = reinterpret_cast<chunk<T>>(count);
    const chunk<T> most = chunk<T>{} + T{width<T> - 1};
    return a >> reinterpret_cast<Lanes>(unsigned_count < most ? unsigned_count : most);
};

SVE_ROUTINE sve_lsl_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    return binary_zpz(state, zdn, pg, zm, shift_left);
}
SVE_ROUTINE sve_lsr_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    return binary_zpz(state, zdn, pg, zm, shift_right);
}
SVE_ROUTINE sve_asr_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    return binary_zpz<signed_lanes>(state, zdn, pg, zm, shift_right_signed);
}

// One count for all lanes. ASR may be by the full width.
static auto left_by(unsigned count) {
    return [count](auto a) { return a << count; };
}
static auto right_signed_by(unsigned count) {
    return
        [count]<class Lanes>(Lanes a) { return a >> std::min(count, width<lane_of<Lanes>> - 1); };
}

SVE_ROUTINE sve_lsl_zpi(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned int count) {
    return unary_zpi(state, zdn, pg, left_by(count));
}
SVE_ROUTINE sve_asr_zpi(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned int count) {
    return unary_zpi<signed_lanes>(state, zdn, pg, right_signed_by(count));
}
SVE_ROUTINE sve_lsl_zzi(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int count) {
    return unary_zz(state, zd, zn, left_by(count));
}
SVE_ROUTINE sve_asr_zzi(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int count) {
    return unary_zz<signed_lanes>(state, zd, zn, right_signed_by(count));
}

SVE_ROUTINE sve_adr_scaled_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
                               aarch64_z_reg zm) {
    const unsigned scale = bits(static_cast<uint32_t>(state->insn), 11, 10);
    return binary_zzz<lane_types<uint64_t>>(
        state, zd, zn, zm, [scale](auto base, auto offset) { return base + (offset << scale); });
}
