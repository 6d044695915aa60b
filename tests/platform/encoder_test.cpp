// The platform's instruction words against the assembler's, and what it reads in the memory map.
#include "platform/src/a64.h"
#include "platform/src/ir.h"
#include "platform/src/mappings.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace platform;
using a64::word_t;

// The words that the assembler makes of a text, and the only one of a text that is one instruction.
// They are put where nothing runs them.
#define ASSEMBLED_ALL(text)                                                                        \
    ([] {                                                                                          \
        const word_t *first, *last;                                                                \
        asm(".subsection 1\n"                                                                      \
            ".arch_extension sve\n"                                                                \
            "1:\t" text "\n2:\n"                                                                   \
            ".previous\n"                                                                          \
            "adr %0, 1b\n\tadr %1, 2b"                                                             \
            : "=&r"(first), "=r"(last));                                                           \
        return std::vector<word_t>(first, last);                                                   \
    }())
#define ASSEMBLED(text) ASSEMBLED_ALL(text).at(0)

// The platform's word for an instruction is the assembler's.
#define EXPECT_WORD(text, word) EXPECT_EQ(ASSEMBLED(text), word) << text

// ---- Encoding -----------------------------------------------------------------------------------

// What the client creates is below.
TEST(Words, OfThePlatformsOwnCode) {
    EXPECT_WORD("mov x3, x28", a64::mov(3, 28));
    EXPECT_WORD("mov x28, x27", a64::mov(28, 27));
    EXPECT_WORD("mov x0, xzr", a64::mov(0, a64::xzr));
    EXPECT_WORD("adr x17, .+20", a64::adr(17, 20));
    EXPECT_WORD("adr x0, .-5", a64::adr(0, -5));
    EXPECT_WORD("add x5, x19, #4095, lsl #12", a64::add(5, 19, 4095, true));
    EXPECT_WORD("mrs x0, tpidr_el0", a64::mrs(0, a64::tpidr_el0));
    EXPECT_WORD("ldr x1, [x2]", a64::ldr(1, 2, 0));
    EXPECT_WORD("ldr x30, [x30, #32760]", a64::ldr(30, 30, 32760));
    EXPECT_WORD("str x26, [x0, #8]", a64::str(26, 0, 8));
    EXPECT_WORD("str x0, [sp, #32760]", a64::str(0, a64::sp, 32760));
    EXPECT_WORD("str x0, [sp, #-16]!", a64::push(0));
    EXPECT_WORD("str x30, [sp, #-16]!", a64::push(30));
    EXPECT_WORD("ldr x1, [sp], #16", a64::pop(1));
    EXPECT_WORD("ldr x30, [sp], #16", a64::pop(30));
    EXPECT_WORD("ldr s31, [x0]", a64::load_vector(4, 31, 0));
    EXPECT_WORD("ldr d1, [x30]", a64::load_vector(8, 1, 30));
    EXPECT_WORD("ldr q0, [x1]", a64::load_vector(16, 0, 1));
    EXPECT_WORD("ldr x0, . + 0xffffc", a64::ldr_literal(0, 0xffffc));
    EXPECT_WORD("ldr x30, . - 8", a64::ldr_literal(30, -8));
    EXPECT_WORD("brk #0xfedc", a64::brk(0xfedc));
}

TEST(Words, Branches) {
    EXPECT_WORD("b .", a64::b(0));
    EXPECT_WORD("b . + 4", a64::b(4));
    EXPECT_WORD("b . - 4", a64::b(-4));
    EXPECT_WORD("b . + 0x7fffffc", a64::b(0x7fffffc));
    EXPECT_WORD("b . - 0x8000000", a64::b(-0x8000000));
    EXPECT_WORD("blr x16", a64::blr(16));
    EXPECT_WORD("blr x30", a64::blr(30));
    EXPECT_WORD("cbnz x27, . + 8", a64::cbnz(27, 8));
    EXPECT_WORD("cbnz x0, . + 0xffffc", a64::cbnz(0, 0xffffc));
    EXPECT_WORD("cbnz x30, . - 0x100000", a64::cbnz(30, -0x100000));
    EXPECT_WORD("udf #0xfedc", a64::udf(0xfedc));
}

