// Instructions that the test client knows beside the ordinary ones, in free encodings.
#include "sve/core/sve_utils.h"

namespace {

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

[[maybe_unused]] const bool added = [] {
    is_sve(0); // the first look-up makes the maps
    decode_map__31_0.emplace(0x25fffffe, invert);
    decode_map__31_0.emplace(0x25ffffff, fail);
    return true;
}();

} // namespace
