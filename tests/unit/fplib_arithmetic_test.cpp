#include "fplib_rows.h"
#include "sve/fplib/rounding.h"

namespace {

// --- Rounding. ---

template <typename T>
T round_pattern(int sgn, int exp, T mnt, int rm, int mode, int *flags) {
    if constexpr (sizeof(T) == 2)
        return fplib::fp16_round_(sgn, exp, mnt, rm, mode, flags);
    else if constexpr (sizeof(T) == 4)
        return fplib::fp32_round_(sgn, exp, mnt, rm, mode, flags);
    else
        return fplib::fp64_round_(sgn, exp, mnt, rm, mode, flags);
}

TYPED_TEST(FPLib, Rounding) {
    using T = TypeParam;
    using e = ends<T>;
    const T all_ones = T(~0);
    const int last = 2 * e::bias; // exponent of the largest numbers
    const int flush = sizeof(T) == 2 ? 32 : 4;
    // Units of the mantissa: the bit below the fraction is half of its last bit.
    const T tie = T(T{1} << (8 * sizeof(T) - e::fraction_bits - 1));
    const T odd_tie = T(3 * tie);
    struct {
        const char *what;
        int sgn, exp;
        T mnt;
        int rm, mode;
        T result;
        unsigned flags;
    } const rows[] = {
        {"exact denormal", 0, 0, 0, 0, 0, T(e::normal / 2), 0},
        {"denormal up to normal", 0, 0, all_ones, 0, 0, e::normal, UFC | IXC},
        {"the same flushed first", 1, 0, all_ones, 0, flush, e::minus, UFC},
        {"exact denormal flushed", 0, -3, 0, 0, flush, 0, UFC},
        {"other format's flush bit", 0, 0, 0, 0, flush ^ 36, T(e::normal / 2), 0},
        {"halfway to the first denormal", 0, -e::fraction_bits, 0, 0, 0, 0, UFC | IXC},
        {"just above it", 0, -e::fraction_bits, 1, 0, 0, 1, UFC | IXC},
        {"far below, up", 0, -4000, 0, up, 0, 1, UFC | IXC},
        {"far below, down", 1, -4000, 0, down, 0, e::minus | 1, UFC | IXC},
        {"far below, to zero", 1, -4000, 0, up, 0, e::minus, UFC | IXC},
        {"tie to even", 0, e::bias, tie, 0, 0, p<T>(1), IXC},
        {"odd tie to even", 0, e::bias, odd_tie, 0, 0, T(p<T>(1) + 2), IXC},
        {"above a tie", 0, e::bias, T(tie + 1), 0, 0, T(p<T>(1) + 1), IXC},
        {"below a tie", 0, e::bias, T(odd_tie - 1), 0, 0, T(p<T>(1) + 1), IXC},
        {"carry into the exponent", 1, e::bias, all_ones, 0, 0, p<T>(-2), IXC},
        {"away from zero by the sign", 1, e::bias, 1, down, 0, T(p<T>(-1) + 1), IXC},
        {"towards zero by the sign", 0, e::bias, all_ones, down, 0, T(p<T>(2) - 1), IXC},
        {"overflow by the carry", 0, last, all_ones, 0, 0, e::inf, OFC | IXC},
        {"none towards zero", 0, last, all_ones, zero, 0, e::max, IXC},
        {"overflow by the exponent", 1, last + 1, 0, down, 0, e::minus_inf, OFC | IXC},
        {"the other direction", 1, last + 1, 0, up, 0, e::minus | e::max, OFC | IXC},
        {"towards zero", 0, 100000, 0, zero, 0, e::max, OFC | IXC},
    };
    for (const auto &r : rows) {
        int flags = 0;
        EXPECT_EQ(round_pattern<T>(r.sgn, r.exp, r.mnt, r.rm, r.mode, &flags), r.result) << r.what;
        EXPECT_EQ(flags, static_cast<int>(r.flags)) << r.what;
    }

    // To odd: only what is inexact changes, and nothing becomes infinite.
    int flags = 0;
    EXPECT_EQ(round_pattern<T>(0, e::bias, 0, odd, 0, &flags), p<T>(1));
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(round_pattern<T>(1, e::bias, 1, odd, 0, &flags), p<T>(-1) + 1);
    EXPECT_EQ(round_pattern<T>(0, e::bias, odd_tie, odd, 0, &flags), p<T>(1) + 1);
    EXPECT_EQ(flags, static_cast<int>(IXC));
    EXPECT_EQ(round_pattern<T>(0, last + 1, 0, odd, 0, &flags), e::max);
}

TEST(FPLibHalf, AlternativeFormatHasNoInfinity) {
    const int mode = fplib::mode_AHP;
    int flags = 0;
    EXPECT_EQ(fplib::fp16_round_(0, 31, 0, 0, mode, &flags), 0x7c00);
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(fplib::fp16_round_(1, 31, 0xfff0, 0, mode, &flags), 0xffff);
    EXPECT_EQ(flags, static_cast<int>(IOC));
    flags = 0;
    EXPECT_EQ(fplib::fp16_round_(0, 32, 1, 0, mode, &flags), 0x7fff);
    EXPECT_EQ(flags, static_cast<int>(IOC));
}

// --- NaNs. ---

TYPED_TEST(FPLib, NaNsOfTwoOperands) {
    using T = TypeParam;
    using e = ends<T>;
    const T quiet1 = e::minus | e::nan | 1, quiet2 = e::nan | 2;
    const T signal1 = e::minus_inf | 3, signal2 = e::inf | 4;
    const T quieted1 = signal1 | e::quiet, quieted2 = signal2 | e::quiet;
    for (const auto operation : {FPAdd<T>, FPSub<T>, FPMul<T>, FPMulX<T>, FPDiv<T>, FPMax<T>,
                                 FPMin<T>, FPMaxNum<T>, FPMinNum<T>}) {
        check<T, T, T>({
            {"first quiet", operation, {quiet1, quiet2}, quiet1},
            {"first signalling", operation, {signal1, signal2}, quieted1, IOC},
            {"signalling before quiet", operation, {quiet1, signal2}, quieted2, IOC},
            {"signalling in front", operation, {signal1, quiet2}, quieted1, IOC},
            {"signalling beside infinity", operation, {e::inf, signal1}, quieted1, IOC},
            {"default", operation, {quiet1, quiet2}, e::nan, 0, DN},
            {"default for signalling", operation, {p<T>(1), signal1}, e::nan, IOC, DN},
            {"beside a flushed one",
             operation,
             {e::tiny, signal1},
             quieted1,
             IOC | e::flushed,
             e::flush},
        });
    }
    for (const auto operation :
         {FPAdd<T>, FPSub<T>, FPMul<T>, FPMulX<T>, FPDiv<T>, FPMax<T>, FPMin<T>}) {
        check<T, T, T>({
            {"quiet second", operation, {p<T>(1), quiet1}, quiet1},
            {"quiet beside infinity", operation, {quiet2, e::inf}, quiet2},
        });
    }
}

TYPED_TEST(FPLib, NaNsOfMultiplyAdd) {
    using T = TypeParam;
    using e = ends<T>;
    const T quiet = e::minus | e::nan | 1, signalling = e::inf | 3;
    const T quieted = signalling | e::quiet;
    check<T, T, T, T>({
        {"addend first", FPMulAdd, {quiet, e::nan, p<T>(1)}, quiet},
        {"then op1", FPMulAdd, {p<T>(1), quiet, e::nan}, quiet},
        {"then op2", FPMulAdd, {p<T>(1), p<T>(0), quiet}, quiet},
        {"signalling op2 first", FPMulAdd, {quiet, quiet, signalling}, quieted, IOC},
        {"signalling op1", FPMulAdd, {p<T>(1), signalling, quiet}, quieted, IOC},
        {"invalid product", FPMulAdd, {quiet, e::inf, p<T>(-0.0)}, e::nan, IOC},
        {"the other way round", FPMulAdd, {quiet, p<T>(0), e::inf}, e::nan, IOC},
        {"flushed to it", FPMulAdd, {quiet, e::tiny, e::inf}, e::nan, IOC | e::flushed, e::flush},
        {"signalling wins against it", FPMulAdd, {signalling, e::inf, p<T>(0)}, quieted, IOC},
        {"valid infinite product", FPMulAdd, {quiet, e::inf, p<T>(2)}, quiet},
    });
}

// --- Arithmetic. ---

TYPED_TEST(FPLib, Sums) {
    using T = TypeParam;
    using e = ends<T>;
    const T tiny = e::tiny, minus_tiny = e::minus | tiny;
    for (const unsigned mode : {to_even, to_plus, to_minus, to_zero}) {
        const T zero = mode == to_minus ? e::minus : 0;
        check<T, T, T>({
            {"cancellation", FPAdd, {p<T>(1), p<T>(-1)}, zero, 0, mode},
            {"cancellation of denormals", FPSub, {tiny, tiny}, zero, 0, mode},
            {"unlike zeros", FPAdd, {p<T>(-0.0), p<T>(0)}, zero, 0, mode},
            {"plus zeros", FPAdd, {p<T>(0), p<T>(0)}, p<T>(0), 0, mode},
            {"minus zeros", FPSub, {p<T>(-0.0), p<T>(0)}, p<T>(-0.0), 0, mode},
            {"zero and the least", FPAdd, {p<T>(0), tiny}, tiny, 0, mode},
            {"the least and minus zero", FPSub, {tiny, p<T>(0)}, tiny, 0, mode},
        });
        check<T, T, T, T>({
            {"fused cancellation", FPMulAdd, {p<T>(-6), p<T>(2), p<T>(3)}, zero, 0, mode},
            {"fused like zeros", FPMulAdd, {p<T>(-0.0), p<T>(0), p<T>(-3)}, p<T>(-0.0), 0, mode},
            {"fused unlike zeros", FPMulAdd, {p<T>(0), p<T>(0), p<T>(-3)}, zero, 0, mode},
            {"zero product", FPMulAdd, {tiny, p<T>(0), p<T>(-3)}, tiny, 0, mode},
            {"zero addend", FPMulAdd, {p<T>(-0.0), tiny, p<T>(3)}, 3, 0, mode},
        });
    }
    const double u = std::ldexp(1, -e::fraction_bits); // the last bit of 1
    const double half_of_last = std::ldexp(1, e::bias - e::fraction_bits - 1); // of the largest
    check<T, T, T>({
        {"infinities", FPAdd, {e::inf, e::inf}, e::inf},
        {"against each other", FPSub, {e::inf, e::inf}, e::nan, IOC},
        {"infinity and a number", FPSub, {p<T>(1), e::inf}, e::minus_inf},
        {"into the normals", FPAdd, {e::max_tiny, tiny}, e::normal},
        {"out of the normals", FPSub, {e::normal, tiny}, e::max_tiny},
        {"out of them, flushed", FPSub, {e::normal + 1, e::normal}, 0, UFC, e::flush},
        {"denormal operand flushed", FPAdd, {p<T>(1), tiny}, p<T>(1), e::flushed, e::flush},
        {"other format's flush bit", FPAdd, {tiny, tiny}, 2, 0, e::flush ^ FZ16 ^ FZ},
        {"neighbours", FPSub, {p<T>(2), p<T>(2) - 1}, p<T>(u)},
        {"sticky only", FPSub, {p<T>(1), tiny}, p<T>(1) - 1, IXC, to_zero},
        {"sticky only, to nearest", FPSub, {p<T>(1), tiny}, p<T>(1), IXC},
        {"sticky only, up", FPAdd, {p<T>(1), tiny}, p<T>(1) + 1, IXC, to_plus},
        {"tie to even", FPAdd, {p<T>(1), p<T>(u / 2)}, p<T>(1), IXC},
        {"odd tie to even", FPSub, {p<T>(1) + 1, p<T>(-u / 2)}, p<T>(1) + 2, IXC},
        {"above a tie", FPAdd, {p<T>(1), p<T>(u / 2) + 1}, p<T>(1) + 1, IXC},
        {"overflow", FPAdd, {e::max, e::max}, e::inf, OFC | IXC},
        {"overflow by a tie", FPAdd, {e::max, p<T>(half_of_last)}, e::inf, OFC | IXC},
        {"overflow held back", FPAdd, {e::max, tiny}, e::max, IXC},
        {"largest by direction", FPAdd, {e::max, tiny}, e::inf, OFC | IXC, to_plus},
    });
    // (1 + u)^2 - (1 + 2u) = u^2, which no rounded product has.
    const T square = sizeof(T) == 2 ? T(16) : p<T>(u * u);
    check<T, T, T, T>({
        {"one rounding", FPMulAdd, {p<T>(-1 - 2 * u), p<T>(1 + u), p<T>(1 + u)}, square},
        {"opposite infinities", FPMulAdd, {e::inf, p<T>(-1), e::inf}, e::nan, IOC},
        {"infinite addend", FPMulAdd, {e::inf, p<T>(-1), e::max}, e::inf},
        {"infinite product", FPMulAdd, {p<T>(1), p<T>(-1), e::inf}, e::minus_inf},
        {"small product", FPMulAdd, {p<T>(1), e::normal, p<T>(-1)}, p<T>(1), IXC},
        {"small addend", FPMulAdd, {e::normal, p<T>(1), p<T>(-1)}, p<T>(-1), IXC},
        {"tiny product, down", FPMulAdd, {p<T>(1), tiny, minus_tiny}, p<T>(1) - 1, IXC, to_minus},
        {"beyond the range and back", FPMulAdd, {e::minus | e::max, e::max, p<T>(2)}, e::max},
    });
}

TYPED_TEST(FPLib, ProductsQuotientsRoots) {
    using T = TypeParam;
    using e = ends<T>;
    const T tiny = e::tiny, minus_tiny = e::minus | tiny;
    check<T, T, T>({
        {"infinity times zero", FPMul, {e::inf, p<T>(-0.0)}, e::nan, IOC},
        {"extended", FPMulX, {p<T>(-0.0), e::inf}, p<T>(-2)},
        {"flushed", FPMulX, {e::minus_inf, minus_tiny}, p<T>(2), e::flushed, e::flush},
        {"extended ordinary", FPMulX, {e::minus_inf, p<T>(3)}, e::minus_inf},
        {"signs of zeros", FPMul, {p<T>(-0.0), p<T>(3)}, p<T>(-0.0)},
        {"denormal by a number", FPMul, {tiny, p<T>(3)}, 3},
        {"halfway to the least", FPMul, {tiny, p<T>(0.5)}, 0, UFC | IXC},
        {"more than halfway", FPMul, {3, p<T>(0.25)}, tiny, UFC | IXC},
        {"rounds to normal, still tiny", FPMul, {e::max_tiny, p<T>(1) + 1}, e::normal, UFC | IXC},
        {"overflow", FPMul, {e::max, p<T>(-2)}, e::minus | e::max, OFC | IXC, to_zero},
        {"0 / 0", FPDiv, {p<T>(0), p<T>(-0.0)}, e::nan, IOC},
        {"infinity / infinity", FPDiv, {e::inf, e::minus_inf}, e::nan, IOC},
        {"number / 0", FPDiv, {p<T>(1), p<T>(-0.0)}, e::minus_inf, DZC},
        {"infinity / 0", FPDiv, {e::inf, p<T>(-0.0)}, e::minus_inf},
        {"0 / infinity", FPDiv, {p<T>(-0.0), e::inf}, p<T>(-0.0)},
        {"flushed / 0", FPDiv, {tiny, p<T>(0)}, e::nan, IOC | e::flushed, e::flush},
        {"number / flushed", FPDiv, {p<T>(-1), tiny}, e::minus_inf, DZC | e::flushed, e::flush},
        {"exact", FPDiv, {p<T>(-6), p<T>(3)}, p<T>(-2)},
        {"of denormals", FPDiv, {6, 3}, p<T>(2)},
        {"tie", FPDiv, {3, p<T>(2)}, 2, UFC | IXC},
        {"just above a tie", FPDiv, {p<T>(1), p<T>(1) - 1}, p<T>(1) + 1, IXC},
    });
    // A number with as many bits as the format, and its square plus 7 without the lower half, which
    // is zeros: the root is above the number by so little that only the remainder tells.
    const int bits = e::fraction_bits + 1;
    const T number = sizeof(T) == 2 ? 0x74b : sizeof(T) == 4 ? 0xe73f4b : 0x1b44'9c63'673f'4b;
    const T above = sizeof(T) == 2 ? 0x6a6 : sizeof(T) == 4 ? 0xd0e349 : 0x173c'5b03'60fb'ff;
    const T root = p<T>(std::ldexp(number, 1 - bits)), square = p<T>(std::ldexp(above, 2 - bits));
    check<T, T>({
        {"exact root", FPSqrt, {p<T>(4)}, p<T>(2)},
        {"exact root, odd exponent", FPSqrt, {p<T>(2.25)}, p<T>(1.5)},
        {"just above a number", FPSqrt, {square}, root, IXC},
        {"just above a number, up", FPSqrt, {square}, root + 1, IXC, to_plus},
        {"minus zero", FPSqrt, {p<T>(-0.0)}, p<T>(-0.0)},
        {"negative", FPSqrt, {p<T>(-1)}, e::nan, IOC},
        {"minus infinity", FPSqrt, {e::minus_inf}, e::nan, IOC},
        {"infinity", FPSqrt, {e::inf}, e::inf},
        {"negative denormal", FPSqrt, {minus_tiny}, e::nan, IOC},
        {"negative denormal flushed", FPSqrt, {minus_tiny}, p<T>(-0.0), e::flushed, e::flush},
        {"negative quiet NaN", FPSqrt, {e::minus | e::nan}, e::minus | e::nan},
        {"just below one", FPSqrt, {p<T>(1) - 1}, p<T>(1) - 1, IXC},
        {"just below one, up", FPSqrt, {p<T>(1) - 1}, p<T>(1), IXC, to_plus},
        {"just above one", FPSqrt, {p<T>(1) + 1}, p<T>(1), IXC},
        {"just below four", FPSqrt, {p<T>(4) - 1}, p<T>(2) - 1, IXC, to_zero},
    });
}

TEST(FPLibDouble, Thirds) {
    check<dbl, dbl, dbl>({
        {"1/3", FPDiv, {p<dbl>(1), p<dbl>(3)}, 0x3fd5555555555555, IXC},
        {"1/3 up", FPDiv, {p<dbl>(1), p<dbl>(3)}, 0x3fd5555555555556, IXC, to_plus},
        {"-1/3 up", FPDiv, {p<dbl>(-1), p<dbl>(3)}, 0xbfd5555555555555, IXC, to_plus},
    });
    check<dbl, dbl>({{"square root of 2", FPSqrt, {p<dbl>(2)}, 0x3ff6a09e667f3bcd, IXC}});
}

TYPED_TEST(FPLib, SignsOfAnything) {
    using T = TypeParam;
    using e = ends<T>;
    const T signalling = e::inf | 1;
    EXPECT_EQ(FPNeg(signalling), e::minus | signalling);
    EXPECT_EQ(FPNeg(p<T>(-0.0)), 0u);
    EXPECT_EQ(FPAbs(T(e::minus | signalling)), signalling);
    EXPECT_EQ(FPAbs(p<T>(-1.5)), p<T>(1.5));
}

// Only the flags are written, whatever else the word holds, and they stay.
TYPED_TEST(FPLib, OtherBitsOfTheWord) {
    using T = TypeParam;
    for (const unsigned word : {0xf877'ff60u, 0xf877'ff60u | DZC | IDC}) {
        FPSCR fpscr{word};
        EXPECT_EQ(FPAdd(p<T>(1), ends<T>::tiny, fpscr), p<T>(1) + 1); // towards plus
        EXPECT_EQ(fpscr.word, word | IXC);
    }
}

} // namespace
