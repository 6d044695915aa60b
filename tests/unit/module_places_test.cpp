// The analysis of whole modules: ELF files with unwind tables, made here.
#include "sve/client/analysis/module_places.h"
#include "tests/unit/code_walk.h"
#include "tests/unit/code_words.h"
#include "tests/unit/module_builder.h"

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

// Places as function number and index in it.
std::vector<std::pair<size_t, size_t>> places_of(const module_builder &module) {
    std::vector<std::pair<size_t, size_t>> result;
    for (const place &p : find_places(sve(), module.image()).native)
        for (size_t f = 0; f < module.functions(); f++)
            if (p.pc >= module.start_of(f) && p.pc < module.end_of(f))
                result.emplace_back(f, (p.pc - module.start_of(f)) / 4);
    return result;
}
std::pair<size_t, size_t> at(size_t function, size_t index) {
    return {function, index};
}

TEST(ModuleImage, FindsFunctions) {
    module_builder module;
    module.add({nop, ret});
    module.add({nop, nop, ret}, {.has_handlers = true});
    module.add({ret}, {.in_table = false});
    module.add({nop, ret});
    const module_image image = module.image();
    ASSERT_EQ(image.texts().size(), 1u);
    for (const size_t f : {0, 1, 3}) {
        const auto function = image.function_at(module.end_of(f) - 4);
        ASSERT_TRUE(function) << f;
        EXPECT_EQ(function->start, module.start_of(f));
        EXPECT_EQ(function->end, module.end_of(f));
        EXPECT_EQ(function->has_handlers, f == 1);
    }
    EXPECT_FALSE(image.function_at(module.start_of(2)));
    EXPECT_FALSE(image.function_at(module.start_of(0) - 4));
    EXPECT_FALSE(image.function_at(module.end_of(3)));
    const auto gap = image.gap_at(module.start_of(2));
    ASSERT_TRUE(gap);
    EXPECT_EQ(gap->start, module.end_of(1));
    EXPECT_EQ(gap->end, module.start_of(3));
}

TEST(ModulePlaces, FunctionsWithSveAlone) {
    module_builder module;
    module.add({write_v(8), read_z(8), ret});
    module.add({write_v(0), write_v(8), ret}); // no SVE, and nobody calls it
    module.add({write_v(8), read_z(8), ret}, {.in_table = false});
    EXPECT_THAT(places_of(module), ElementsAre(at(0, 0)));
}

TEST(ModulePlaces, ResultsOfCalleesWithoutSve) {
    module_builder module;
    module.add({bl(8), read_z(0), ret}, {.size = 8}); // reads the result of the next one
    module.add({write_v(0), write_v(8), ret}, {.size = 8});
    module.add({bl(8), replace_z(0), read_z(0), ret}, {.size = 8}); // doesn't
    module.add({write_v(0), ret}, {.size = 8});
    // Through one that ends by a jump.
    module.add({bl(8), read_z(1), replace_z(0), ret}, {.size = 8});
    module.add({write_v(0), write_v(1), b(6)}, {.size = 8});
    module.add({write_v(0), ret}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(1, 0), at(5, 1)));
}

TEST(ModulePlaces, ResultsOfAJumpFromAFunctionWithSve) {
    // Its caller may read the result of what it jumps to.
    module_builder module;
    module.add({read_z(8), b(7)}, {.size = 8});
    module.add({write_v(0), write_v(8), ret}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(1, 0)));
}

TEST(ModulePlaces, ArgumentsOfCallersWithoutSve) {
    module_builder module;
    module.add({read_z(0), ret}, {.size = 8});
    module.add({write_v(0), write_v(1), bl(-10), ret}, {.size = 8});
    module.add({write_v(0), b(-17)}, {.size = 8});
    // One that hands on what its caller made.
    module.add({nop, b(-25)}, {.size = 8});
    module.add({write_v(0), bl(-9), ret}, {.size = 8});
    // One that reads no argument.
    module.add({replace_z(0), read_z(0), ret}, {.size = 8});
    module.add({write_v(0), bl(-9), ret}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(1, 0), at(2, 0), at(4, 0)));
}

TEST(ModulePlaces, CallsBetweenFunctionsWithSve) {
    // What the callee doesn't read need not be cleared for it; what it keeps is read behind it.
    module_builder module;
    module.add(
        {write_v(0), write_v(1), write_v(9), bl(5), read_z(9), replace_z(0), replace_z(1), ret},
        {.size = 8});
    module.add({read_z(1), ret}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(0, 1), at(0, 2)));
}

TEST(ModulePlaces, PartsOfOneFunction) {
    // Code that is seldom run stands apart, with tables of its own, and jumps back into the middle.
    module_builder module;
    module.add({cbz_x0(8), write_v(9), read_z(8), replace_z(0), ret}, {.size = 8});
    module.add({write_v(8), write_v(9), b(-8)}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(1, 0)));
    // Into the middle of a part.
    module_builder middle;
    middle.add({cbz_x0(9), replace_z(0), ret}, {.size = 8});
    middle.add({ret, write_v(8), read_z(8), replace_z(0), b(-10)}, {.size = 8});
    EXPECT_THAT(places_of(middle), ElementsAre(at(1, 1)));
}

TEST(ModulePlaces, Recursion) {
    module_builder module;
    module.add({read_z(8), write_v(8), cbz_x0(2), bl(-3), ret}, {.size = 8});
    EXPECT_THAT(places_of(module), ElementsAre(at(0, 1)));
    // Two that call each other.
    module_builder two;
    two.add({write_v(1), bl(7), replace_z(0), ret}, {.size = 8});
    two.add({add_z(2, 1), bl(-9), ret}, {.size = 8});
    EXPECT_THAT(places_of(two), ElementsAre(at(0, 0)));
}

