#include "sve/fp/estimates.h"
#include "sve/fp/fp_lanes.h"

using namespace sve;

aarch64_decode_rc sve_frecpe_zz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn) {
    return unary_zz<fp_lane_types>(state, zd, zn, [](auto a) { return host_frecpe(a); });
}
aarch64_decode_rc sve_frecps_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
                                 aarch64_z_reg zm) {
    return binary_zzz<fp_lane_types>(state, zd, zn, zm,
                                     [](auto a, auto b) { return host_frecps(a, b); });
}
