#include "sve/core/cpu_state.h"

#include "machine_states.h"

#include <gtest/gtest.h>
#include <string>

// Rewritten code addresses the fields by their offsets.
TEST(CpuState, Layout) {
    constexpr size_t row = sve_vector_bytes;
    const struct {
        const char *field;
        size_t offset, expected;
    } cases[] = {
        {"x", offsetof(cpu_state, x), 0},
        {"sp", offsetof(cpu_state, sp), 248},
        {"pc", offsetof(cpu_state, pc), 256},
        {"nzcv", offsetof(cpu_state, nzcv), 264},
        {"fpsr", offsetof(cpu_state, fpsr), 272},
        {"fpcr", offsetof(cpu_state, fpcr), 276},
        {"fpcr_or", offsetof(cpu_state, fpcr_or), 280},
        {"z", offsetof(cpu_state, z), 288},
        {"p", offsetof(cpu_state, p), 288 + 32 * row},
        {"ffr", offsetof(cpu_state, ffr), 288 + 48 * row},
        {"insn", offsetof(cpu_state, insn), 288 + 49 * row},
        {"end", sizeof(cpu_state), 288 + 49 * row + 8},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.offset, c.expected) << c.field;
}

TEST(CpuState, NameTables) {
    const struct {
        const char *const *names;
        unsigned count;
        const char *before, *after;
        const char *last; // of the last entry, where that isn't formed like the others
    } tables[] = {
        {aarch64_i_reg::wname, 32, "w", "", "wzr"},
        {aarch64_i_reg::xname, 32, "x", "", "xzr"},
        {aarch64_i_rsp_reg::wname, 32, "w", "", "illegal"},
        {aarch64_i_rsp_reg::xname, 32, "x", "", "sp"},
        {aarch64_p_reg::pname, 16, "p", "", nullptr},
        {aarch64_p_reg::pname_m, 16, "p", "/m", nullptr},
        {aarch64_p_reg::pname_z, 16, "p", "/z", nullptr},
        {aarch64_p_reg::pname_b, 16, "p", ".b", nullptr},
        {aarch64_p_reg::pname_h, 16, "p", ".h", nullptr},
        {aarch64_p_reg::pname_s, 16, "p", ".s", nullptr},
        {aarch64_p_reg::pname_d, 16, "p", ".d", nullptr},
        {aarch64_z_reg::zname, 32, "z", "", nullptr},
        {aarch64_z_reg::zname_b, 32, "z", ".b", nullptr},
        {aarch64_z_reg::zname_h, 32, "z", ".h", nullptr},
        {aarch64_z_reg::zname_s, 32, "z", ".s", nullptr},
        {aarch64_z_reg::zname_d, 32, "z", ".d", nullptr},
    };
    for (const auto &table : tables)
        for (unsigned i = 0; i < table.count; i++)
            EXPECT_EQ(table.names[i], i == table.count - 1 && table.last
                                          ? std::string(table.last)
                                          : table.before + std::to_string(i) + table.after);
}

// A register's number is the same in both types; 31 is what tells them apart.
TEST(CpuState, GeneralRegistersAsOperands) {
    auto random = random_numbers();
    const cpu_state before = random_state(random);
    for (uint32_t number = 0; number < 32; number++) {
        SCOPED_TRACE("register " + std::to_string(number));
        const aarch64_i_reg with_zero = {number, sve_size_d, aarch64_i_reg::unset,
                                         aarch64_i_reg::unset};
        const aarch64_i_rsp_reg with_sp = {number, sve_size_d};
        EXPECT_EQ(read_reg(&before, with_zero), number == 31 ? 0 : before.x[number]);
        EXPECT_EQ(read_reg(&before, with_sp), number == 31 ? before.sp : before.x[number]);

        const uint64_t value = random();
        cpu_state actual = before, expected = before;
        write_reg(&actual, with_zero, value);
        if (number < 31)
            expected.x[number] = value;
        EXPECT_EQ(state_difference(actual, expected), "");

        actual = expected = before;
        write_reg(&actual, with_sp, value);
        (number == 31 ? expected.sp : expected.x[number]) = value;
        EXPECT_EQ(state_difference(actual, expected), "");
    }
}
