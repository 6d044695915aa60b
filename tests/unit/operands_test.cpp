#include "sve/core/operands.h"

#include <gtest/gtest.h>

using namespace sve;

// Every descriptor on words of real instructions, with their disassembly beside them. Registers and
// immediates are chosen so that a neighbouring or shifted field would give another value.

// clang-format off
#define CASE(...) #__VA_ARGS__, __VA_ARGS__::read

template <class Record> struct record_case {
    const char *operand;
    Record (*read)(uint32_t);
    uint32_t word;
    uint32_t num, size, dst_size, src_size;
};

template <class Record, size_t count>
static void expect_records(const record_case<Record> (&cases)[count]) {
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.operand << " of 0x" << std::hex << c.word);
        const Record record = c.read(c.word);
        EXPECT_EQ(record.num, c.num);
        EXPECT_EQ(record.size, c.size);
        EXPECT_EQ(record.dst_size, c.dst_size);
        EXPECT_EQ(record.src_size, c.src_size);
    }
}

// The unset code is 5 for vectors, 7 for predicates, 4 for general registers.
TEST(Operands, Vectors) {
    expect_records<aarch64_z_reg>({
        {CASE(Zd<H>),     0x046d0155, 21, 1, 5, 5}, // add z21.h, z10.h, z13.h
        {CASE(Zn<H>),     0x046d0155, 10, 1, 5, 5},
        {CASE(Zm<H>),     0x046d0155, 13, 1, 5, 5},
        {CASE(Zdn<S>),    0x04811593, 19, 5, 2, 2}, // sub z19.s, p5/m, z19.s, z12.s
        {CASE(Zm_9_5<S>), 0x04811593, 12, 2, 5, 5},
        {CASE(Zda<D>),    0x04d14f87,  7, 5, 3, 3}, // mla z7.d, p3/m, z28.d, z17.d
        {CASE(Zn<D>),     0x04d14f87, 28, 3, 5, 5},
        {CASE(Zm<D>),     0x04d14f87, 17, 3, 5, 5},
        {CASE(Zn<B>),     0x240b1ac9, 22, 0, 5, 5}, // cmphs p9.b, p6/z, z22.b, z11.b
        {CASE(Zm<B>),     0x240b1ac9, 11, 0, 5, 5},
        {CASE(Zd<Q>),     0x057023a3,  3, 4, 5, 5}, // dup z3.q, z29.q[1]
        {CASE(Zn<Q>),     0x057023a3, 29, 4, 5, 5},
        {CASE(Zm_18_16<H>), 0x64750155,  5, 1, 5, 5}, // fmla z21.h, z10.h, z5.h[6]
        {CASE(Zm_18_16<S>), 0x64b50555,  5, 2, 5, 5}, // fmls z21.s, z10.s, z5.s[2]
        {CASE(Zm_19_16<D>), 0x64fd2155, 13, 3, 5, 5}, // fmul z21.d, z10.d, z13.d[1]
    });
}

TEST(Operands, Predicates) {
    expect_records<aarch64_p_reg>({
        {CASE(Pg<M>),           0x04811593,  5, 4, 7, 7}, // sub z19.s, p5/m, z19.s, z12.s
        {CASE(Pg<Z>),           0x240b1ac9,  6, 5, 7, 7}, // cmphs p9.b, p6/z, z22.b, z11.b
        {CASE(Pd<B>),           0x240b1ac9,  9, 0, 7, 7},
        {CASE(Pg<plain>),       0x04413dd9,  7, 6, 7, 7}, // uaddv d25, p7, z14.h
        {CASE(Pg_13_10<plain>), 0x0532f53e, 13, 6, 7, 7}, // sel z30.b, p13, z9.b, z18.b
        {CASE(Pg_13_10<M>),     0x25107155, 12, 4, 7, 7}, // brka p5.b, p12/m, p10.b
        {CASE(Pg_13_10<Z>),     0x250d64cb,  9, 5, 7, 7}, // and p11.b, p9/z, p6.b, p13.b
        {CASE(Pd<B>),           0x250d64cb, 11, 0, 7, 7},
        {CASE(Pn<B>),           0x250d64cb,  6, 0, 7, 7},
        {CASE(Pm<B>),           0x250d64cb, 13, 0, 7, 7},
        {CASE(Pg_19_16<M>),     0x055a5fa6, 10, 4, 7, 7}, // mov z6.h, p10/m, #-3
        {CASE(Pdn<B>),          0x2558c126,  6, 7, 0, 0}, // pfirst p6.b, p9, p6.b
        {CASE(Pg_8_5<plain>),   0x2558c126,  9, 6, 7, 7},
        {CASE(Pdn<H>),          0x2559c4cd, 13, 7, 1, 1}, // pnext p13.h, p6, p13.h
        {CASE(Pg_8_5<plain>),   0x2559c4cd,  6, 6, 7, 7},
        {CASE(Pn<S>),           0x25a0b536,  9, 2, 7, 7}, // cntp x22, p13, p9.s
        {CASE(Pn<D>),           0x25ec8955, 10, 3, 7, 7}, // incp x21, p10.d
    });
}

