#pragma once

// Translations of structure loads and stores. They take the operands of the direct routines.

#include "sve/memory/access_native.h"

namespace sve {

namespace memory {

void load_structures(code &c, unsigned members, unsigned size, unsigned zt, unsigned pg,
                     const place &from);
void store_structures(code &c, unsigned members, unsigned size, unsigned zt, unsigned pg,
                      const place &to);

inline place structures_away(code &c, unsigned members, aarch64_i_rsp_reg base, int immediate) {
    return bytes_away(c, base, int64_t{immediate} * members * c.vector_bytes());
}

} // namespace memory

template <unsigned members>
void native_load_structures_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                 aarch64_i_rsp_reg base, int immediate) {
    memory::load_structures(c, members, zt.size, zt.num, pg.num,
                            memory::structures_away(c, members, base, immediate));
}
template <unsigned members>
void native_load_structures_zprr(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                 aarch64_i_rsp_reg base, aarch64_i_reg index) {
    memory::load_structures(c, members, zt.size, zt.num, pg.num,
                            memory::index_away(c, base, index, zt.size));
}

template <unsigned members>
void native_store_structures_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                  aarch64_i_rsp_reg base, int immediate) {
    memory::store_structures(c, members, zt.size, zt.num, pg.num,
                             memory::structures_away(c, members, base, immediate));
}
template <unsigned members>
void native_store_structures_zprr(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                  aarch64_i_rsp_reg base, aarch64_i_reg index) {
    memory::store_structures(c, members, zt.size, zt.num, pg.num,
                             memory::index_away(c, base, index, zt.size));
}

} // namespace sve
