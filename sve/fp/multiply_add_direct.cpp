#include "sve/fp/fp_lanes.h"
#include "sve/fp/multiply_add.h"

using namespace sve;

// FNMLA inverts the signs of operands, NaNs included, and not that of the rounded result.
aarch64_decode_rc sve_fnmla_zpzz(cpu_state *state, aarch64_z_reg zda, aarch64_p_reg pg,
                                 aarch64_z_reg zn, aarch64_z_reg zm) {
    return fp_ternary_zpzz(state, zda, pg, zn, zm, [](auto a, auto b, auto c) {
        return host_fmla(negated(a), negated(b), c);
    });
}
