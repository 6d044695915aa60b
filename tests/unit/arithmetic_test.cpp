#include "sve/integer/arithmetic.h"

#include "machine_states.h"
#include "sve/core/sve_utils.h"

#include <functional>
#include <gtest/gtest.h>
#include <vector>

// Element `index` of a Z row, byte by byte.
static uint64_t element(const uint8_t *row, unsigned size, unsigned index) {
    uint64_t value = 0;
    for (unsigned byte = 0; byte < 1u << size; byte++)
        value |= uint64_t{row[(index << size) + byte]} << 8 * byte;
    return value;
}
static void set_element(uint8_t *row, unsigned size, unsigned index, uint64_t value) {
    for (unsigned byte = 0; byte < 1u << size; byte++)
        row[(index << size) + byte] = static_cast<uint8_t>(value >> 8 * byte);
}

// Runs the word and holds the whole state against the plain model: in every element that the
// predicate row makes active (all, if it's null), z[d] is z[n] plus the addend of that element.
static void expect_sum(unsigned word, const cpu_state &before, unsigned size, unsigned d,
                       unsigned n, const uint8_t *predicate,
                       const std::function<uint64_t(unsigned)> &addend) {
    cpu_state expected = before;
    for (unsigned i = 0; i < sve_vector_bytes >> size; i++)
        if (!predicate || predicate[i << size] & 1)
            set_element(expected.z[d], size, i, element(before.z[n], size, i) + addend(i));
    expected.insn = word;
    expected.pc = &word + 1;

    cpu_state actual = before;
    actual.pc = &word;
    EXPECT_EQ(execute_sve_instruction(&actual), AARCH64_DECODE_OK);
    EXPECT_EQ(state_difference(actual, expected), "") << "word 0x" << std::hex << word;
}

// Random states, and states whose vectors consist of bytes where carries start and end.
static std::vector<cpu_state> states() {
    auto random = random_numbers();
    std::vector<cpu_state> result;
    for (int i = 0; i < 4; i++)
        result.push_back(random_state(random));
    static constexpr uint8_t edges[] = {0xff, 0x00, 0x01, 0x80, 0x7f, 0xfe};
    for (unsigned kinds = 1; kinds <= std::size(edges); kinds++) {
        result.push_back(random_state(random));
        for (auto &row : result.back().z)
            for (uint8_t &byte : row)
                byte = edges[random() % kinds];
    }
    return result;
}

static unsigned add_vectors(unsigned size, unsigned d, unsigned n, unsigned m) {
    return 0x04200000 | size << 22 | m << 16 | n << 5 | d;
}
static unsigned add_predicated(unsigned size, unsigned dn, unsigned g, unsigned m) {
    return 0x04000000 | size << 22 | g << 10 | m << 5 | dn;
}
static unsigned add_immediate(unsigned size, unsigned dn, unsigned imm8, unsigned shifted) {
    return 0x2520c000 | size << 22 | shifted << 13 | imm8 << 5 | dn;
}

TEST(Add, WordsOfThisTest) {
    EXPECT_EQ(add_vectors(1, 21, 10, 13), 0x046d0155u);   // add z21.h, z10.h, z13.h
    EXPECT_EQ(add_predicated(2, 0, 1, 2), 0x04800440u);   // add z0.s, p1/m, z0.s, z2.s
    EXPECT_EQ(add_immediate(1, 3, 5, 1), 0x2560e0a3u);    // add z3.h, z3.h, #5, lsl #8
    EXPECT_EQ(add_immediate(3, 21, 173, 1), 0x25e0f5b5u); // add z21.d, z21.d, #44288
}

TEST(Add, Vectors) {
    const struct {
        unsigned d, n, m;
    } registers[] = {{0, 1, 2}, {31, 30, 29}, {5, 5, 6}, {5, 6, 5}, {7, 8, 8}, {9, 9, 9}};
    for (const cpu_state &state : states())
        for (unsigned size = 0; size < 4; size++)
            for (const auto &r : registers)
                expect_sum(add_vectors(size, r.d, r.n, r.m), state, size, r.d, r.n, nullptr,
                           [&](unsigned i) { return element(state.z[r.m], size, i); });
}

TEST(Add, Predicated) {
    auto random = random_numbers();
    // A predicate byte from its place in the element and a random byte. Only bit 0 of an element's
    // first byte counts.
    const struct {
        const char *name;
        uint8_t (*byte)(unsigned place, uint64_t random);
    } predicates[] = {
        {"all false", [](unsigned, uint64_t) -> uint8_t { return 0; }},
        {"all true", [](unsigned, uint64_t) -> uint8_t { return 1; }},
        {"random bits", [](unsigned, uint64_t random) -> uint8_t { return random & 1; }},
        {"first bits only", [](unsigned place, uint64_t) -> uint8_t { return place == 0; }},
        {"all but first bits", [](unsigned place, uint64_t) -> uint8_t { return place != 0; }},
        {"any bytes", [](unsigned, uint64_t random) { return static_cast<uint8_t>(random); }},
    };
    const struct {
        unsigned dn, g, m;
    } registers[] = {{0, 1, 2}, {31, 7, 30}, {4, 0, 4}, {17, 5, 10}};
    for (cpu_state state : states()) {
        for (const auto &predicate : predicates) {
            for (unsigned size = 0; size < 4; size++) {
                for (const auto &r : registers) {
                    SCOPED_TRACE(predicate.name);
                    for (unsigned i = 0; i < sve_vector_bytes; i++)
                        state.p[r.g][i] = predicate.byte(i % (1u << size), random());
                    expect_sum(add_predicated(size, r.dn, r.g, r.m), state, size, r.dn, r.dn,
                               state.p[r.g],
                               [&](unsigned i) { return element(state.z[r.m], size, i); });
                }
            }
        }
    }
}

// Shifted by 8, a byte's immediate is shifted out of it.
TEST(Add, Immediate) {
    for (const cpu_state &state : states())
        for (unsigned size = 0; size < 4; size++)
            for (const unsigned imm8 : {0u, 1u, 5u, 127u, 128u, 255u})
                for (const unsigned shifted : {0u, 1u})
                    for (const unsigned dn : {0u, 21u, 31u})
                        expect_sum(add_immediate(size, dn, imm8, shifted), state, size, dn, dn,
                                   nullptr, [&](unsigned) { return imm8 << 8 * shifted; });
}
