#pragma once

// Translations of floating-point conversions, named like the direct routines: h, s and d are 16, 32 and 64 bits, of the
// source and of the result.

#include "sve/native/code.h"

namespace sve {

#define CONVERT(name)                                                                              \
    void native_##name##_zpz(native::code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn);
// clang-format off
CONVERT(scvtf_h2h) CONVERT(scvtf_s2h) CONVERT(scvtf_d2h) CONVERT(scvtf_s2s)
CONVERT(scvtf_d2s) CONVERT(scvtf_s2d) CONVERT(scvtf_d2d)
CONVERT(ucvtf_h2h) CONVERT(ucvtf_s2h) CONVERT(ucvtf_d2h) CONVERT(ucvtf_s2s)
CONVERT(ucvtf_d2s) CONVERT(ucvtf_s2d) CONVERT(ucvtf_d2d)
CONVERT(fcvtzs_h2h) CONVERT(fcvtzs_h2s) CONVERT(fcvtzs_h2d) CONVERT(fcvtzs_s2s)
CONVERT(fcvtzs_s2d) CONVERT(fcvtzs_d2s) CONVERT(fcvtzs_d2d)
CONVERT(fcvtzu_h2h) CONVERT(fcvtzu_h2s) CONVERT(fcvtzu_h2d) CONVERT(fcvtzu_s2s)
CONVERT(fcvtzu_s2d) CONVERT(fcvtzu_d2s) CONVERT(fcvtzu_d2d)
CONVERT(fcvt_h2s) CONVERT(fcvt_h2d) CONVERT(fcvt_s2h) CONVERT(fcvt_s2d) CONVERT(fcvt_d2h) CONVERT(fcvt_d2s)
// clang-format on
#undef CONVERT

} // namespace sve