TEST(Words, Ranges) {
    EXPECT_TRUE(a64::fits_branch(0x7fffffc) && a64::fits_branch(-0x8000000));
    EXPECT_FALSE(a64::fits_branch(0x8000000) || a64::fits_branch(-0x8000004));
    EXPECT_FALSE(a64::fits_branch(2) || a64::fits_branch(int64_t{1} << 32));
}

// ---- What a client creates ----------------------------------------------------------------------

class Created : public testing::Test {
protected:
    Created() : list(start_list(nullptr, DR_BLOCK_AGAIN)) {}

    static opnd_t reg(unsigned number) { return opnd_create_reg(static_cast<reg_id_t>(number)); }
    static opnd_t memory(unsigned base, int offset, opnd_size_t size) {
        return opnd_create_base_disp(static_cast<reg_id_t>(base), DR_REG_NULL, 0, offset, size);
    }
    // A destination and a source of LDR, STR, MRS or MSR.
    static word_t move(int opcode, opnd_t to, opnd_t from) {
        return instr_create_1dst_1src(nullptr, opcode, to, from)->word;
    }
    static word_t load_pair(unsigned r1, unsigned r2, opnd_t from) {
        return instr_create_2dst_1src(nullptr, OP_ldp, reg(r1), reg(r2), from)->word;
    }
    static word_t store_pair(unsigned r1, unsigned r2, opnd_t to) {
        return instr_create_1dst_2src(nullptr, OP_stp, to, reg(r1), reg(r2))->word;
    }
    static word_t add(unsigned to, unsigned from, int value, int shift) {
        const opnd_t lsl = opnd_add_flags(OPND_CREATE_INT(DR_SHIFT_LSL), DR_OPND_IS_SHIFT);
        return instr_create_1dst_4src(nullptr, OP_add, reg(to), reg(from), OPND_CREATE_INT(value),
                                      lsl, OPND_CREATE_INT(shift))
            ->word;
    }

    static constexpr unsigned x0 = DR_REG_X0, w0 = DR_REG_W0, q0 = DR_REG_Q0, sp = DR_REG_XSP;
    instrlist_t list;
};

TEST_F(Created, Words) {
    EXPECT_WORD("add x26, sp, #0", add(x0 + 26, sp, 0, 0));
    EXPECT_WORD("add sp, x26, #0", add(sp, x0 + 26, 0, 0));
    EXPECT_WORD("add x1, x30, #4095, lsl #12", add(x0 + 1, x0 + 30, 4095, 12));
    EXPECT_WORD("str x26, [x27, #248]", move(OP_str, memory(x0 + 27, 248, OPSZ_8), reg(x0 + 26)));
    EXPECT_WORD("ldr x0, [sp, #32760]", move(OP_ldr, reg(x0), memory(sp, 32760, OPSZ_8)));
    EXPECT_WORD("str w26, [x27, #272]", move(OP_str, memory(x0 + 27, 272, OPSZ_4), reg(w0 + 26)));
    EXPECT_WORD("ldr w30, [x1, #16380]", move(OP_ldr, reg(w0 + 30), memory(x0 + 1, 16380, OPSZ_4)));
    EXPECT_WORD("str q0, [x27, #288]", move(OP_str, memory(x0 + 27, 288, OPSZ_16), reg(q0)));
    EXPECT_WORD("ldr q31, [x0, #65520]", move(OP_ldr, reg(q0 + 31), memory(x0, 65520, OPSZ_16)));
    EXPECT_WORD("stp x29, x30, [x27, #504]",
                store_pair(x0 + 29, x0 + 30, memory(x0 + 27, 504, OPSZ_16)));
    EXPECT_WORD("stp x0, x1, [x27, #-8]", store_pair(x0, x0 + 1, memory(x0 + 27, -8, OPSZ_16)));
    EXPECT_WORD("ldp x24, x25, [sp, #-512]",
                load_pair(x0 + 24, x0 + 25, memory(sp, -512, OPSZ_16)));
    EXPECT_WORD("stp xzr, xzr, [x27, #16]",
                store_pair(DR_REG_XZR, DR_REG_XZR, memory(x0 + 27, 16, OPSZ_16)));
    EXPECT_WORD("stp x3, xzr, [x27]", store_pair(x0 + 3, DR_REG_XZR, memory(x0 + 27, 0, OPSZ_16)));
    EXPECT_WORD("ldp xzr, x3, [sp]", load_pair(DR_REG_XZR, x0 + 3, memory(sp, 0, OPSZ_16)));
    EXPECT_WORD("mrs x26, nzcv", move(OP_mrs, reg(x0 + 26), reg(DR_REG_NZCV)));
    EXPECT_WORD("mrs x3, fpcr", move(OP_mrs, reg(x0 + 3), reg(DR_REG_FPCR)));
    EXPECT_WORD("mrs x30, fpsr", move(OP_mrs, reg(x0 + 30), reg(DR_REG_FPSR)));
    EXPECT_WORD("msr nzcv, x26", move(OP_msr, reg(DR_REG_NZCV), reg(x0 + 26)));
    EXPECT_WORD("msr fpcr, x0", move(OP_msr, reg(DR_REG_FPCR), reg(x0)));
    EXPECT_WORD("msr fpsr, x30", move(OP_msr, reg(DR_REG_FPSR), reg(x0 + 30)));
}

