#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/memory/gathers.h"
#include "sve/memory/gathers_native.h"

using namespace sve;
using namespace sve::memory;

// All but the prefetches are in one map. The routine of the reference route's rows is reference_route.
template <class Shape, class Element, class Memory, auto routine, auto function>
static consteval handler_row load_row(const char *name, unsigned key) {
    constexpr unsigned size = size_of<Element>;
    return row_to<routine, function, to_z, Zd<size>, Pg<Z>, typename Shape::template first<size>,
                  typename Shape::template second<size>>(
        name, &decode_map__31_21__15_13, key, by<native_load_gathered<Memory, Shape, size>>);
}
template <class Shape, class Element, class Memory, auto routine, auto function>
static consteval handler_row store_row(const char *name, unsigned key) {
    constexpr unsigned size = size_of<Element>;
    using First = typename Shape::template first<size>;
    using Second = typename Shape::template second<size>;
    return row_of<function, to_none, Pg<plain>, First, Second, Zd<size>>(
        name, &decode_map__31_21__15_13, key,
        direct_stub<routine, Zd<size>, Pg<plain>, First, Second>(),
        translation_stub<native_store_scattered<Memory, Shape, size>, Zd<size>, Pg<plain>, First,
                         Second>());
}

#define LOAD(type, op, bytes, shape, routine, key)                                                 \
    load_row<shape, type, memory_type<type, bytes>, sve_##routine, Vec##type##op##bytes##shape>(   \
        "Vec" #type #op #bytes #shape, key),
#define REFERENCE_LOAD(type, op, bytes, shape, key)                                                \
    load_row<shape, type, memory_type<type, bytes>, reference_route, Vec##type##op##bytes##shape>( \
        "Vec" #type #op #bytes #shape, key),
#define STORE(type, op, bytes, shape, routine, key)                                                \
    store_row<shape, type, memory_type<type, bytes>, sve_##routine, Vec##type##op##bytes##shape>(  \
        "Vec" #type #op #bytes #shape, key),
#define REFERENCE_STORE(type, op, bytes, shape, key)                                               \
    store_row<shape, type, memory_type<type, bytes>, reference_route,                              \
              Vec##type##op##bytes##shape>("Vec" #type #op #bytes #shape, key),

// clang-format off
static constexpr handler_row rows[] = {
    SVE_DIRECT_GATHERS(LOAD)
    SVE_REFERENCE_GATHERS(REFERENCE_LOAD)
    SVE_DIRECT_SCATTERS(STORE)
    SVE_REFERENCE_SCATTERS(REFERENCE_STORE)
    // PRFB, PRFH, PRFW, PRFD
    no_op_row("VecU16Prefetch2LSS", &decode_map__31_21__15_13__4_4, 0x424c),
    no_op_row("VecU16Prefetch2SI", &decode_map__31_22__15_13__4_4, 0x2172),
    no_op_row("VecU32Prefetch1VI", &decode_map__31_21__15_13__4_4, 0x420e),
    no_op_row("VecU32Prefetch1XSV", &decode_map__31_21__15_13__4_4, 0x4230),
    no_op_row("VecU32Prefetch1YSV", &decode_map__31_21__15_13__4_4, 0x4210),
    no_op_row("VecU32Prefetch2VI", &decode_map__31_21__15_13__4_4, 0x424e),
    no_op_row("VecU32Prefetch2XSV", &decode_map__31_21__15_13__4_4, 0x4232),
    no_op_row("VecU32Prefetch2YSV", &decode_map__31_21__15_13__4_4, 0x4212),
    no_op_row("VecU32Prefetch4LSS", &decode_map__31_21__15_13__4_4, 0x428c),
    no_op_row("VecU32Prefetch4SI", &decode_map__31_22__15_13__4_4, 0x2174),
    no_op_row("VecU32Prefetch4VI", &decode_map__31_21__15_13__4_4, 0x428e),
    no_op_row("VecU32Prefetch4XSV", &decode_map__31_21__15_13__4_4, 0x4234),
    no_op_row("VecU32Prefetch4YSV", &decode_map__31_21__15_13__4_4, 0x4214),
    no_op_row("VecU32Prefetch8VI", &decode_map__31_21__15_13__4_4, 0x42ce),
    no_op_row("VecU32Prefetch8XSV", &decode_map__31_21__15_13__4_4, 0x4236),
    no_op_row("VecU32Prefetch8YSV", &decode_map__31_21__15_13__4_4, 0x4216),
    no_op_row("VecU64Prefetch1SV", &decode_map__31_21__15_13__4_4, 0x6238),
    no_op_row("VecU64Prefetch1VI", &decode_map__31_21__15_13__4_4, 0x620e),
    no_op_row("VecU64Prefetch1XSV", &decode_map__31_21__15_13__4_4, 0x6230),
    no_op_row("VecU64Prefetch1YSV", &decode_map__31_21__15_13__4_4, 0x6210),
    no_op_row("VecU64Prefetch2SV", &decode_map__31_21__15_13__4_4, 0x623a),
    no_op_row("VecU64Prefetch2VI", &decode_map__31_21__15_13__4_4, 0x624e),
    no_op_row("VecU64Prefetch2XSV", &decode_map__31_21__15_13__4_4, 0x6232),
    no_op_row("VecU64Prefetch2YSV", &decode_map__31_21__15_13__4_4, 0x6212),
    no_op_row("VecU64Prefetch4SV", &decode_map__31_21__15_13__4_4, 0x623c),
    no_op_row("VecU64Prefetch4VI", &decode_map__31_21__15_13__4_4, 0x628e),
    no_op_row("VecU64Prefetch4XSV", &decode_map__31_21__15_13__4_4, 0x6234),
    no_op_row("VecU64Prefetch4YSV", &decode_map__31_21__15_13__4_4, 0x6214),
    no_op_row("VecU64Prefetch8LSS", &decode_map__31_21__15_13__4_4, 0x42cc),
    no_op_row("VecU64Prefetch8SI", &decode_map__31_22__15_13__4_4, 0x2176),
    no_op_row("VecU64Prefetch8SV", &decode_map__31_21__15_13__4_4, 0x623e),
    no_op_row("VecU64Prefetch8VI", &decode_map__31_21__15_13__4_4, 0x62ce),
    no_op_row("VecU64Prefetch8XSV", &decode_map__31_21__15_13__4_4, 0x6236),
    no_op_row("VecU64Prefetch8YSV", &decode_map__31_21__15_13__4_4, 0x6216),
    no_op_row("VecU8Prefetch1LSS", &decode_map__31_21__15_13__4_4, 0x420c),
    no_op_row("VecU8Prefetch1SI", &decode_map__31_22__15_13__4_4, 0x2170),
};
// clang-format on

constinit const handler_rows sve::gather_rows = rows;
