#pragma once

// Translations of contiguous loads and stores, first-fault and non-fault ones among them. They take the operands of
// the direct routines; `Memory` is an element in memory, with the sign by which it is extended.

#include "sve/memory/access_native.h"

namespace sve {

namespace memory {

// The emulator may end first-fault and non-fault loads early where the vector leaves its first page, and asks that
// at the register's width. What it might end is left to it; other faults lead there by themselves.
enum class load_kind { ordinary, speculative };

void load_contiguous(code &c, const accessed &by, load_kind kind, unsigned zt, unsigned pg,
                     const place &from);
void store_contiguous(code &c, const accessed &by, unsigned zt, unsigned pg, const place &to);
void load_replicated(code &c, const accessed &by, unsigned zt, unsigned pg, const place &from);
void load_quadword(code &c, unsigned size, unsigned zt, unsigned pg, const place &from);

template <class Memory>
place vectors_away(code &c, unsigned size, aarch64_i_rsp_reg base, int immediate) {
    return bytes_away(c, base, int64_t{immediate} * accessed_by<Memory>(size).memory_bytes(c));
}
template <class Memory>
place elements_away(code &c, aarch64_i_rsp_reg base, aarch64_i_reg index) {
    return index_away(c, base, index, accessed_by<Memory>(0).memory);
}

} // namespace memory

template <class Memory, memory::load_kind kind = memory::load_kind::ordinary>
void native_load_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,
                      int immediate) {
    memory::load_contiguous(c, memory::accessed_by<Memory>(zt.size), kind, zt.num, pg.num,
                            memory::vectors_away<Memory>(c, zt.size, base, immediate));
}
template <class Memory, memory::load_kind kind = memory::load_kind::ordinary>
void native_load_zprr(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,
                      aarch64_i_reg index) {
    memory::load_contiguous(c, memory::accessed_by<Memory>(zt.size), kind, zt.num, pg.num,
                            memory::elements_away<Memory>(c, base, index));
}

template <class Memory>
void native_store_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,
                       int immediate) {
    memory::store_contiguous(c, memory::accessed_by<Memory>(zt.size), zt.num, pg.num,
                             memory::vectors_away<Memory>(c, zt.size, base, immediate));
}
template <class Memory>
void native_store_zprr(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg base,
                       aarch64_i_reg index) {
    memory::store_contiguous(c, memory::accessed_by<Memory>(zt.size), zt.num, pg.num,
                             memory::elements_away<Memory>(c, base, index));
}

template <class Memory>
void native_load_replicated_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                                 aarch64_i_rsp_reg base, unsigned immediate) {
    memory::load_replicated(c, memory::accessed_by<Memory>(zt.size), zt.num, pg.num,
                            memory::bytes_away(c, base, int64_t{immediate} * sizeof(Memory)));
}

void native_load_quadword_zpri(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                               aarch64_i_rsp_reg base, int immediate);
void native_load_quadword_zprr(native::code &c, aarch64_z_reg zt, aarch64_p_reg pg,
                               aarch64_i_rsp_reg base, aarch64_i_reg index);

void native_ldr_zri(native::code &c, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate);
void native_str_zri(native::code &c, aarch64_z_reg zt, aarch64_i_rsp_reg base, int immediate);
void native_ldr_pri(native::code &c, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate);
void native_str_pri(native::code &c, aarch64_p_reg pt, aarch64_i_rsp_reg base, int immediate);

} // namespace sve
