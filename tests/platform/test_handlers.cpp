// Instructions that the test client knows beside the ordinary ones: some that no family emulates yet,
// in their published encodings (a family's own row comes first), and two in free encodings.
#include "sve/core/bits.h"
#include "sve/core/decode_maps.h"

#include <cstring>

namespace {

// addvl xd|sp, xn|sp, #imm
aarch64_decode_rc addvl(cpu_state *state, unsigned int word) {
    const aarch64_i_rsp_reg rd = {sve::bits(word, 4, 0), 3}, rn = {sve::bits(word, 20, 16), 3};
    const int multiplier = static_cast<int>(sve::bits(word, 10, 5) ^ 0x20) - 0x20;
    write_reg(state, rd, read_reg(state, rn) + static_cast<int64_t>(multiplier) * sve_vector_bytes);
    return AARCH64_DECODE_OK;
}

// dup zd.q, zn.q[index]
aarch64_decode_rc dup_q(cpu_state *state, unsigned int word) {
    const size_t offset = size_t{sve::bits(word, 23, 22)} * 16;
    uint8_t element[16] = {};
    if (offset < sve_vector_bytes)
        std::memcpy(element, state->z[sve::bits(word, 9, 5)] + offset, sizeof element);
    for (size_t i = 0; i < sve_vector_bytes; i++)
        state->z[sve::bits(word, 4, 0)][i] = element[i % 16];
    return AARCH64_DECODE_OK;
}

// Changes all that a handler can change and a program can see; SP grows by 32.
aarch64_decode_rc invert(cpu_state *state, unsigned int) {
    for (uint64_t &x : state->x)
        x = ~x;
    for (auto &row : state->z)
        for (unsigned i = 0; i < 16; i++)
            row[i] = static_cast<uint8_t>(~row[i]);
    state->sp += 32;
    state->nzcv ^= 0xf0000000;
    state->fpcr ^= 0x7c00000;
    state->fpsr ^= 0x800009f;
    return AARCH64_DECODE_OK;
}

aarch64_decode_rc fail(cpu_state *, unsigned int) {
    return AARCH64_DECODE_UNIMPLEMENTED;
}

// This file is linked behind those that build the maps, so they are there.
[[maybe_unused]] const bool added = [] {
    decode_map__31_21__15_11.emplace(0x42a, addvl);
    decode_map__31_24__21_10.emplace(0x5c08, dup_q);
    decode_map__31_0.emplace(0x25fffffe, invert);
    decode_map__31_0.emplace(0x25ffffff, fail);
    return true;
}();

} // namespace
