#include "sve/core/sve_utils.h"

#include <gtest/gtest.h>

TEST(ExecuteSveInstruction, AddsBytes) {
    cpu_state state = {};
    for (unsigned i = 0; i < sve_vector_bytes; i++) {
        state.z[1][i] = static_cast<uint8_t>(i);
        state.z[2][i] = 0xff;
    }
    unsigned int word = 0x04220020; // add z0.b, z1.b, z2.b
    state.pc = &word;
    ASSERT_EQ(execute_sve_instruction(&state), AARCH64_DECODE_OK);
    for (unsigned i = 0; i < sve_vector_bytes; i++)
        EXPECT_EQ(state.z[0][i], static_cast<uint8_t>(i - 1)) << i;
    EXPECT_EQ(state.pc, &word + 1);
}
