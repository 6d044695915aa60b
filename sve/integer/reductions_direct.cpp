#include "sve/core/lanes.h"
#include "sve/integer/reductions.h"

#include <limits>

using namespace sve;

// Lanes where nothing is active hold the identity, so that the rest is one fold of all chunks, and of the
// lanes of the last one. Integer folds don't depend on the order.
template <class T, class Op>
static T fold_lanes(const cpu_state *state, unsigned pg, unsigned zn, T identity, Op op) {
    const chunk<T> identities = chunk<T>{} + identity;
    const auto active = [&](unsigned i) -> chunk<T> {
        return active_lanes<T>(state->p[pg], i) ? load_chunk<T>(state->z[zn], i) : identities;
    };
    chunk<T> folded = active(0);
    for (unsigned i = 1; i < sve_chunks; i++)
        folded = op(folded, active(i));
    T result = folded[0];
    for (unsigned lane = 1; lane < sve_chunk_bytes / sizeof(T); lane++)
        result = op(result, static_cast<T>(folded[lane]));
    return result;
}

#define REDUCTION(name, Types, identity, op)                                                       \
    SVE_ROUTINE sve_##name##_vpz(cpu_state *state, unsigned int vd, aarch64_p_reg pg,              \
                                 aarch64_z_reg zn) {                                               \
        with_lanes(Types{}, zn.size, [&]<class T>() {                                              \
            const T result = fold_lanes<T>(state, pg.num, zn.num, identity,                        \
                                           [](auto a, auto b) -> decltype(a) { return op; });      \
            write_v(state, vd, static_cast<std::make_unsigned_t<T>>(result));                      \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
REDUCTION(andv, unsigned_lanes, static_cast<T>(~T{0}), a &b)
REDUCTION(orv, unsigned_lanes, T{0}, a | b)
REDUCTION(eorv, unsigned_lanes, T{0}, a ^ b)
REDUCTION(smaxv, signed_lanes, std::numeric_limits<T>::min(), a > b ? a : b)
REDUCTION(sminv, signed_lanes, std::numeric_limits<T>::max(), a < b ? a : b)
REDUCTION(umaxv, unsigned_lanes, T{0}, a > b ? a : b)
REDUCTION(uminv, unsigned_lanes, std::numeric_limits<T>::max(), a < b ? a : b)

// The sum is wider than the elements, so it is taken one by one.
SVE_ROUTINE sve_uaddv_vpz(cpu_state *state, unsigned int vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    uint64_t sum = 0;
    with_lanes(unsigned_lanes{}, zn.size, [&]<class T>() {
        for (unsigned offset = 0; offset < sve_vector_bytes; offset += sizeof(T)) {
            T element;
            std::memcpy(&element, state->z[zn.num] + offset, sizeof element);
            sum += state->p[pg.num][offset] & 1 ? element : 0;
        }
    });
    write_v(state, vd, sum);
    return AARCH64_DECODE_OK;
}
