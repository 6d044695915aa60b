#pragma once

// Element-wise integer arithmetic.

#include "sve/core/cpu_state.h"
#include "sve/core/export.h"
#include "sve/core/handler_row.h"

namespace sve {
extern const handler_rows integer_arithmetic_rows;
}

// Direct routines. All wrap around at the element's width and return AARCH64_DECODE_OK.

// ADD Zd.T, Zn.T, Zm.T. T is zd.size.
SVE_EXPORT aarch64_decode_rc sve_add_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
                                         aarch64_z_reg zm);
// ADD Zdn.T, Pg/M, Zdn.T, Zm.T. T is zdn.dst_size.
SVE_EXPORT aarch64_decode_rc sve_add_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,
                                         aarch64_z_reg zm);
// ADD Zdn.T, Zdn.T, #immediate, already shifted; it is truncated to the element. T is zdn.dst_size.
SVE_EXPORT aarch64_decode_rc sve_add_zi(cpu_state *state, aarch64_z_reg zdn,
                                        unsigned int immediate);
