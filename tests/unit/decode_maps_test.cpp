#include "sve/core/decode_keys.h"

#include "instruction_rows.h"
#include "machine_states.h"
#include "sve/core/stubs.h"
#include "sve/core/sve_utils.h"

#include <algorithm>
#include <bit>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace sve;

// clang-format off
// The maps in the order of execute_sve_instruction: width of the key, rows of the full instruction
// set, place in the order of construction, place in the order of is_sve.
static const struct map_facts {
    std::string_view name;
    int key_bits;
    unsigned rows, built, is_sve;
} map_table[] = {
    {"31_0",                   32,   1, 19,  1},  {"31_9__4_0",              28,   1, 23,  2},
    {"31_4",                   28,   2, 20,  3},  {"31_14__9_9__4_0",        24,   1, 22,  5},
    {"31_9__4_4",              24,  13, 14,  4},  {"31_10__4_4",             23,   8, 16,  6},
    {"31_9",                   23,  58, 27,  7},  {"31_13__9_6",             23,  24,  4,  8},
    {"31_21__15_10__4_0",      22,   4, 41,  9},  {"31_10",                  22,  38,  2, 10},
    {"31_13__9_8",             21,   4, 35, 11},  {"31_11",                  21,   1, 34, 12},
    {"31_24__21_10",           20,   1, 36, 17},  {"31_20__15_9__4_4",       20,  24, 15, 15},
    {"31_14__9_9__4_4",        20,   8, 18, 13},  {"31_13__4_4",             20,  18,  6, 16},
    {"31_13__9_9",             20,   4, 29, 14},  {"31_14__9_9",             19,   4, 39, 21},
    {"31_19__15_10",           19,   6, 11, 19},  {"31_24__21_21__19_10",    19,   1, 43, 18},
    {"31_13",                  19, 403,  1, 20},  {"31_17__15_13",           18,   3,  8, 27},
    {"31_14",                  18,  32, 24, 23},  {"31_23__21_13",           18,   4, 33, 24},
    {"31_20__15_10",           18,  65, 28, 22},  {"31_24__21_21__18_10",    18,   1, 42, 26},
    {"31_21__15_10__4_4",      18,  32, 30, 25},  {"31_24__21_21__17_10",    17,   1, 38, 28},
    {"31_21__15_10",           17, 135,  5, 29},  {"31_21__15_11",           16,   2, 31, 31},
    {"31_20__15_14__9_9__4_4", 16,  19, 17, 33},  {"31_24__21_21__16_10",    16,   1, 44, 32},
    {"31_23__21_21__15_10",    16,   6, 13, 30},  {"31_21__15_13__4_4",      15, 131,  3, 34},
    {"31_21__15_12",           15,   2, 12, 35},  {"31_20__15_13",           15,  81,  7, 36},
    {"31_21__15_13",           14, 285, 10, 37},  {"31_20__15_14",           14,   8, 25, 38},
    {"31_18",                  14,   4, 32, 39},  {"31_22__15_13__4_4",      14,   6, 21, 40},
    {"31_21__15_14",           13,   4, 40, 42},  {"31_21__13_13__4_4",      13,  16, 37, 43},
    {"31_22__15_13",           13,  18, 26, 41},  {"31_21__15_15",           12,   3,  9, 44},
};
// clang-format on

// The maps by that place, open to changes.
static decode_map *const maps[] = {
#define MAP(fields, execute, is_sve) &decode_map__##fields,
    SVE_DECODE_MAPS(MAP)
#undef MAP
};

// The plain way from a word to its row: try them all.
static const instruction_row *find_row(const std::vector<instruction_row> &rows, uint32_t word) {
    for (const instruction_row &row : rows)
        if ((word & row.mask) == row.value)
            return &row;
    return nullptr;
}

TEST(DecodeMaps, KeysAndOrder) {
    ASSERT_EQ(std::size(map_table), decode_map_count);
    int execute_widths[decode_map_count] = {}, is_sve_widths[decode_map_count] = {};
    for (unsigned i = 0; i < decode_map_count; i++) {
        const map_facts &facts = map_table[i];
        SCOPED_TRACE(facts.name);
        const unsigned index = map_index(facts.name);
        const decode_map_info &info = decode_map_infos[index];
        EXPECT_EQ(info.map, maps[index]);
        EXPECT_EQ(index + 1, facts.built);
        EXPECT_EQ(info.execute_position, i + 1);
        EXPECT_EQ(info.is_sve_position, facts.is_sve);
        EXPECT_EQ(std::popcount(info.fields.mask()), facts.key_bits);
        // With all bits of the word set, the key of the whole word alone is negative.
        EXPECT_EQ(info.fields.key(~0u), static_cast<int>((uint64_t{1} << facts.key_bits) - 1));
        execute_widths[info.execute_position - 1] = is_sve_widths[info.is_sve_position - 1] =
            std::popcount(info.fields.mask());
    }
    for (const auto &widths : {execute_widths, is_sve_widths}) {
        EXPECT_TRUE(std::is_sorted(widths, widths + decode_map_count, std::greater()));
        EXPECT_GT(widths[decode_map_count - 1], 0) << "a position is taken twice";
    }
}

