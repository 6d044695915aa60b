#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/memory/contiguous_native.h"
#include "sve/memory/first_fault.h"
#include "sve/memory/gathers_native.h"
#include "sve/predicate/generation_native.h"

using namespace sve;
using namespace sve::memory;

using Vectors = SImm<19, 16>; // an immediate that counts the vector's elements

// A load on the direct route has no reference stub: its reference function stops elsewhere.
#define DIRECT(type, op, bytes, shape, routine, map, key, Offset, native)                          \
    {"Vec" #type #op #bytes #shape,                                                                \
     &decode_map__##map,                                                                           \
     key,                                                                                          \
     direct<sve_##routine, Zd<size_of<type>>, Pg<Z>, Base, Offset>,                                \
     nullptr,                                                                                      \
     handler_route::direct,                                                                        \
     vector_use_of<to_z, Pg<Z>, Base, Offset>(),                                                   \
     translation_stub<native<memory_type<type, bytes>, load_kind::speculative>, Zd<size_of<type>>, \
                      Pg<Z>, Base, Offset>()},
#define FIRST_FAULT(type, op, bytes, routine, key)                                                 \
    DIRECT(type, op, bytes, LSSZ, routine##_scaled_zprr, 31_21__15_13, key, Index, native_load_zprr)
#define NON_FAULT(type, op, bytes, routine, key)                                                   \
    DIRECT(type, op, bytes, SIZ, routine##_zpri, 31_20__15_13, key, Vectors, native_load_zpri)
#define REFERENCE(type, op, bytes, key)                                                            \
    row_to<reference_route, Vec##type##op##bytes##LSSZ, to_z, Zd<size_of<type>>, Pg<Z>, Base,      \
           Index>("Vec" #type #op #bytes "LSSZ", &decode_map__31_21__15_13, key,                   \
                  by<native_load_zprr<memory_type<type, bytes>, load_kind::speculative>>),
#define GATHER(type, op, bytes, shape, key)                                                        \
    row_to<reference_route, Vec##type##op##bytes##shape, to_z, Zd<size_of<type>>, Pg<Z>,           \
           shape::first<size_of<type>>, shape::second<size_of<type>>>(                             \
        "Vec" #type #op #bytes #shape, &decode_map__31_21__15_13, key,                             \
        by<native_load_gathered<memory_type<type, bytes>, shape, size_of<type>>>),

// clang-format off
static constexpr handler_row rows[] = {
    SVE_DIRECT_FIRST_FAULT_LOADS(FIRST_FAULT)
    SVE_REFERENCE_FIRST_FAULT_LOADS(REFERENCE)
    SVE_NON_FAULT_LOADS(NON_FAULT)
    SVE_FIRST_FAULT_GATHERS(GATHER)
    // RDFFR, RDFFRS, WRFFR, SETFFR
    row_to<sve_rdffr_p, VecPReadFFSRP, to_p, Pd<B>>("VecPReadFFSRP", &decode_map__31_4, 0x2519f00, by<native_rdffr_p>),
    row_to<sve_rdffr_pp, VecPActualP, to_p, Pd<B>, Pg_8_5<Z>>("VecPActualP", &decode_map__31_9__4_4, 0x2518f0, by<native_rdffr_pp>),
    row_to<reference_route, VecPActualFlgP, to_p, Pd<B>, Pg_8_5<Z>>("VecPActualFlgP", &decode_map__31_9__4_4, 0x2558f0, by<native_rdffrs_pp>),
    row<sve_wrffr_p, VecPWriteFFSRP, to_none, Pn<B>>("VecPWriteFFSRP", &decode_map__31_9__4_0, 0x2528900, by<native_wrffr_p>),
    row<sve_setffr, VecPClearFFSR, to_none>("VecPClearFFSR", &decode_map__31_0, 0x252c9000, by<native_setffr>),
};
// clang-format on

constinit const handler_rows sve::first_fault_rows = rows;
