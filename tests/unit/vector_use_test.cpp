// What rows say of the Z registers that their words read and write, held against what handlers do.
#include "sve/core/decode_keys.h"
#include "sve/core/sve_utils.h"
#include "tests/unit/machine_states.h"

#include <gtest/gtest.h>
#include <string_view>
#include <vector>

namespace {

using namespace sve;

struct encoded_row {
    std::string_view family;
    const handler_row *row;
    uint32_t mask, value;
};

std::vector<encoded_row> all_rows() {
    std::vector<encoded_row> rows;
    for (const handler_family &family : handler_families())
        for (const handler_row &row : family.rows)
            for (const decode_map_info &info : decode_map_infos)
                if (info.map == row.map)
                    rows.push_back({family.name, &row, info.fields.mask(),
                                    info.fields.spread(static_cast<int>(row.key))});
    return rows;
}

bool accesses_memory(const encoded_row &row) {
    return row.family.ends_with("loads") || row.family.ends_with("stores") ||
           row.family.ends_with("prefetches");
}

// New upper bytes for the registers of a mask.
void scramble(cpu_state &state, uint32_t registers, std::mt19937_64 &random) {
    for (unsigned n = 0; n < 32; n++)
        for (unsigned i = sve_chunk_bytes; i < sve_vector_bytes; i++)
            if (registers >> n & 1)
                state.z[n][i] = static_cast<uint8_t>(random());
}

// Runs each row's words on two states that differ only in upper bytes. Nothing that a word writes may depend on
// those of registers that it doesn't read, and it must keep all registers that it doesn't write. Of the operands that
// are said to be read most make a difference: random values don't bring it to light in each compare or narrow shift.
TEST(VectorUse, IsWhatHandlersDo) {
    constexpr unsigned trials = 24;
    constexpr size_t reach = sve_vector_bytes << 8; // LDR and STR reach 256 vectors
    constexpr size_t page = 4096;
    // Sums of addresses lie at the start of a page: a first-fault load from there need not ask about the next one.
    alignas(page) static uint8_t arena[2 * (reach / page + 2) * page];
    auto random = random_numbers();
    size_t operands = 0, operands_that_mattered = 0;
    for (const encoded_row &row : all_rows()) {
        const vector_use use = row.row->vectors;
        const bool memory = accesses_memory(row);
        const vector_use roles[] = {{.read_from_zd = use.read_from_zd},
                                    {.reads_zn = use.reads_zn, .zn_element = use.zn_element},
                                    {.zm_width = use.zm_width}};
        bool mattered[std::size(roles)] = {};
        for (unsigned trial = 0; trial < trials; trial++) {
            const uint32_t word = row.value | (static_cast<uint32_t>(random()) & ~row.mask);
            const uint32_t reads = use.reads(word), writes = use.writes(word);
            cpu_state before = random_state(random);
            if (memory) { // at no element, but for LDR and STR
                for (uint64_t &x : before.x)
                    x = reinterpret_cast<uint64_t>(arena + sizeof arena / 2);
                before.sp = before.x[0];
                std::memset(before.p, 0, sizeof before.p);
            }
            cpu_state after = before;
            if (row.row->handler(&after, word) != AARCH64_DECODE_OK)
                continue;
            // The result of the same word with other upper bytes, and those bytes as before where they are kept.
            const auto result_with_other = [&](uint32_t registers) {
                cpu_state other = before;
                scramble(other, registers, random);
                row.row->handler(&other, word);
                for (unsigned n = 0; n < 32; n++)
                    if (!(writes >> n & 1))
                        std::memcpy(other.z[n], after.z[n], sve_vector_bytes);
                return other;
            };
            for (unsigned n = 0; n < 32; n++)
                if (!(writes >> n & 1)) {
                    ASSERT_EQ(std::memcmp(after.z[n], before.z[n], sve_vector_bytes), 0)
                        << row.row->name << " writes z" << n << " by word " << std::hex << word;
                }
            ASSERT_EQ(state_difference(result_with_other(~reads), after), "")
                << row.row->name << " reads more by word " << std::hex << word;
            for (size_t i = 0; i < std::size(roles); i++)
                mattered[i] =
                    mattered[i] ||
                    !state_difference(result_with_other(roles[i].reads(word)), after).empty();
        }
        for (size_t i = 0; i < std::size(roles) && !memory; i++) {
            operands += roles[i].reads(~0u) != 0;
            operands_that_mattered += mattered[i];
        }
    }
    EXPECT_GT(operands_that_mattered, operands * 9 / 10);
}

// The element that a DUP reads may lie in the V register.
TEST(VectorUse, ElementOfADup) {
    const vector_use use = find_row(0x05242020).row->vectors; // dup z0.s, z1.s[0]
    EXPECT_EQ(use.writes(0x05242020), 1u);
    EXPECT_EQ(use.reads(0x05242020), 0u);
    EXPECT_EQ(use.reads(0x053c2020), 0u);      // dup z0.s, z1.s[3]
    EXPECT_EQ(use.reads(0x05642020), 1u << 1); // dup z0.s, z1.s[4]
}

} // namespace