TEST(Operands, GeneralRegisters) {
    expect_records<aarch64_i_reg>({
        {CASE(Rd<W>),  0x0520b5b6, 22, 2, 4, 4}, // lasta w22, p5, z13.b
        {CASE(Rd<X>),  0x25a0b536, 22, 3, 4, 4}, // cntp x22, p13, p9.s
        {CASE(Rdn<X>), 0x25ec8955, 21, 4, 3, 3}, // incp x21, p10.d
        {CASE(Rdn<W>), 0x0420f3f3, 19, 4, 2, 2}, // sqincb x19, w19
        {CASE(Rn<W>),  0x257c0e65, 19, 2, 4, 4}, // whilelo p5.h, w19, w28
        {CASE(Rm<W>),  0x257c0e65, 28, 2, 4, 4},
        {CASE(Rn<X>),  0x04f64fe9, 31, 3, 4, 4}, // index z9.d, xzr, x22
        {CASE(Rm<X>),  0x04f64fe9, 22, 3, 4, 4},
        {CASE(Index),  0xa54e5675, 14, 3, 4, 4}, // ld1w {z21.s}, p5/z, [x19, x14, lsl #2]
    });

    const struct {
        const char *operand;
        aarch64_i_rsp_reg (*read)(uint32_t);
        uint32_t word;
        uint32_t num, size;
    } cases[] = {
        {CASE(RdSp<X>), 0x0433541f, 31, 3}, // addvl sp, x19, #-32
        {CASE(RmSp<X>), 0x0433541f, 19, 3},
        {CASE(RdSp<X>), 0x047f53f5, 21, 3}, // addpl x21, sp, #31
        {CASE(RmSp<X>), 0x047f53f5, 31, 3},
        {CASE(RnSp<W>), 0x05a03aac, 21, 2}, // mov z12.s, w21
        {CASE(RnSp<X>), 0x05e03bec, 31, 3}, // mov z12.d, sp
        {CASE(Base),    0xa54e5675, 19, 3}, // ld1w {z21.s}, p5/z, [x19, x14, lsl #2]
        {CASE(Base),    0xa40e57f5, 31, 3}, // ld1b {z21.b}, p5/z, [sp, x14]
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.operand << " of 0x" << std::hex << c.word);
        EXPECT_EQ(c.read(c.word).num, c.num);
        EXPECT_EQ(c.read(c.word).size, c.size);
    }
}

template <class Operand> static int64_t number(uint32_t word) { return Operand::read(word); }
#define NUMBER(...) #__VA_ARGS__, number<__VA_ARGS__>

struct number_case {
    const char *operand;
    int64_t (*read)(uint32_t);
    uint32_t word;
    int64_t expected;
};

template <size_t count> static void expect_numbers(const number_case (&cases)[count]) {
    for (const auto &c : cases)
        EXPECT_EQ(c.read(c.word), c.expected) << c.operand << " of 0x" << std::hex << c.word;
}