// What can't be encoded must stop the process, not become another instruction.
TEST_F(Created, NoEncoding) {
    const std::function<word_t()> impossible[] = {
        [] { return move(OP_ldr, reg(x0), memory(x0, 32768, OPSZ_8)); },
        [] { return move(OP_ldr, reg(x0), memory(x0, -8, OPSZ_8)); },
        [] { return move(OP_ldr, reg(x0), memory(x0, 4, OPSZ_8)); },
        [] { return move(OP_ldr, reg(x0), memory(x0, 8, OPSZ_4)); },
        [] { return move(OP_str, memory(x0, 8, OPSZ_8), reg(sp)); },
        [] { return move(OP_str, memory(w0, 8, OPSZ_8), reg(x0)); },
        [] { return load_pair(x0, x0 + 1, memory(x0, 512, OPSZ_16)); },
        [] { return store_pair(x0, x0 + 1, memory(x0, -520, OPSZ_16)); },
        [] { return store_pair(q0, q0 + 1, memory(x0, 0, OPSZ_16)); },
        [] { return store_pair(sp, x0, memory(x0, 0, OPSZ_16)); },
        [] { return load_pair(x0, sp, memory(x0, 0, OPSZ_16)); },
        [] { return store_pair(x0, x0, memory(DR_REG_XZR, 0, OPSZ_16)); },
        [] { return add(x0, x0, 4096, 0); },
        [] { return add(x0, x0, 1, 1); },
        [] { return add(DR_REG_XZR, x0, 1, 0); },
        [] { return move(OP_mrs, reg(x0), reg(x0)); },
    };
    for (size_t i = 0; i < std::size(impossible); i++)
        EXPECT_EXIT(impossible[i](), testing::ExitedWithCode(125), "^sverun: a client .*\n$") << i;
}

TEST_F(Created, ListsKeepTheirOrder) {
    static word_t block[] = {0x04a10000, 0xd503201f, 0x04a10000}; // add z0.s, z0.s, z1.s; nop; add
    for (word_t &word : block)
        append_application_instruction(&list, reinterpret_cast<app_pc>(&word), word);
    instr_t *const first = instrlist_first_app(&list);
    instr_t *const last = instr_get_next_app(instr_get_next_app(first));
    EXPECT_EQ(instr_get_app_pc(last), reinterpret_cast<app_pc>(&block[2]));
    EXPECT_EQ(instr_get_next_app(last), nullptr);
    for (instr_t *where : {first, last}) {
        insert_words(&list, where, {1, 2});
        instrlist_preinsert(&list, where,
                            instr_create_1dst_1src(nullptr, OP_mrs, reg(x0), reg(DR_REG_NZCV)));
        instrlist_remove(&list, where);
    }
    std::vector<std::pair<word_t, size_t>> words; // with the instruction that each stands for
    for (instr_t *instr = list.first; instr; instr = instr->next)
        words.emplace_back(instr->word,
                           reinterpret_cast<word_t *>(instr_get_app_pc(instr)) - block);
    using testing::Pair;
    EXPECT_THAT(words,
                testing::ElementsAre(Pair(1, 0), Pair(2, 0), Pair(0xd53b4200, 0), Pair(block[1], 1),
                                     Pair(1, 2), Pair(2, 2), Pair(0xd53b4200, 2)));
    EXPECT_EQ(list.last->previous->previous->word, 1u);
    EXPECT_EQ(instrlist_first_app(&list)->word, block[1]);
}

