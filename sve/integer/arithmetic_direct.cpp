#include "sve/core/lanes.h"
#include "sve/integer/arithmetic.h"

using namespace sve;

static constexpr auto add = [](auto a, auto b) { return a + b; };

aarch64_decode_rc sve_add_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
                              aarch64_z_reg zm) {
    return lanes_zzz(state, zd, zn, zm, add);
}

aarch64_decode_rc sve_add_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,
                              aarch64_z_reg zm) {
    return lanes_zpz(state, zdn, pg, zm, add);
}

aarch64_decode_rc sve_add_zi(cpu_state *state, aarch64_z_reg zdn, unsigned int immediate) {
    return lanes_zi(state, zdn, immediate, add);
}