TEST(Operands, Immediates) {
    expect_numbers({
        {NUMBER(Vd),                   0x65d8334b,   11}, // fadda d11, p4, d11, z26.d
        {NUMBER(Vn),                   0x05f439b4,   13}, // insr z20.d, d13
        {NUMBER(UImm<21, 16>),         0x846a95d5,   42}, // ld1rb {z21.b}, p5/z, [x14, #42]
        {NUMBER(UImm<20, 14>),         0x24755599,   85}, // cmphi p9.h, p5/z, z12.h, #85
        {NUMBER(UImm<20, 16>),         0xe455b5d5,   21}, // st1b {z21.d}, p5, [z14.d, #21]
        {NUMBER(UImm<20, 16, 12, 10>), 0x053515d5,  173}, // ext z21.b, z21.b, z14.b, #173
        {NUMBER(SImm<19, 16>),         0xa408b5d5,   -8}, // ld1b {z21.b}, p5/z, [x14, #-8, mul vl]
        {NUMBER(SImm<19, 16>),         0xa405b5d5,    5}, // ld1b {z21.b}, p5/z, [x14, #5, mul vl]
        {NUMBER(SImm<20, 16>),         0x25509589,  -16}, // cmpeq p9.h, p5/z, z12.h, #-16
        {NUMBER(SImm<20, 16>),         0x254d9589,   13}, // cmpeq p9.h, p5/z, z12.h, #13
        {NUMBER(SImm<12, 5>),          0x2530d015, -128}, // mul z21.b, z21.b, #-128
        {NUMBER(SImm<12, 5>),          0x2530cab5,   85}, // mul z21.b, z21.b, #85
        {NUMBER(SImm<21, 16, 12, 10>), 0x85a041d5, -256}, // ldr z21, [x14, #-256, mul vl]
        {NUMBER(SImm<21, 16, 12, 10>), 0x85954dd5,  171}, // ldr z21, [x14, #171, mul vl]
        {NUMBER(SImm<21, 16, 12, 10>), 0x85b50dc9,  -85}, // ldr p9, [x14, #-85, mul vl]
        {NUMBER(SImm<10, 5>),          0x042e5415,  -32}, // addvl x21, x14, #-32
        {NUMBER(SImm<10, 5>),          0x04bf52b5,   21}, // rdvl x21, #21
        {NUMBER(SImm<9, 5>),           0x04ad4215,  -16}, // index z21.s, #-16, #13
        {NUMBER(SImm<20, 16>),         0x04ad4215,   13},
        {NUMBER(UImm8Shifted),         0x2560dff5,  255}, // add z21.h, z21.h, #255
        {NUMBER(UImm8Shifted),         0x25e0f5b5, 44288}, // add z21.d, z21.d, #173, lsl #8
        {NUMBER(UImm8Shifted),         0x2520f5b5, 44288}, // add z21.b, z21.b, #173, lsl #8 (reserved)
        {NUMBER(SImm8Shifted),         0x2578dff5,   -1}, // mov z21.h, #-1
        {NUMBER(SImm8Shifted),         0x2578f015, -32768}, // mov z21.h, #-128, lsl #8
        {NUMBER(SImm8Shifted),         0x25f8eab5, 21760}, // mov z21.d, #85, lsl #8
        {NUMBER(SImm8Shifted),         0x059a2fe6, 32512}, // mov z6.s, p10/z, #127, lsl #8
        {NUMBER(Pattern),              0x043fe0f5,    7}, // incb x21, vl7, mul #16
        {NUMBER(Multiplier),           0x043fe0f5,   16},
        {NUMBER(Pattern),              0x04f0c3f5,   31}, // incd z21.d, all
        {NUMBER(Multiplier),           0x04f0c3f5,    1},
        {NUMBER(Pattern),              0x2598e3c9,   30}, // ptrue p9.s, mul3
        {NUMBER(Rotation_16),          0x648095b5,    0}, // fcadd z21.s, p5/m, z21.s, z13.s, #90
        {NUMBER(Rotation_16),          0x648195b5,    1}, // fcadd z21.s, p5/m, z21.s, z13.s, #270
        {NUMBER(Rotation_14_13),       0x64cd3555,    1}, // fcmla z21.d, p5/m, z10.d, z13.d, #90
        {NUMBER(Rotation_14_13),       0x64cd5555,    2}, // fcmla z21.d, p5/m, z10.d, z13.d, #180
        {NUMBER(Rotation_11_10),       0x64b51555,    1}, // fcmla z21.h, z10.h, z5.h[2], #90
        {NUMBER(Rotation_11_10),       0x64fd1955,    2}, // fcmla z21.s, z10.s, z13.s[1], #180
    });
}

