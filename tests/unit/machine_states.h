#pragma once

// Machine states to test on: random ones, and a comparison of two that says where they differ.

#include "sve/core/cpu_state.h"

#include <cstring>
#include <gtest/gtest.h>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>

// The same numbers in every run; --gtest_random_seed (or GTEST_RANDOM_SEED) gives others.
inline std::mt19937_64 random_numbers() {
    return std::mt19937_64(static_cast<uint64_t>(GTEST_FLAG_GET(random_seed)));
}

// Every byte random, but predicate bytes 0 or 1 as every write leaves them, pc null, and no mode or
// trap set in fpcr.
inline cpu_state random_state(std::mt19937_64 &random) {
    unsigned char bytes[sizeof(cpu_state)];
    for (unsigned char &byte : bytes)
        byte = static_cast<unsigned char>(random());
    cpu_state state;
    std::memcpy(&state, bytes, sizeof state);
    for (auto &row : state.p)
        for (uint8_t &byte : row)
            byte &= 1;
    for (uint8_t &byte : state.ffr)
        byte &= 1;
    state.pc = nullptr;
    state.fpcr = 0;
    return state;
}

// The fields that differ in any byte, with their bytes in memory order; empty if none does.
inline std::string state_difference(const cpu_state &actual, const cpu_state &expected) {
    if (std::memcmp(&actual, &expected, sizeof actual) == 0)
        return "";
    std::ostringstream out;
    const auto compare = [&out](const std::string &name, const auto &a, const auto &e) {
        if (std::memcmp(&a, &e, sizeof a) == 0)
            return;
        out << name << ": " << std::hex << std::setfill('0');
        for (const auto *object : {&a, &e}) {
            for (size_t i = 0; i < sizeof a; i++)
                out << std::setw(2) << unsigned{reinterpret_cast<const uint8_t *>(object)[i]};
            out << (object == &a ? ", expected " : "\n");
        }
    };
    for (int i = 0; i < 31; i++)
        compare("x" + std::to_string(i), actual.x[i], expected.x[i]);
    for (int i = 0; i < 32; i++)
        compare("z" + std::to_string(i), actual.z[i], expected.z[i]);
    for (int i = 0; i < 16; i++)
        compare("p" + std::to_string(i), actual.p[i], expected.p[i]);
#define COMPARE(field) compare(#field, actual.field, expected.field)
    COMPARE(sp), COMPARE(pc), COMPARE(nzcv), COMPARE(fpsr), COMPARE(fpcr), COMPARE(fpcr_or);
    COMPARE(padding), COMPARE(ffr), COMPARE(insn);
#undef COMPARE
    return out.str().empty() ? "bytes between the fields" : out.str();
}
