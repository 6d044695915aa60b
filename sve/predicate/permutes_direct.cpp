#include "sve/core/lanes.h"
#include "sve/permute/kernels.h"
#include "sve/predicate/permutes.h"

#include <algorithm>

using namespace sve;

// A P row has the shape of a Z row, so the kernels serve both.
#define BY_KERNEL(name)                                                                            \
    SVE_ROUTINE sve_##name##_ppp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pn,             \
                                 aarch64_p_reg pm) {                                               \
        char result[sve_vector_bytes];                                                             \
        sve_##name(result, reinterpret_cast<char *>(state->p[pn.num]),                             \
                   reinterpret_cast<char *>(state->p[pm.num]),                                     \
                   static_cast<element_size>(pd.size));                                            \
        std::memcpy(state->p[pd.num], result, sve_vector_bytes);                                   \
        return AARCH64_DECODE_OK;                                                                  \
    }
BY_KERNEL(zip1)
BY_KERNEL(zip2)
BY_KERNEL(uzp1)

SVE_ROUTINE sve_rev_pp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pn) {
    with_lanes(unsigned_lanes{}, pd.size, [&]<class T>() {
        constexpr unsigned count = sve_vector_bytes / sizeof(T);
        T elements[count];
        std::memcpy(elements, state->p[pn.num], sve_vector_bytes);
        std::reverse(elements, elements + count);
        std::memcpy(state->p[pd.num], elements, sve_vector_bytes);
    });
    return AARCH64_DECODE_OK;
}

// Bytes of the half that starts at `from` become halfwords: 0 or 1, with a zero byte above it.
static void unpack(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pn, unsigned from) {
    uint16_t halfwords[sve_vector_bytes / 2];
    for (unsigned i = 0; i < sve_vector_bytes / 2; i++)
        halfwords[i] = state->p[pn.num][from + i] & 1;
    std::memcpy(state->p[pd.num], halfwords, sve_vector_bytes);
}

SVE_ROUTINE sve_punpklo_pp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pn) {
    unpack(state, pd, pn, 0);
    return AARCH64_DECODE_OK;
}
SVE_ROUTINE sve_punpkhi_pp(cpu_state *state, aarch64_p_reg pd, aarch64_p_reg pn) {
    unpack(state, pd, pn, sve_vector_bytes / 2);
    return AARCH64_DECODE_OK;
}