TEST(DecodeMaps, KeysOfAllInstructionRows) {
    std::map<std::string_view, unsigned> counts;
    std::set<std::pair<unsigned, int>> keys;
    for (const instruction_row &row : instruction_rows()) {
        SCOPED_TRACE(row.handler);
        const key_fields &fields = decode_map_infos[row.map].fields;
        EXPECT_EQ(fields.key(row.value), row.key);
        EXPECT_EQ(fields.key(row.value | ~row.mask), row.key);
        EXPECT_EQ(fields.spread(row.key), row.value);
        EXPECT_EQ(fields.mask(), row.mask);
        EXPECT_TRUE(keys.insert({row.map, row.key}).second) << "a key twice in one map";
        counts[row.map_name]++;
    }
    for (const map_facts &facts : map_table)
        EXPECT_EQ(counts[facts.name], facts.rows) << facts.name;
}

// What makes the order among keys of one width irrelevant.
TEST(DecodeMaps, NoWordMatchesTwoRows) {
    const auto &rows = instruction_rows();
    ASSERT_FALSE(rows.empty());
    for (auto a = rows.begin(); a != rows.end(); ++a)
        for (auto b = a + 1; b != rows.end(); ++b)
            if (!((a->value ^ b->value) & a->mask & b->mask))
                ADD_FAILURE() << a->handler << " and " << b->handler;
}

// The cascades, over maps with stand-in rows.

// The handler of a stand-in row knows its map.
static unsigned reached_map;
template <unsigned map>
static aarch64_decode_rc stand_in(cpu_state *, unsigned int) {
    reached_map = map;
    return AARCH64_DECODE_OK;
}
static constexpr auto stand_ins = []<unsigned... map>(std::integer_sequence<unsigned, map...>) {
    return std::array<aarch64_handler, sizeof...(map)>{stand_in<map>...};
}
(std::make_integer_sequence<unsigned, decode_map_count>{});

// Which map's row the two cascades reach; decode_map_count if none. The second is also held to its
// promise that a word without a row leaves the state alone.
static unsigned reached_by_is_sve(unsigned word) {
    const auto found = std::find(stand_ins.begin(), stand_ins.end(), is_sve(word));
    EXPECT_TRUE(found != stand_ins.end() || !is_sve(word));
    return static_cast<unsigned>(found - stand_ins.begin());
}
static unsigned reached_by_execute(unsigned word) {
    static cpu_state state = {};
    state.pc = &word;
    reached_map = decode_map_count;
    const aarch64_decode_rc rc = execute_sve_instruction(&state);
    const bool hit = reached_map != decode_map_count;
    EXPECT_EQ(rc, hit ? AARCH64_DECODE_OK : AARCH64_DECODE_UNIMPLEMENTED);
    EXPECT_EQ(state.pc, &word + hit);
    return reached_map;
}

// Empty maps for the length of a test.
class Cascades : public testing::Test {
protected:
    void SetUp() override { swap_contents(); }
    void TearDown() override { swap_contents(); }

private:
    void swap_contents() {
        for (unsigned i = 0; i < decode_map_count; i++)
            maps[i]->swap(kept_[i]);
    }
    decode_map kept_[decode_map_count];
};

// With one word's key in all maps a cascade finds the first of its maps; then, when that's emptied,
// the second, and so on.
TEST_F(Cascades, ProbeTheMapsInOrder) {
    const struct {
        unsigned (*reached)(unsigned word);
        unsigned decode_map_info::*position;
    } cascades[] = {{reached_by_execute, &decode_map_info::execute_position},
                    {reached_by_is_sve, &decode_map_info::is_sve_position}};
    for (const unsigned word : {0x00000000u, 0xffffffffu, 0x9abcdef1u}) {
        for (const auto &cascade : cascades) {
            for (unsigned i = 0; i < decode_map_count; i++)
                maps[i]->emplace(decode_map_infos[i].fields.key(word), stand_ins[i]);
            for (unsigned place = 1; place <= decode_map_count; place++) {
                const unsigned map = cascade.reached(word);
                ASSERT_LT(map, decode_map_count) << "no hit at place " << place;
                EXPECT_EQ(decode_map_infos[map].*cascade.position, place)
                    << decode_map_infos[map].name;
                maps[map]->clear();
            }
            EXPECT_EQ(cascade.reached(word), decode_map_count);
        }
    }
}

