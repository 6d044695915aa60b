#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/memory/contiguous.h"
#include "sve/memory/contiguous_native.h"

using namespace sve;
using namespace sve::memory;

// The two rows of a form.
#define LOAD(type, op, bytes, routine, immediate_key, index_key)                                   \
    row_to<sve_##routine##_zpri, Vec##type##op##bytes##SIZ, to_z, Zd<size_of<type>>, Pg<Z>, Base,  \
           SImm<19, 16>>("Vec" #type #op #bytes "SIZ", &decode_map__31_20__15_13, immediate_key,   \
                         by<native_load_zpri<memory_type<type, bytes>>>),                          \
        row_to<sve_##routine##_scaled_zprr, Vec##type##op##bytes##LSSZ, to_z, Zd<size_of<type>>,   \
               Pg<Z>, Base, Index>("Vec" #type #op #bytes "LSSZ", &decode_map__31_21__15_13,       \
                                   index_key, by<native_load_zprr<memory_type<type, bytes>>>),

// The source is the first operand of a direct routine and of a translation, and a reference function's last.
template <auto routine, auto function, auto native, class Source, class... Operand>
static consteval handler_row store_row(const char *name, decode_map *map, unsigned key) {
    return row_of<function, to_none, Operand..., Source>(
        name, map, key, direct<routine, Source, Operand...>,
        translation_stub<native, Source, Operand...>());
}
#define STORE(type, op, bytes, routine, immediate_key, index_key)                                  \
    store_row<sve_##routine##_zpri, Vec##type##op##bytes##SIZ,                                     \
              native_store_zpri<memory_type<type, bytes>>, Zd<size_of<type>>, Pg<plain>, Base,     \
              SImm<19, 16>>("Vec" #type #op #bytes "SIZ", &decode_map__31_20__15_13,               \
                            immediate_key),                                                        \
        store_row<sve_##routine##_scaled_zprr, Vec##type##op##bytes##LSSZ,                         \
                  native_store_zprr<memory_type<type, bytes>>, Zd<size_of<type>>, Pg<plain>, Base, \
                  Index>("Vec" #type #op #bytes "LSSZ", &decode_map__31_21__15_13, index_key),

#define REPLICATING(type, op, bytes, routine, key)                                                 \
    row_to<sve_##routine##_zpri, Vec##type##op##bytes##SIZ, to_z, Zd<size_of<type>>, Pg<Z>, Base,  \
           UImm<21, 16>>("Vec" #type #op #bytes "SIZ", &decode_map__31_22__15_13, key,             \
                         by<native_load_replicated_zpri<memory_type<type, bytes>>>),

#define QUADWORD(type, op, bytes, immediate_key, index_key)                                        \
    row_to<reference_route, Vec##type##op##bytes##QSIZ, to_z, Zd<size_of<type>>, Pg<Z>, Base,      \
           SImm<19, 16>>("Vec" #type #op #bytes "QSIZ", &decode_map__31_20__15_13, immediate_key,  \
                         by<native_load_quadword_zpri>),                                           \
        row_to<reference_route, Vec##type##op##bytes##QSSZ, to_z, Zd<size_of<type>>, Pg<Z>, Base,  \
               Index>("Vec" #type #op #bytes "QSSZ", &decode_map__31_21__15_13, index_key,         \
                      by<native_load_quadword_zprr>),

using Registers = SImm<21, 16, 12, 10>; // an immediate that counts whole registers

// clang-format off
static constexpr handler_row rows[] = {
    SVE_CONTIGUOUS_LOADS(LOAD)
    SVE_CONTIGUOUS_STORES(STORE)
    SVE_REPLICATING_LOADS(REPLICATING)
    SVE_QUADWORD_LOADS(QUADWORD)
    // LDR, STR
    row_to<sve_ldr_zri, VecU64FillSI, to_z, Zd<D>, Base, Registers>("VecU64FillSI", &decode_map__31_22__15_13, 0x10b2, by<native_ldr_zri>),
    store_row<sve_str_zri, VecU64SpillSI, native_str_zri, Zd<D>, Base, Registers>("VecU64SpillSI", &decode_map__31_22__15_13, 0x1cb2),
    row_to<sve_ldr_pri, VecPFillSI, to_p, Pd<B>, Base, Registers>("VecPFillSI", &decode_map__31_22__15_13__4_4, 0x2160, by<native_ldr_pri>),
    store_row<sve_str_pri, VecPSpillSI, native_str_pri, Pd<B>, Base, Registers>("VecPSpillSI", &decode_map__31_22__15_13__4_4, 0x3960),
};
// clang-format on

constinit const handler_rows sve::contiguous_rows = rows;
