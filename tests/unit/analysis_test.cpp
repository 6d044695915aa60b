// The analysis of code: which native instructions have to clear upper bytes.
#include "sve/client/analysis/code.h"
#include "sve/core/sve_utils.h"
#include "tests/unit/code_words.h"
#include "tests/unit/instruction_rows.h"

#include <gmock/gmock.h>
#include <random>

namespace {

using namespace sve::analysis;
using namespace words;
using testing::ElementsAre;
using testing::IsEmpty;

const sve_words &sve() {
    static const sve_words instance;
    return instance;
}

constexpr uintptr_t start = 0x10000;

// A stretch that is entered at its first word.
code_stretch function_of(std::vector<uint32_t> code, bool has_handlers = false) {
    code_stretch stretch(sve());
    stretch.load(start, code);
    stretch.enter(start);
    stretch.enter_gaps(has_handlers);
    return stretch;
}

// Indices of the places.
std::vector<uintptr_t> places_of(code_stretch &stretch, const surroundings &around = {}) {
    stretch.find_live(around);
    std::vector<place> places;
    stretch.add_places(places);
    std::vector<uintptr_t> indices;
    for (const place &p : places)
        indices.push_back((p.pc - start) / 4);
    return indices;
}
std::vector<uintptr_t> places_of(std::vector<uint32_t> code, const surroundings &around = {}) {
    code_stretch stretch = function_of(std::move(code));
    return places_of(stretch, around);
}
constexpr auto nothing_outside = [](uintptr_t) { return 0u; };
const surroundings alone = {nothing_outside, 0, 0};

TEST(SveWords, AreThoseOfTheDecoder) {
    std::mt19937_64 random(1);
    unsigned known = 0;
    for (const instruction_row &row : instruction_rows())
        for (unsigned i = 0; i < 3; i++) {
            const uint32_t word = row.value | (static_cast<uint32_t>(random()) & ~row.mask);
            const auto *use = sve().find(word);
            ASSERT_NE(use, nullptr) << row.handler;
            EXPECT_EQ(use, &sve::find_row(word).row->vectors) << row.handler;
        }
    for (unsigned i = 0; i < 20000; i++) {
        const uint32_t word = (static_cast<uint32_t>(random()) & ~(15u << 25)) | 2u << 25;
        ASSERT_EQ(sve().find(word) != nullptr, is_sve(word) != nullptr) << std::hex << word;
        known += is_sve(word) != nullptr;
    }
    EXPECT_GT(known, 1000u);
}

TEST(Liveness, WhatAnSveInstructionReadsBehindANativeWrite) {
    EXPECT_THAT(places_of({write_v(8), read_z(8), ret}), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(8), read_z(9), ret}), IsEmpty());
    EXPECT_THAT(places_of({write_v(8), write_v(8), read_z(8), ret}), ElementsAre(1));
    EXPECT_THAT(places_of({write_v(8), replace_z(8), read_z(8), ret}), IsEmpty());
    EXPECT_THAT(places_of({write_v(8), read_z(8), replace_z(8), ret}), ElementsAre(0));
    // A merged destination is read, and so is what is added to.
    EXPECT_THAT(places_of({write_v(8), write_v(9), add_z(8, 9), ret}), ElementsAre(0, 1));
    // Any of several registers, the last being followed by the first one.
    EXPECT_THAT(places_of({load_4_v(30), read_z(1), ret}), ElementsAre(0));
    EXPECT_THAT(places_of({load_4_v(30), read_z(2), ret}, alone), IsEmpty());
}

TEST(Liveness, SeveralWays) {
    // Two ways to one read, one of which writes.
    EXPECT_THAT(places_of({cbz_x0(2), write_v(8), read_z(8), ret}), ElementsAre(1));
    // One way reads.
    EXPECT_THAT(places_of({write_v(8), cbz_x0(2), read_z(8), ret}), ElementsAre(0));
    // A loop that reads what it has written the time before; and the accumulator before it.
    EXPECT_THAT(places_of({write_v(8), add_z(9, 8), write_v(8), cbz_x0(-2), ret}),
                ElementsAre(0, 2));
    // A loop in a loop, with the write at the far end.
    EXPECT_THAT(places_of({nop, read_z(8), nop, cbz_x0(-1), write_v(8), cbz_x0(-4), ret}),
                ElementsAre(4));
    // Written behind the last read.
    EXPECT_THAT(places_of({read_z(8), cbz_x0(-1), write_v(8), ret}), IsEmpty());
}