// An instruction is what it was when the list was made, whatever stands there by now.
TEST_F(Created, TheInstructionsOwnBytes) {
    static word_t replaced = a64::b(0x1000);
    append_application_instruction(&list, reinterpret_cast<app_pc>(&replaced), 0x4f000400);
    word_t bytes;
    std::memcpy(&bytes, instr_get_raw_bits(list.first), sizeof bytes);
    EXPECT_EQ(bytes, 0x4f000400u);
}

TEST_F(Created, Copies) {
    static word_t place;
    const auto copy_of = [this](word_t word) {
        append_application_instruction(&list, reinterpret_cast<app_pc>(&place), word);
        return instr_clone(nullptr, list.last);
    };
    for (const word_t word :
         ASSEMBLED_ALL("movi v0.4s, #1; ldr q0, [x1], #16; ld4 {v0.4s-v3.4s}, [sp]; fmov d0, x1;"
                       "ldr s0, . + 8; ldr d31, . - 0x100000; ldr q3, . + 0xffffc")) {
        const instr_t *copy = copy_of(word);
        EXPECT_EQ(copy->word, word);
        EXPECT_EQ(copy->pc, reinterpret_cast<app_pc>(&place));
        EXPECT_TRUE(copy->copy);
        EXPECT_FALSE(copy->application);
    }
    for (const word_t word :
         ASSEMBLED_ALL("adr x0, .; adrp x0, .; ldr x0, . + 8; ldr w0, . + 8; ldrsw x0, . + 8;"
                       "prfm pldl1keep, . + 8; b .; cbz x0, .; tbnz x0, #1, .; ret; svc #0;"
                       "add z0.s, z0.s, z1.s; ldr z0, [x0]"))
        EXPECT_EXIT(copy_of(word), testing::ExitedWithCode(125), "^sverun: a client .*\n$")
            << std::hex << word;
}

// ---- Reading ------------------------------------------------------------------------------------

TEST(Reading, LoadsFromADistance) {
    const std::vector<word_t> words =
        ASSEMBLED_ALL("ldr s0, . + 0xffffc; ldr d31, . - 0x100000; ldr q7, . - 4; ldr x0, . + 8;"
                      "ldr s0, [x0]; .inst 0xdc000000");
    const std::pair<unsigned, int64_t> expected[] = {{4, 0xffffc}, {8, -0x100000}, {16, -4}};
    for (size_t i = 0; i < std::size(expected); i++) {
        EXPECT_TRUE(a64::is_vector_literal_load(words[i]));
        EXPECT_EQ(a64::literal_bytes(words[i]), expected[i].first);
        EXPECT_EQ(a64::literal_distance(words[i]), expected[i].second);
    }
    for (size_t i = std::size(expected); i < words.size(); i++)
        EXPECT_FALSE(a64::is_vector_literal_load(words[i])) << i;
}

TEST(Reading, Branches) {
    for (const word_t word : ASSEMBLED_ALL("bl . + 4; b.eq . + 4; br x0; cbz x0, . + 4; svc #0"))
        EXPECT_FALSE(a64::is_b(word)) << std::hex << word;
    for (const int64_t distance : {0l, 4l, -4l, 0x7fffffcl, -0x8000000l, 0x1234568l}) {
        EXPECT_TRUE(a64::is_b(a64::b(distance)));
        EXPECT_EQ(a64::b_distance(a64::b(distance)), distance);
    }
}