#define SHIFT(kind, size)                                                                          \
    #kind "<" #size ">", number<Shift##kind<size>>, number<Shift##kind##Predicated<size>>

TEST(Operands, ShiftAmounts) {
    const struct {
        const char *operand;
        int64_t (*read)(uint32_t), (*read_predicated)(uint32_t);
        int64_t expected;
        uint32_t word, predicated_word;
    } cases[] = {
        {SHIFT(Left, B),   0, 0x04289d55, 0x04039515}, // lsl z21.b, z10.b, #0; lsl z21.b, p5/m, z21.b, #0
        {SHIFT(Left, B),   7, 0x042f9d55, 0x040395f5}, // lsl z21.b, z10.b, #7; lsl z21.b, p5/m, z21.b, #7
        {SHIFT(Left, H),   0, 0x04309d55, 0x04039615}, // lsl z21.h, z10.h, #0; lsl z21.h, p5/m, z21.h, #0
        {SHIFT(Left, H),  15, 0x043f9d55, 0x040397f5}, // lsl z21.h, z10.h, #15; lsl z21.h, p5/m, z21.h, #15
        {SHIFT(Left, S),   0, 0x04609d55, 0x04439415}, // lsl z21.s, z10.s, #0; lsl z21.s, p5/m, z21.s, #0
        {SHIFT(Left, S),  31, 0x047f9d55, 0x044397f5}, // lsl z21.s, z10.s, #31; lsl z21.s, p5/m, z21.s, #31
        {SHIFT(Left, D),   0, 0x04a09d55, 0x04839415}, // lsl z21.d, z10.d, #0; lsl z21.d, p5/m, z21.d, #0
        {SHIFT(Left, D),  37, 0x04e59d55, 0x04c394b5}, // lsl z21.d, z10.d, #37; lsl z21.d, p5/m, z21.d, #37
        {SHIFT(Left, D),  63, 0x04ff9d55, 0x04c397f5}, // lsl z21.d, z10.d, #63; lsl z21.d, p5/m, z21.d, #63
        {SHIFT(Right, B),  1, 0x042f9155, 0x040095f5}, // asr z21.b, z10.b, #1; asr z21.b, p5/m, z21.b, #1
        {SHIFT(Right, B),  8, 0x04289155, 0x04009515}, // asr z21.b, z10.b, #8; asr z21.b, p5/m, z21.b, #8
        {SHIFT(Right, H),  1, 0x043f9155, 0x040097f5}, // asr z21.h, z10.h, #1; asr z21.h, p5/m, z21.h, #1
        {SHIFT(Right, H), 16, 0x04309155, 0x04009615}, // asr z21.h, z10.h, #16; asr z21.h, p5/m, z21.h, #16
        {SHIFT(Right, S),  1, 0x047f9155, 0x044097f5}, // asr z21.s, z10.s, #1; asr z21.s, p5/m, z21.s, #1
        {SHIFT(Right, S), 32, 0x04609155, 0x04409415}, // asr z21.s, z10.s, #32; asr z21.s, p5/m, z21.s, #32
        {SHIFT(Right, D),  1, 0x04ff9155, 0x04c097f5}, // asr z21.d, z10.d, #1; asr z21.d, p5/m, z21.d, #1
        {SHIFT(Right, D), 37, 0x04bb9155, 0x04809775}, // asr z21.d, z10.d, #37; asr z21.d, p5/m, z21.d, #37
        {SHIFT(Right, D), 64, 0x04a09155, 0x04809415}, // asr z21.d, z10.d, #64; asr z21.d, p5/m, z21.d, #64
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.read(c.word), c.expected) << c.operand;
        EXPECT_EQ(c.read_predicated(c.predicated_word), c.expected) << c.operand << " predicated";
    }
}

