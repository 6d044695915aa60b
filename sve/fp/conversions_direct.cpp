#include "sve/fp/conversions.h"
#include "sve/fp/fp_lanes.h"

using namespace sve;

// Zd = op(Zn) in the active lanes of type T. As integers too, the patterns of inactive lanes are harmless.
template <class T, class Op>
static aarch64_decode_rc convert(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                                 aarch64_z_reg zn, Op op) {
    fp_merge_lanes<T>(state, zd.num, pg.num, power_of_two<T>(0), op, lanes_of<T>(state, zn.num));
    return AARCH64_DECODE_OK;
}

// The low word of each lane, extended to it.
static chunk<uint64_t> sign_extend_words(chunk<uint64_t> lanes) {
    return reinterpret_cast<chunk<uint64_t>>(reinterpret_cast<chunk<int64_t>>(lanes << 32) >> 32);
}
static chunk<uint64_t> zero_extend_words(chunk<uint64_t> lanes) {
    return lanes & 0xffff'ffff;
}

#define CONVERT(name, T, ...)                                                                      \
    aarch64_decode_rc sve_##name##_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,       \
                                       aarch64_z_reg zn) {                                         \
        return convert<T>(state, zd, pg, zn, [](chunk<T> a) { return __VA_ARGS__; });              \
    }
CONVERT(scvtf_s2s, uint32_t, host_scvtf(a))
CONVERT(ucvtf_s2s, uint32_t, host_ucvtf(a))
CONVERT(scvtf_d2d, uint64_t, host_scvtf(a))
CONVERT(ucvtf_d2d, uint64_t, host_ucvtf(a))
CONVERT(scvtf_s2d, uint64_t, host_scvtf(sign_extend_words(a)))
CONVERT(ucvtf_s2d, uint64_t, host_ucvtf(zero_extend_words(a)))

// Rounded once, which takes a scalar.
aarch64_decode_rc sve_scvtf_d2s_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,
                                    aarch64_z_reg zn) {
    merge_elements<uint64_t>(state, zd.num, pg.num, host_scvtf_d2s, zn.num);
    return AARCH64_DECODE_OK;
}