TEST(Liveness, CallsReturnsAndJumps) {
    EXPECT_THAT(places_of({write_v(7), write_v(8), bl(100), ret}), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(7), write_v(8), blr_x1, ret}, alone), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(8), bl(100), read_z(8), ret}), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(0), write_v(8), ret}), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(0), ret}, alone), IsEmpty());
    // Out of the stretch: whatever is there may read all.
    EXPECT_THAT(places_of({write_v(20), b(100)}), ElementsAre(0));
    EXPECT_THAT(places_of({write_v(20), b(100)}, alone), IsEmpty());
    EXPECT_THAT(places_of({write_v(20), cbz_x0(100), ret}), ElementsAre(0));
    // An indirect jump may lead to any instruction of the function.
    EXPECT_THAT(places_of({read_z(8), write_v(8), write_v(9), br_x1}, alone), ElementsAre(1));
    // What is asked is the target.
    EXPECT_THAT(places_of({write_v(9), bl(3), write_v(9), b(101)},
                          {[](uintptr_t target) {
                               const bool reads =
                                   target == start + 4 * 4 || target == start + 4 * 104;
                               return reads ? 1u << 9 : 0;
                           },
                           0, 0}),
                ElementsAre(0, 2));
}

TEST(Liveness, WhatACallerHasToKnow) {
    const auto used = [](std::vector<uint32_t> code) {
        code_stretch stretch = function_of(std::move(code));
        stretch.find_live({});
        return std::pair(stretch.used_at(start), stretch.live_at(start));
    };
    using masks = std::pair<uint32_t, uint32_t>;
    EXPECT_EQ(used({read_z(8), ret}), masks(1u << 8, 1u << 8 | passed_registers));
    EXPECT_EQ(used({replace_z(0), ret}), masks(0, passed_registers & ~1u));
    EXPECT_EQ(used({blr_x1, read_z(1), trap}), masks(1u << 1, passed_registers));
    EXPECT_EQ(used({b(100)}), masks(0, all_registers));
}

TEST(Liveness, ControlThatDoesNotComeBack) {
    EXPECT_THAT(places_of({write_v(8), trap, read_z(8), ret}), IsEmpty());
    EXPECT_THAT(places_of({write_v(8), 0, read_z(8), ret}), IsEmpty());
    EXPECT_THAT(places_of({write_v(8), bl(100)}), IsEmpty()); // and then the end of the function
    // A word of SVE's group that is no instruction.
    EXPECT_EQ(is_sve(0x45000000), nullptr);
    EXPECT_THAT(places_of({write_v(8), 0x45000000, read_z(8), ret}), IsEmpty());
}

TEST(Reach, OnlyWhatBranchesLeadTo) {
    code_stretch stretch = function_of({b(3), write_v(8), read_z(8), nop, ret});
    EXPECT_THAT(places_of(stretch), IsEmpty());
    EXPECT_FALSE(stretch.is_reached(start + 4));
    EXPECT_TRUE(stretch.is_reached(start + 12));
    EXPECT_FALSE(stretch.is_reached(start + 20)); // behind its end
    EXPECT_FALSE(stretch.has_sve());
}

TEST(Reach, DataOfLiteralLoads) {
    // Behind a call that doesn't come back, and before code.
    code_stretch stretch =
        function_of({load_literal(8, 3), cbz_x0(6), bl(100), write_v(9), write_v(9), write_v(9),
                     write_v(9), read_z(8), read_z(9), ret});
    EXPECT_THAT(places_of(stretch), ElementsAre(0));
    EXPECT_FALSE(stretch.is_reached(start + 12));
    EXPECT_FALSE(stretch.is_reached(start + 24));
    EXPECT_TRUE(stretch.is_reached(start + 28));
}

TEST(Reach, GapsOfAnIndirectJump) {
    // Two cases of a table of distances from the word behind the jump.
    const std::vector<uint32_t> table = {adr_x1(3),  add_x1_entry, br_x1,     write_v(8), b(3),
                                         write_v(9), b(1),         read_z(8), read_z(9),  ret};
    EXPECT_THAT(places_of(table), ElementsAre(3, 5));
    // The same without an indirect jump: nothing leads there.
    std::vector<uint32_t> other = table;
    other[2] = b(5);
    EXPECT_THAT(places_of(other), IsEmpty());
    // But handlers of exceptions may be there.
    other[0] = nop;
    code_stretch handled = function_of(other, true);
    EXPECT_THAT(places_of(handled), ElementsAre(3, 5));
}