TEST(Operands, ElementIndices) {
    expect_numbers({
        {NUMBER(DupIndex<B>), 0x05212155,  0}, // mov z21.b, z10.b[0]
        {NUMBER(DupIndex<B>), 0x05b52155, 42}, // mov z21.b, z10.b[42]
        {NUMBER(DupIndex<B>), 0x05ff2155, 63}, // mov z21.b, z10.b[63]
        {NUMBER(DupIndex<H>), 0x05b62155, 21}, // mov z21.h, z10.h[21]
        {NUMBER(DupIndex<H>), 0x05fe2155, 31}, // mov z21.h, z10.h[31]
        {NUMBER(DupIndex<S>), 0x05b42155, 10}, // mov z21.s, z10.s[10]
        {NUMBER(DupIndex<S>), 0x05fc2155, 15}, // mov z21.s, z10.s[15]
        {NUMBER(DupIndex<D>), 0x05b82155,  5}, // mov z21.d, z10.d[5]
        {NUMBER(DupIndex<D>), 0x05f82155,  7}, // mov z21.d, z10.d[7]
        {NUMBER(DupIndex<Q>), 0x05b02155,  2}, // mov z21.q, z10.q[2]
        {NUMBER(DupIndex<Q>), 0x05f02155,  3}, // mov z21.q, z10.q[3]
        {NUMBER(Index_22_20_19), 0x64750155, 6}, // fmla z21.h, z10.h, z5.h[6]
        {NUMBER(Index_22_20_19), 0x642a0155, 1}, // fmla z21.h, z10.h, z2.h[1]
        {NUMBER(Index_20_19),    0x64b50555, 2}, // fmls z21.s, z10.s, z5.s[2]
        {NUMBER(Index_20),       0x64fd2155, 1}, // fmul z21.d, z10.d, z13.d[1]
        {NUMBER(Index_20),       0x64ed2155, 0}, // fmul z21.d, z10.d, z13.d[0]
    });
}

// The values are the assembler's; what stands behind them is held against a model in
// immediates_test.cpp.
TEST(Operands, ComputedImmediates) {
    const struct {
        uint32_t word;
        uint64_t mask;
    } masks[] = {
        {0x05800795, 0x5555555555555555}, // and z21.b, z21.b, #0x55
        {0x05800755, 0x7777777777777777}, // and z21.b, z21.b, #0x77
        {0x05800e35, 0x8181818181818181}, // and z21.b, z21.b, #0x81
        {0x05801475, 0xc003c003c003c003}, // and z21.h, z21.h, #0xc003
        {0x0580fad5, 0x00fffffe00fffffe}, // and z21.s, z21.s, #0xfffffe
        {0x05820995, 0x8000000000000fff}, // and z21.d, z21.d, #0x8000000000000fff
        {0x05c3ffd5, 0xfffffffffffffffe}, // dupm z21.d, #0xfffffffffffffffe
    };
    for (const auto &c : masks)
        EXPECT_EQ(LogicalMask::read(c.word).mask, c.mask) << std::hex << c.word;

    EXPECT_EQ(FpConstant::read(0x25b9ce15).single, 0x3f800000u);         // fmov z21.s, #1.0
    EXPECT_EQ(FpConstant::read(0x25f9d7f5).dbl, 0xc03f000000000000u);    // fmov z21.d, #-31.0
    EXPECT_EQ(FpConstant::read(0x2579c835).half, 0x3040);                // fmov z21.h, #0.1328125

    EXPECT_EQ(FpArithmeticImm::read(0x659a9415).i1, 0); // fmul z21.s, p5/m, z21.s, #0.5
    EXPECT_EQ(FpArithmeticImm::read(0x659a9435).i1, 1); // fmul z21.s, p5/m, z21.s, #2.0
    EXPECT_EQ(FpArithmeticImm::read(0x65d89415).i1, 0); // fadd z21.d, p5/m, z21.d, #0.5
    EXPECT_EQ(FpArithmeticImm::read(0x65de9435).i1, 1); // fmax z21.d, p5/m, z21.d, #1.0
}
// clang-format on