// Every row of the full instruction set is reached with any free bits, and a word that leaves a row
// by one bit goes where the linear search says.
TEST_F(Cascades, ReachEveryInstructionRow) {
    for (const instruction_row &row : instruction_rows())
        maps[row.map]->emplace(row.key, stand_ins[row.map]);
    auto random = random_numbers();
    for (const instruction_row &row : instruction_rows()) {
        SCOPED_TRACE(row.handler);
        const auto free_bits = static_cast<uint32_t>(random()) & ~row.mask;
        for (const uint32_t word : {row.value, row.value | free_bits, row.value | ~row.mask}) {
            EXPECT_EQ(reached_by_is_sve(word), row.map) << std::hex << word;
            EXPECT_EQ(reached_by_execute(word), row.map) << std::hex << word;
        }
        for (uint32_t left = row.mask; left; left &= left - 1) {
            const uint32_t word = (row.value | free_bits) ^ (left & -left);
            const instruction_row *other = find_row(instruction_rows(), word);
            const unsigned expected = other ? other->map : decode_map_count;
            EXPECT_EQ(reached_by_is_sve(word), expected) << std::hex << word;
            EXPECT_EQ(reached_by_execute(word), expected) << std::hex << word;
        }
    }
}

// The published route of a handler is the direct routine that it takes, if it takes one.
static handler_route route_named(std::string_view published) {
    return published == "no-op"       ? handler_route::no_op
           : published == "reference" ? handler_route::reference
                                      : handler_route::direct;
}

// Each row of a family is the published row of its name, and the maps hold them all and nothing
// else.
TEST(BuiltMaps, HoldTheRowsOfTheFamilies) {
    std::map<std::pair<const decode_map *, int>, const instruction_row *> published;
    for (const instruction_row &row : instruction_rows())
        published[{maps[row.map], row.key}] = &row;

    size_t family_rows = 0;
    for (const handler_family &family : handler_families()) {
        for (const handler_row &row : family.rows) {
            SCOPED_TRACE(row.name);
            family_rows++;
            const auto key = static_cast<int>(row.key);
            const auto found = published.find({row.map, key});
            ASSERT_NE(found, published.end()) << "no instruction has this map and key";
            EXPECT_EQ(row.name, found->second->handler);
            EXPECT_EQ(row.handler == no_op, found->second->route == "no-op");
            EXPECT_EQ(row.route, route_named(found->second->route));
            ASSERT_TRUE(row.map->count(key));
            EXPECT_EQ(row.map->at(key), row.handler);
        }
    }
    // Every instruction is there, once.
    EXPECT_EQ(published.size(), 1483u);
    EXPECT_EQ(family_rows, published.size());
    for (size_t i = 0; i < std::size(maps); i++)
        EXPECT_EQ(maps[i]->size(),
                  std::count_if(published.begin(), published.end(),
                                [&](const auto &row) { return row.first.first == maps[i]; }))
            << i;
}

// From any word of a row to the row and its family; families are told apart by their names.
TEST(BuiltMaps, FindRowAndFamilyOfAWord) {
    std::set<std::string_view> names;
    for (const handler_family &family : handler_families()) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name << " twice";
        EXPECT_NE(family.name[0], '\0');
    }
    auto random = random_numbers();
    for (const instruction_row &row : instruction_rows()) {
        SCOPED_TRACE(row.handler);
        const auto free_bits = static_cast<uint32_t>(random()) & ~row.mask;
        const found_row found = find_row(row.value | free_bits);
        ASSERT_NE(found.row, nullptr);
        EXPECT_EQ(found.row->name, row.handler);
        EXPECT_TRUE(found.family->rows.data() <= found.row &&
                    found.row < found.family->rows.data() + found.family->rows.size());
    }
    EXPECT_EQ(find_row(0xd503201f).row, nullptr); // nop
    const int key = 0x0000c0de;                   // udf #49374
    decode_map__31_0.emplace(key, no_op);
    EXPECT_EQ(find_row(key).row, nullptr) << "no family has this handler";
    decode_map__31_0.erase(key);
}

// Whatever the word.
TEST(BuiltMaps, AnswerForTheirRowsOnly) {
    std::vector<uint32_t> words = {
        0x4e228420, // add v0.16b, v1.16b, v2.16b
        0xd503201f, // nop
        0x00000000, // udf #0
    };
    auto random = random_numbers();
    for (const instruction_row &row : instruction_rows())
        words.insert(words.end(),
                     {row.value, row.value | static_cast<uint32_t>(random() & ~row.mask)});
    for (const instruction_row &row : instruction_rows())
        for (uint32_t left = row.mask; left; left &= left - 1)
            words.push_back((row.value | (random() & ~row.mask)) ^ (left & -left));
    for (int i = 0; i < 10000; i++)
        words.push_back(static_cast<uint32_t>(random()));

    const cpu_state before = random_state(random);
    for (uint32_t &word : words) {
        SCOPED_TRACE(testing::Message() << "word 0x" << std::hex << word);
        const instruction_row *row = find_row(instruction_rows(), word);
        EXPECT_EQ(is_sve(word), row ? maps[row->map]->at(row->key) : nullptr);
        if (row)
            continue;
        cpu_state state = before;
        state.pc = &word;
        EXPECT_EQ(execute_sve_instruction(&state), AARCH64_DECODE_UNIMPLEMENTED);
        EXPECT_EQ(state.pc, &word);
        state.pc = nullptr;
        EXPECT_EQ(state_difference(state, before), "");
    }
}