TEST(Reach, DataInGaps) {
    // A piece that holds what is no instruction.
    EXPECT_THAT(places_of({br_x1, write_v(8), 0, read_z(8), ret}), IsEmpty());
    // One that is loaded from by a word that nothing leads to; the piece behind it is code.
    EXPECT_THAT(places_of({br_x1, load_literal(9, 2), ret, write_v(8), nop, nop, nop, read_z(8),
                           ret, write_v(9), read_z(9), ret}),
                ElementsAre(9));
    // One whose address is taken for something else than a jump.
    EXPECT_THAT(places_of({adr_x1(3), nop, blr_x1, write_v(8), read_z(8), ret}), ElementsAre(3));
    EXPECT_THAT(places_of({adr_x1(2), br_x1, write_v(8), read_z(8), ret}), ElementsAre(2));
    EXPECT_THAT(places_of({cbz_x0(4), adr_x1(2), ret, write_v(8), br_x1, read_z(8), ret}),
                IsEmpty());
    // One that leads out of the function's end.
    EXPECT_THAT(places_of({br_x1, read_z(8), ret, write_v(8)}), IsEmpty());
}

// Follows code in both directions from the word at `at`, which has run.
std::vector<uintptr_t> places_around(std::vector<uint32_t> code, unsigned at) {
    code_stretch stretch(sve());
    stretch.load(start, code);
    stretch.enter_around(start + 4 * at);
    return places_of(stretch);
}

TEST(Reach, AroundAnInstruction) {
    EXPECT_THAT(places_around({ret, write_v(8), nop, read_z(8), ret}, 3), ElementsAre(1));
    EXPECT_THAT(places_around({write_v(8), nop, read_z(8), ret}, 2), ElementsAre(0));
    // By jumps from both sides.
    EXPECT_THAT(
        places_around({ret, write_v(8), b(3), ret, nop, read_z(8), ret, write_v(8), b(-3)}, 5),
        ElementsAre(1, 7));
    // A loop that is entered in its middle.
    EXPECT_THAT(places_around({ret, nop, read_z(8), write_v(8), cbz_x0(-2), ret}, 2),
                ElementsAre(3));
    // Not through what is no instruction, nor from behind it.
    EXPECT_THAT(places_around({ret, 0, 0, write_v(8), nop, read_z(8), ret}, 5), IsEmpty());
    // But behind what fills up to an aligned address.
    EXPECT_THAT(places_around({ret, 0, write_v(8), nop, read_z(8), ret}, 4), ElementsAre(2));
    EXPECT_THAT(places_around({ret, 3, write_v(8), nop, read_z(8), ret}, 4), IsEmpty());
    EXPECT_THAT(places_around({ret, write_v(8), 0, nop, read_z(8), ret}, 4), IsEmpty());
    // Not through what is loaded.
    EXPECT_THAT(places_around({ret, write_v(8), read_z(8), load_literal(9, -2), ret}, 2),
                IsEmpty());
}

TEST(WrittenBefore, OnTheWayFromTheEntry) {
    const auto written = [](std::vector<uint32_t> code, unsigned at) {
        code_stretch stretch = function_of(std::move(code));
        stretch.find_live({});
        return stretch.written_before(start + 4 * at);
    };
    EXPECT_EQ(written({write_v(8), nop, read_z(8), ret}, 2), 1u << 8);
    EXPECT_EQ(written({nop, read_z(8), write_v(8), ret}, 1), 0u);
    // Not what an SVE instruction lies behind: that would have been met before.
    EXPECT_EQ(written({write_v(8), read_z(9), write_v(7), read_z(8), ret}, 3), 0u);
    // On one of two ways: unless the caller may have handed it over.
    EXPECT_EQ(written({cbz_x0(2), write_v(8), replace_z(8), read_z(8), ret}, 2), 1u << 8);
    EXPECT_EQ(written({cbz_x0(2), write_v(8), read_z(8), ret}, 2), 0u);
    EXPECT_EQ(written({cbz_x0(3), write_v(8), b(2), write_v(8), read_z(8), ret}, 4), 1u << 8);
    EXPECT_EQ(written({nop, write_v(8), cbz_x0(-2), read_z(8), ret}, 3), 1u << 8);
}

} // namespace
