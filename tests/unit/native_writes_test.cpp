#include "sve/client/analysis/native_writes.h"

#include <gtest/gtest.h>

using sve::analysis::native_writes;

// The conformance program holds the table against a processor, word by word. Here are the words that a
// processor of today may refuse, their neighbours, and words of other groups.
TEST(NativeWrites, ByInstruction) {
    constexpr uint32_t v0 = 1;
    const struct {
        const char *instruction;
        uint32_t word, writes;
    } cases[] = {
        {"ldapur b5, [x1, #-1]", 0x1d5ff825, 1u << 5},
        {"ldapur d0, [x0]", 0xdd400800, v0},
        {"ldapur q0, [x0]", 0x1dc00800, v0},
        {"stlur q0, [x0]", 0x1d800800, 0},
        {"stlur d0, [x0]", 0xdd000800, 0},
        {"ldapur x0, [x0]", 0xd9400000, 0},
        {"ldap1 { v31.d }[1], [x1]", 0x4d41843f, 1u << 31},
        {"stl1 { v31.d }[1], [x1]", 0x4d01843f, 0},
        {"ldtp q3, q5, [sp]", 0xed4017e3, 1u << 3 | 1u << 5},
        {"sttp q3, q5, [sp]", 0xed0017e3, 0},
        {"ldfadd s7, s6, [x5]", 0xbc2700a6, 1u << 6},
        {"ldfminnmal d0, d1, [x2]", 0xfce07041, 1u << 1},
        {"stfadd s7, [x5]", 0xbc2780bf, 0},
        {"stfaddl d7, [x5]", 0xfc6780bf, 0},
        {"cpyp [x0]!, [x1]!, x2!", 0x1d010440, 0},
        {"cpym [x0]!, [x1]!, x2!", 0x1d410440, 0},
        {"setgm [x0]!, x1!, x2", 0x1dc24420, 0},
        {"fcvtzs s0, d0", 0x1e760000, v0},
        {"fcvtas s0, d0", 0x1e7a0000, v0},
        {"fcvtms s0, d0", 0x1e740000, v0},
        {"scvtf d0, s0", 0x1e7c0000, v0},
        {"fcvtzs w0, d0", 0x1e780000, 0},
        {"fcvtas w0, d0", 0x1e640000, 0},
        {"fjcvtzs w0, d0", 0x1e7e0000, 0},
        {"fmov x0, v0.d[1]", 0x9eae0000, 0},
        {"fmov v0.d[1], x0", 0x9eaf0000, v0},

        {"ld4 { v30.16b, v31.16b, v0.16b, v1.16b }, [x0]", 0x4c40001e, 0xc0000003},
        {"ld3r { v31.4s, v0.4s, v1.4s }, [x0], #12", 0x4ddfe81f, 0x80000003},
        {"ldp q3, q3, [x0]", 0xad400c03, 1u << 3}, // unpredictable, but nothing else is written
        {"st1 { v0.16b }, [x0]", 0x4c007000, 0},
        {"prfm pldl1keep, [x0]", 0xf9800000, 0},
        {"ldr x0, [x0]", 0xf9400000, 0},
        {"ldp x0, x1, [x0]", 0xa9400400, 0},
        {"ldr with opc and size of none", 0x7dc00000, 0},
        {"ldr of a literal with opc of none", 0xdc000000, 0},

        // The data of some constants look like instructions.
        {"the upper word of 1.0", 0x3ff00000, 0},
        {"the upper word of -1.0", 0xbff00000, 0},
        {"1.0f", 0x3f800000, 0},
        {"-1.0f", 0xbf800000, 0},

        {"movi d0, #0", 0x2f00e400, v0},
        {"add z0.b, z0.b, z0.b", 0x04200000, 0},
        {"ldr z0, [x0]", 0x85804000, 0},
        {"mov x0, x1", 0xaa0103e0, 0},
        {"b .", 0x14000000, 0},
        {"all ones", 0xffffffff, 0},
        {"udf #0", 0x00000000, 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(native_writes(c.word), c.writes) << c.instruction;
}

TEST(NativeWrites, NoneOfSve) {
    // Each value of the bits above the operands.
    for (uint32_t high = 0; high < 1u << 22; high++) {
        const uint32_t word = (high << 10 & ~(15u << 25)) | 2u << 25 | 0x2a5;
        ASSERT_EQ(native_writes(word), 0u) << std::hex << word;
    }
}
