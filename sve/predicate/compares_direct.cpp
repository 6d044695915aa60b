#include "sve/core/lanes.h"
#include "sve/predicate/compares.h"
#include "sve/predicate/flags.h"

using namespace sve;

static constexpr auto equal = [](auto a, auto b) { return a == b; };
static constexpr auto not_equal = [](auto a, auto b) { return a != b; };
static constexpr auto greater_or_equal = [](auto a, auto b) { return a >= b; };
static constexpr auto greater = [](auto a, auto b) { return a > b; };
static constexpr auto less_or_equal = [](auto a, auto b) { return a <= b; };
static constexpr auto less = [](auto a, auto b) { return a < b; };

// The row of pd becomes relation(chunk of zn, chunk i of the other operand) in the active lanes:
// each lane is the integer 0 or 1. The flags are made before it is written, since pd may be pg.
template <class T, class Relation, class Operand>
static void compare_lanes(cpu_state *state, unsigned pd, unsigned pg, unsigned zn,
                          Relation relation, Operand operand) {
    const uint8_t *mask = state->p[pg];
    uint8_t result[sve_vector_bytes];
    write_row<T>(result, [&](unsigned i) {
        const auto holds = relation(load_chunk<T>(state->z[zn], i), operand(i));
        return reinterpret_cast<chunk<T>>(holds) & load_chunk<T>(mask, i) & 1;
    });
    sve_ptest<T>(state, reinterpret_cast<const char *>(mask),
                 reinterpret_cast<const char *>(result));
    std::memcpy(state->p[pd], result, sizeof result);
}

// ---- Two vectors --------------------------------------------------------------------------------

#define VECTORS(name, Types, relation)                                                             \
    SVE_ROUTINE sve_cmp##name##_ppzz(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,         \
                                     aarch64_z_reg zn, aarch64_z_reg zm) {                         \
        with_lanes(Types{}, pd.size, [&]<class T>() {                                              \
            compare_lanes<T>(state, pd.num, pg.num, zn.num, relation,                              \
                             [&](unsigned i) { return load_chunk<T>(state->z[zm.num], i); });      \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
VECTORS(eq, signed_lanes, equal)
VECTORS(ne, signed_lanes, not_equal)
VECTORS(ge, signed_lanes, greater_or_equal)
VECTORS(gt, signed_lanes, greater)
VECTORS(hs, unsigned_lanes, greater_or_equal)
VECTORS(hi, unsigned_lanes, greater)

// ---- A vector and an immediate ------------------------------------------------------------------

#define WITH_IMMEDIATE(name, Types, Immediate, relation)                                           \
    SVE_ROUTINE sve_cmp##name##_ppzi(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pg,         \
                                     aarch64_z_reg zn, Immediate immediate) {                      \
        with_lanes(Types{}, pd.size, [&]<class T>() {                                              \
            const chunk<T> broadcast = chunk<T>{} + static_cast<T>(immediate);                     \
            compare_lanes<T>(state, pd.num, pg.num, zn.num, relation,                              \
                             [&](unsigned) { return broadcast; });                                 \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
WITH_IMMEDIATE(eq, signed_lanes, int, equal)
WITH_IMMEDIATE(ne, signed_lanes, int, not_equal)
WITH_IMMEDIATE(gt, signed_lanes, int, greater)
WITH_IMMEDIATE(le, signed_lanes, int, less_or_equal)
WITH_IMMEDIATE(lt, signed_lanes, int, less)
WITH_IMMEDIATE(hi, unsigned_lanes, unsigned int, greater)
WITH_IMMEDIATE(lo, unsigned_lanes, unsigned int, less)