// ---- Any program --------------------------------------------------------------------------------

TEST(ModulePlaces, NothingStaleIsReadOnAnyWay) {
    std::mt19937_64 random(static_cast<uint64_t>(GTEST_FLAG_GET(random_seed)));
    const auto below = [&random](unsigned n) { return static_cast<unsigned>(random() % n); };
    size_t places_in_all = 0, native_writes_in_all = 0;
    for (unsigned trial = 0; trial < 1500; trial++) {
        constexpr size_t size = 16;
        module_builder module;
        const unsigned count = 2 + below(5);
        for (unsigned f = 0; f < count; f++) {
            const bool with_sve = below(2);
            std::vector<uint32_t> code(size - 1);
            for (int i = 0; i < static_cast<int>(code.size()); i++) {
                constexpr unsigned registers[] = {0, 1, 8, 31};
                const unsigned t = registers[below(4)];
                const int to_function = (static_cast<int>(below(count)) - static_cast<int>(f)) *
                                            static_cast<int>(size) -
                                        i;
                const int inside = static_cast<int>(below(size)) - i;
                const uint32_t choices[] = {nop,
                                            nop,
                                            write_v(t),
                                            write_v(t),
                                            load_4_v(t),
                                            ret,
                                            blr_x1,
                                            br_x1,
                                            cbz_x0(inside),
                                            cbz_x0(inside),
                                            b(inside),
                                            bl(to_function),
                                            bl(to_function),
                                            b(to_function),
                                            read_z(t),
                                            read_z(t),
                                            replace_z(t),
                                            add_z(t, registers[below(4)]),
                                            bl(to_function + 3)};
                code[i] = choices[below(with_sve ? std::size(choices) : std::size(choices) - 5)];
                native_writes_in_all += native_writes(code[i]) != 0;
            }
            if (with_sve) // only these may call into the middle of others
                code[0] = replace_z(31);
            code.push_back(ret);
            module.add(code);
        }
        const module_image image = module.image();
        const std::vector<place> places = find_places(sve(), image).native;
        places_in_all += places.size();
        code_walk walk(sve(), image, places);
        for (unsigned f = 0; f < count; f++)
            for (unsigned way = 0; way < 20; way++) {
                const uintptr_t stale = walk.run(module.start_of(f), below);
                ASSERT_EQ(stale, 0u)
                    << "trial " << trial << ", function " << (stale - module.start_of(0)) / 4 / size
                    << ", word " << (stale - module.start_of(0)) / 4 % size;
            }
    }
    // Neither none nor all of them.
    EXPECT_GT(places_in_all, native_writes_in_all / 10);
    EXPECT_LT(places_in_all, native_writes_in_all * 3 / 4);
}

// ---- Tables that are missing, damaged or wrong --------------------------------------------------

module_builder plain_module() {
    module_builder module;
    module.add({write_v(8), read_z(8), ret});
    module.add({nop, write_v(9), read_z(9), ret}, {.has_handlers = true});
    return module;
}

TEST(DamagedTables, NoneIsLookedAt) {
    for (const auto &damage : std::initializer_list<void (*)(module_builder &)>{
             [](module_builder &m) { m.header().e_ident[0] = 0; },
             [](module_builder &m) { m.header().e_phoff = ~0ull - 8; },
             [](module_builder &m) { m.header().e_phnum = 0; },
             [](module_builder &m) { m.table_segment().p_vaddr = 1 << 30; },
             [](module_builder &m) { m.table_segment().p_vaddr = ~0ull - 3; },
             [](module_builder &m) { m.table_segment().p_filesz = 7; },
             [](module_builder &m) { m.table_segment().p_type = PT_NULL; },
             [](module_builder &m) { m.table()[0] = 2; },
             [](module_builder &m) { m.table()[3] = 0x1b; },
             [](module_builder &m) { m.table_count() = 1u << 30; },
         }) {
        module_builder module = plain_module();
        damage(module);
        EXPECT_THAT(places_of(module), IsEmpty());
    }
}

TEST(DamagedTables, AFunctionThatCannotBeBelievedIsNone) {
    for (const auto &damage : std::initializer_list<void (*)(module_builder &)>{
             [](module_builder &m) { m.description(0)[0] = 0; },        // the end of all of them
             [](module_builder &m) { m.description(0)[0] = ~0u; },      // a length of 64 bits
             [](module_builder &m) { m.description(0)[1] = 0; },        // common information itself
             [](module_builder &m) { m.description(0)[1] = 1u << 20; }, // outside the module
             [](module_builder &m) { m.description(0)[2] += 4; },       // another start
             [](module_builder &m) { m.description(0)[3] = 0; },        // no size
             [](module_builder &m) { m.table_entry(0).description = 1 << 30; },
         }) {
        module_builder module = plain_module();
        damage(module);
        EXPECT_THAT(places_of(module), ElementsAre(at(1, 1)));
    }
}

TEST(DamagedTables, FunctionsEndWhereTheNextOneBegins) {
    module_builder module = plain_module();
    module.description(0)[3] = 1u << 20;
    const module_image image = module.image();
    EXPECT_EQ(image.function_at(module.start_of(0))->end, module.start_of(1));
    EXPECT_THAT(places_of(module), ElementsAre(at(0, 0), at(1, 1)));
    module.description(1)[3] = ~0u; // and the last one with the code
    EXPECT_EQ(module.image().function_at(module.start_of(1))->end, module.image().texts()[0].end());
    // Unsorted ones are no tables.
    module.table_entry(1).start = module.table_entry(0).start - 4;
    EXPECT_FALSE(module.image().function_at(module.start_of(0)));
}

} // namespace
