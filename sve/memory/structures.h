#pragma once

// Structure loads and stores: LD2 to LD4, ST2 to ST4. A structure has one member for each of `count`
// registers: Zt and those behind it, Z0 following Z31. Member r of structure e lies at the address +
// (e · count + r) · bytes of an element. Elements are not extended.
//
// Members are accessed in ascending order, one host access each. An inactive structure touches no memory, and
// becomes 0 in all registers in a load. A fault finds the lower members loaded, or stored.

#include "sve/core/cpu_state.h"
#include "sve/core/elements.h"
#include "sve/memory/forms.h"

// F(element type, count, bytes of an element, its letter, keys of the load with an immediate and with an index,
// keys of the store)
// clang-format off
#define SVE_STRUCTURE_FORMS(F)                                                                     \
    F(U8, 2, 1, b, 0x5217, 0x290e, 0x721f, 0x390b)                                                 \
    F(U16, 2, 2, h, 0x5257, 0x292e, 0x725f, 0x392b)                                                \
    F(U32, 2, 4, w, 0x5297, 0x294e, 0x729f, 0x394b)                                                \
    F(U64, 2, 8, d, 0x52d7, 0x296e, 0x72df, 0x396b)                                                \
    F(U8, 3, 1, b, 0x5227, 0x2916, 0x722f, 0x3913)                                                 \
    F(U16, 3, 2, h, 0x5267, 0x2936, 0x726f, 0x3933)                                                \
    F(U32, 3, 4, w, 0x52a7, 0x2956, 0x72af, 0x3953)                                                \
    F(U64, 3, 8, d, 0x52e7, 0x2976, 0x72ef, 0x3973)                                                \
    F(U8, 4, 1, b, 0x5237, 0x291e, 0x723f, 0x391b)                                                 \
    F(U16, 4, 2, h, 0x5277, 0x293e, 0x727f, 0x393b)                                                \
    F(U32, 4, 4, w, 0x52b7, 0x295e, 0x72bf, 0x395b)                                                \
    F(U64, 4, 8, d, 0x52f7, 0x297e, 0x72ff, 0x397b)
// clang-format on

// ---- Direct routines ------------------------------------------------------------------------------
//
// All return AARCH64_DECODE_OK. The sizes of the records are not looked at.

// All loads: the address is base + offset · bytes of an element.
template <class Memory, class Element, unsigned count>
aarch64_decode_rc sve_ldN_zpri(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,
                               aarch64_i_rsp_reg base, long offset);

// Address: base + immediate · count · bytes of a vector, or base + index · bytes of an element.
#define STRUCTURE(op)                                                                              \
    SVE_ROUTINE sve_##op##_zpri(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,                   \
                                aarch64_i_rsp_reg base, int immediate);                            \
    SVE_ROUTINE sve_##op##_scaled_zprr(cpu_state *, aarch64_z_reg zt, aarch64_p_reg pg,            \
                                       aarch64_i_rsp_reg base, aarch64_i_reg index);
#define STRUCTURES(type, count, bytes, letter, ...)                                                \
    STRUCTURE(ld##count##letter) STRUCTURE(st##count##letter)
SVE_STRUCTURE_FORMS(STRUCTURES)
#undef STRUCTURE
#undef STRUCTURES

// ---- Reference functions --------------------------------------------------------------------------

// A load writes the vectors of its registers through the pointers.
#define MEMBERS_2(T) T r0, T r1
#define MEMBERS_3(T) MEMBERS_2(T), T r2
#define MEMBERS_4(T) MEMBERS_3(T), T r3
#define STRUCTURES(type, count, bytes, ...)                                                        \
    SVE_REFERENCE void Vec##type##E##count##Load##bytes##SIZ(                                      \
        PredV pg, unsigned long base, int immediate, MEMBERS_##count(VecT *), CpuContext *);       \
    SVE_REFERENCE void Vec##type##E##count##Load##bytes##LSSZ(                                     \
        PredV pg, unsigned long base, unsigned long index, MEMBERS_##count(VecT *), CpuContext *); \
    SVE_REFERENCE void Vec##type##E##count##Store##bytes##SIZ(                                     \
        PredV pg, unsigned long base, int immediate, MEMBERS_##count(VecT), CpuContext *);         \
    SVE_REFERENCE void Vec##type##E##count##Store##bytes##LSSZ(                                    \
        PredV pg, unsigned long base, unsigned long index, MEMBERS_##count(VecT), CpuContext *);
SVE_STRUCTURE_FORMS(STRUCTURES)
#undef STRUCTURES
#undef MEMBERS_2
#undef MEMBERS_3
#undef MEMBERS_4