TEST(Reading, Blocks) {
    for (const word_t word : ASSEMBLED_ALL(
             "b . + 8; bl . - 8; b.eq . + 8; b.nv . - 0x100000; cbz w3, . + 8; cbnz x30, . - 8;"
             "tbz w1, #31, . + 8; tbnz x1, #63, . - 8; br x17; blr x30; ret; ret x3;"
             "svc #0; svc #0xffff; brk #1; hlt #0xf000; isb")) {
        EXPECT_TRUE(a64::ends_block(word)) << std::hex << word;
        EXPECT_FALSE(a64::is_undefined(word)) << std::hex << word;
    }
    for (const word_t word : ASSEMBLED_ALL(
             "nop; yield; bti c; paciasp; csdb; dsb sy; dmb ish; clrex; mrs x0, tpidr_el0;"
             "msr fpcr, x3; dc zva, x0; ic ivau, x1; dc cvau, x1;"
             "add x0, x0, #1; adrp x0, .; movz x0, #0xffff, lsl #48; madd x0, x1, x2, x3;"
             "csel x0, x1, x2, ne; ldr x0, . + 8; ldxr x0, [x1]; stp q0, q1, [sp, #-32]!;"
             "ldr b0, [x0, x1]; fadd d0, d1, d2; fmadd s0, s1, s2, s3; fmov x0, d1;"
             "add v0.16b, v1.16b, v2.16b; ld1 {v0.4s}, [x0], #16; movi v31.2d, #0; scvtf d0, x0;"
             "tbl v0.8b, {v1.16b}, v2.8b; add z0.b, z1.b, z2.b; add z0.d, z0.d, #255, lsl #8;"
             "ptrue p0.b; fmla z0.s, p0/m, z1.s, z2.s; rdffr p0.b; ld1b {z0.b}, p0/z, [x0];"
             "st1d {z31.d}, p7, [x0, x1, lsl #3]; addvl sp, sp, #-1; whilelo p0.s, w0, w1")) {
        EXPECT_FALSE(a64::ends_block(word)) << std::hex << word;
        EXPECT_FALSE(a64::is_undefined(word)) << std::hex << word;
    }
    // Reserved, and in two groups that are not allocated.
    for (const word_t word :
         ASSEMBLED_ALL("udf #0; udf #0xffff; .inst 0x00010000; .inst 0x63000000; .inst 0xe7ffffff"))
        EXPECT_TRUE(a64::is_undefined(word)) << std::hex << word;
}

// ---- The memory map -----------------------------------------------------------------------------

TEST(Mappings, FindsThisProgramsText) {
    char own_path[PATH_MAX] = "";
    ASSERT_GT(readlink("/proc/self/exe", own_path, sizeof own_path - 1), 0);
    unsigned found = 0;
    uintptr_t last_end = 0;
    EXPECT_TRUE(for_each_mapping([&](const mapping &m) {
        EXPECT_LE(last_end, m.start);
        EXPECT_LT(m.start, m.end);
        last_end = m.end;
        if (m.contains(reinterpret_cast<uintptr_t>(&visit_mappings))) {
            found++;
            EXPECT_EQ(m.protection, PROT_READ | PROT_EXEC);
            EXPECT_STREQ(m.path, own_path);
            EXPECT_NE(m.inode, 0u);
        }
        return true;
    }));
    EXPECT_EQ(found, 1u);
}

// Many mappings of known places and protections: the text of the map is longer than any buffer.
TEST(Mappings, EveryOneIsReportedAsItIs) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    constexpr int protections[] = {PROT_NONE, PROT_READ, PROT_READ | PROT_WRITE,
                                   PROT_READ | PROT_EXEC};
    constexpr size_t count = 600;
    auto *base = static_cast<char *>(
        mmap(nullptr, count * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    for (size_t i = 0; i < count; i++)
        ASSERT_EQ(mprotect(base + i * page, page, protections[i % 4]), 0);
    size_t seen = 0;
    for_each_mapping([&](const mapping &m) {
        const size_t offset = m.start - reinterpret_cast<uintptr_t>(base);
        if (offset < count * page && offset / page > 0 && offset / page < count - 1) {
            EXPECT_EQ(offset % page, 0u);
            EXPECT_EQ(m.end - m.start, page);
            EXPECT_EQ(m.protection, protections[offset / page % 4]) << offset / page;
            EXPECT_STREQ(m.path, "");
            seen++;
        }
        return true;
    });
    EXPECT_EQ(seen, count - 2);
    munmap(base, count * page);
}
