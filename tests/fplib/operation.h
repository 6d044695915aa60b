#pragma once

// What is compared: an operation of the floating-point library beside the same one computed by
// something else, which is the processor on AArch64, and on other hosts their floating-point unit and
// exact arithmetic on integers.

#include "sve/fplib/fplib.h"

#include <cstdint>
#include <type_traits>
#include <vector>

namespace fp_comparison {

// Patterns, by the letter that names the format in operand lists and in assembly.
using h = unsigned short;
using s = unsigned int;
using d = unsigned long;

// The bits that the library knows of FPSR and of FPCR.
inline constexpr uint32_t flag_bits =
    FPSCR::IOC | FPSCR::DZC | FPSCR::OFC | FPSCR::UFC | FPSCR::IXC | FPSCR::IDC;
inline constexpr uint32_t control_bits =
    FPSCR::FZ16 | FPSCR::RMode | FPSCR::FZ | FPSCR::DN | FPSCR::AHP;

constexpr unsigned rounding_of(uint32_t word) {
    return word >> FPSCR::RMode_shift & 3;
}

struct operands {
    uint64_t a = 0, b = 0, c = 0; // only the bits of the operand's kind are set
};

struct outcome {
    uint64_t result; // upper bits that the result doesn't have are clear
    uint32_t word;   // control word and flags afterwards
    bool operator==(const outcome &) const = default;
};

// Runs an operation with a control word, in which flags may already be set.
using computation = outcome (*)(const operands &, uint32_t word);

struct operation {
    const char *name;
    // The kind of each operand: h, s, d patterns; i, w, x integers of 16, 32 and 64 bits;
    // r, R, o rounding modes (the four of RMode; with TIEAWAY; with ODD); e a truth value;
    // f a count of fraction bits from 0 to 64; t an index from 0 to 7.
    const char *operands;
    computation library;
    computation reference; // null: the operation is only run
};

// An operation's line in a table.
constexpr operation compared(const char *name, const char *operands, computation library,
                             computation reference) {
    return {name, operands, library, reference};
}

// All that this machine can compute. What it lacks is told on standard error.
std::vector<operation> operations();

// An operation of the library as a computation. The function takes one to three operands and the control
// word; fewer operands and no control word are accepted where the function can't need one.
template <auto function>
outcome library(const operands &x, uint32_t word) {
    FPSCR fpscr{word};
    const auto result = [&] {
        using F = decltype(function);
        if constexpr (std::is_invocable_v<F, d>)
            return function(x.a);
        else if constexpr (std::is_invocable_v<F, d, FPSCR &>)
            return function(x.a, fpscr);
        else if constexpr (std::is_invocable_v<F, d, d, FPSCR &>)
            return function(x.a, x.b, fpscr);
        else
            return function(x.a, x.b, x.c, fpscr);
    }();
    return {static_cast<uint64_t>(result), fpscr.word};
}

} // namespace fp_comparison
