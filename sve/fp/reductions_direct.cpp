#include "sve/fp/fp_lanes.h"
#include "sve/fp/reductions.h"

#include <bit>

using namespace sve;

// The even and the odd lanes of two chunks: the neighbours that meet.
template <class T>
static chunk<T> even_lanes(chunk<T> low, chunk<T> high) {
    if constexpr (sizeof(T) == 4)
        return __builtin_shufflevector(low, high, 0, 2, 4, 6);
    else
        return __builtin_shufflevector(low, high, 0, 2);
}
template <class T>
static chunk<T> odd_lanes(chunk<T> low, chunk<T> high) {
    if constexpr (sizeof(T) == 4)
        return __builtin_shufflevector(low, high, 1, 3, 5, 7);
    else
        return __builtin_shufflevector(low, high, 1, 3);
}

template <class T, class Op>
static T reduce_tree(const cpu_state *state, unsigned pg, unsigned zn, T identity, Op op) {
    constexpr unsigned width = std::bit_ceil(sve_chunks);
    const chunk<T> identities = chunk<T>{} + identity;
    chunk<T> element[width];
    for (unsigned i = 0; i < width; i++)
        element[i] = identities;
    for (unsigned i = 0; i < sve_chunks; i++)
        element[i] = active_lanes<T>(state->p[pg], i) ? load_chunk<T>(state->z[zn], i) : identities;
    const auto combine = [&](chunk<T> low, chunk<T> high) {
        return op(even_lanes<T>(low, high), odd_lanes<T>(low, high));
    };
    for (unsigned chunks = width / 2; chunks > 0; chunks /= 2)
        for (unsigned i = 0; i < chunks; i++)
            element[i] = combine(element[2 * i], element[2 * i + 1]);
    // Within the last chunk; what moves up into it are identities.
    for (unsigned lanes = sve_chunk_bytes / sizeof(T); lanes > 1; lanes /= 2)
        element[0] = combine(element[0], identities);
    return element[0][0];
}

#define REDUCTION(name, op)                                                                        \
    aarch64_decode_rc sve_##name##_vpz(cpu_state *state, unsigned int vd, aarch64_p_reg pg,        \
                                       aarch64_z_reg zn) {                                         \
        with_lanes(fp_lane_types{}, zn.size, [&]<class T>() {                                      \
            const T result = reduce_tree<T>(state, pg.num, zn.num, default_nan<T>,                 \
                                            [](auto a, auto b) { return op(a, b); });              \
            write_v(state, vd, result);                                                            \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
REDUCTION(fmaxnmv, host_fmaxnm)
REDUCTION(fminnmv, host_fminnm)
