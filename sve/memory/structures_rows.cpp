#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/memory/structures.h"
#include "sve/memory/structures_native.h"

using namespace sve;
using namespace sve::memory;

// Register r of a structure, as a value: its element size doesn't matter.
template <unsigned r>
struct Member {
    static constexpr aarch64_z_reg read(uint32_t word) {
        aarch64_z_reg zt = Zd<B>::read(word);
        zt.num = (zt.num + r) % 32;
        return zt;
    }
};

// Direct routines and translations get Zt alone; the reference functions of stores get the members behind their
// other operands.
template <unsigned count, unsigned size, auto routine, auto function, auto native, class Offset>
static consteval handler_row load_row(const char *name, decode_map *map, unsigned key) {
    return row_of<function, to_z_group<count>, Pg<Z>, Base, Offset>(
        name, map, key, direct<routine, Zd<size>, Pg<Z>, Base, Offset>,
        translation_stub<native, Zd<size>, Pg<Z>, Base, Offset>());
}
template <unsigned count, unsigned size, auto routine, auto function, auto native, class Offset>
static consteval handler_row store_row(const char *name, decode_map *map, unsigned key) {
    return [&]<unsigned... r>(std::integer_sequence<unsigned, r...>) {
        return row_of<function, to_none, Pg<plain>, Base, Offset, Member<r>...>(
            name, map, key, direct<routine, Zd<size>, Pg<plain>, Base, Offset>,
            translation_stub<native, Zd<size>, Pg<plain>, Base, Offset>());
    }
    (std::make_integer_sequence<unsigned, count>{});
}

#define FORM(shape, type, count, op, bytes, routine, native, immediate_key, index_key)             \
    shape<count, size_of<type>, sve_##routine##_zpri, Vec##type##E##count##op##bytes##SIZ,         \
          native_##native##_structures_zpri<count>, SImm<19, 16>>(                                 \
        "Vec" #type "E" #count #op #bytes "SIZ", &decode_map__31_20__15_13, immediate_key),        \
        shape<count, size_of<type>, sve_##routine##_scaled_zprr,                                   \
              Vec##type##E##count##op##bytes##LSSZ, native_##native##_structures_zprr<count>,      \
              Index>("Vec" #type "E" #count #op #bytes "LSSZ", &decode_map__31_21__15_13,          \
                     index_key),
#define STRUCTURES(type, count, bytes, letter, load_immediate_key, load_index_key,                 \
                   store_immediate_key, store_index_key)                                           \
    FORM(load_row, type, count, Load, bytes, ld##count##letter, load, load_immediate_key,          \
         load_index_key)                                                                           \
    FORM(store_row, type, count, Store, bytes, st##count##letter, store, store_immediate_key,      \
         store_index_key)

static constexpr handler_row rows[] = {SVE_STRUCTURE_FORMS(STRUCTURES)};

constinit const handler_rows sve::structure_rows = rows;
