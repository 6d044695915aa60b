#pragma once

// Rows of calls with their results and flags, for the places where floating point breaks. A row
// serves all formats where its values have a meaning in each: as numbers, whose patterns the
// compiler's own types give, or as the ends of a format's range.

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <tuple>
#include <vector>

#include "sve/fplib/fplib.h"

inline constexpr unsigned IOC = 1, DZC = 2, OFC = 4, UFC = 8, IXC = 16, IDC = 128;
inline constexpr unsigned FZ16 = 1u << 19, FZ = 1u << 24, DN = 1u << 25, AHP = 1u << 26;
inline constexpr unsigned to_even = 0u << 22, to_plus = 1u << 22, to_minus = 2u << 22,
                          to_zero = 3u << 22;
inline constexpr FPRounding even = FPRounding_TIEEVEN, up = FPRounding_POSINF,
                            down = FPRounding_NEGINF, zero = FPRounding_ZERO,
                            away = FPRounding_TIEAWAY, odd = FPRounding_ODD;

using half = unsigned short;
using single = unsigned int;
using dbl = unsigned long;

#if defined(__aarch64__)
using float16 = __fp16;
#else
using float16 = _Float16;
#endif

// The pattern of a number that the format holds, or the nearest; and back.
template <typename T>
T p(double x) {
    if constexpr (sizeof(T) == 2)
        return std::bit_cast<T>(static_cast<float16>(x));
    else if constexpr (sizeof(T) == 4)
        return std::bit_cast<T>(static_cast<float>(x));
    else
        return std::bit_cast<T>(x);
}

template <typename T>
double value(T x) {
    if constexpr (sizeof(T) == 2)
        return std::bit_cast<float16>(x);
    else if constexpr (sizeof(T) == 4)
        return std::bit_cast<float>(x);
    else
        return std::bit_cast<double>(x);
}

// Patterns without a number, or at the ends of the range.
template <typename T>
struct ends {
    static constexpr int fraction_bits = sizeof(T) == 2 ? 10 : sizeof(T) == 4 ? 23 : 52;
    static constexpr int bias = sizeof(T) == 2 ? 15 : sizeof(T) == 4 ? 127 : 1023;
    static constexpr T minus = T(T{1} << (8 * sizeof(T) - 1));
    static constexpr T inf = T(T{2 * bias + 1} << fraction_bits);
    static constexpr T minus_inf = minus | inf;
    static constexpr T max = inf - 1;
    static constexpr T quiet = T(T{1} << (fraction_bits - 1));
    static constexpr T nan = inf | quiet;
    static constexpr T normal = T(T{1} << fraction_bits);
    static constexpr T max_tiny = normal - 1;
    static constexpr T tiny = 1;
    static constexpr unsigned flush = sizeof(T) == 2 ? FZ16 : FZ;
    // A denormal operand that is flushed: half precision keeps quiet.
    static constexpr unsigned flushed = sizeof(T) == 2 ? 0 : IDC;
};

// A call, its result and the flags that it raises under the control bits.
template <typename R, typename... Operands>
struct row {
    row(const char *what, R (*operation)(Operands..., FPSCR &), std::tuple<Operands...> operands,
        auto result, unsigned flags = 0, unsigned control = 0)
        : what(what), operation(operation), operands(operands), result(static_cast<R>(result)),
          flags(flags), control(control) {}

    const char *what;
    R (*operation)(Operands..., FPSCR &);
    std::tuple<Operands...> operands;
    R result;
    unsigned flags, control;
};

template <typename R, typename... Operands>
void check(const std::vector<row<R, Operands...>> &rows) {
    for (const auto &r : rows) {
        FPSCR fpscr{r.control};
        const R result = std::apply(
            [&](auto... operands) { return r.operation(operands..., fpscr); }, r.operands);
        EXPECT_EQ(result, r.result) << std::hex << "0x" << +result << " for 0x" << +r.result << ": "
                                    << r.what << ", control 0x" << r.control;
        EXPECT_EQ(fpscr.word & ~r.control, r.flags)
            << r.what << ", control 0x" << std::hex << r.control;
        EXPECT_EQ(fpscr.word & r.control, r.control) << r.what;
    }
}

template <typename T>
class FPLib : public testing::Test {};
using formats = testing::Types<half, single, dbl>;
TYPED_TEST_SUITE(FPLib, formats);
