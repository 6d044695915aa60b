#include "fplib_rows.h"

namespace {

TYPED_TEST(FPLib, EstimatesOfSpecialValues) {
    using T = TypeParam;
    using e = ends<T>;
    const T bound = e::normal / 4; // the smallest whose inverse is in range
    const T large = p<T>(std::ldexp(1, e::bias - 1)), huge = p<T>(std::ldexp(1, e::bias));
    const T minus_tiny = e::minus | 1;
    check<T, T>({
        {"of 1", FPRecipEstimate, {p<T>(1)}, p<T>(0x1.ffp-1)},
        {"of -2", FPRecipEstimate, {p<T>(-2)}, p<T>(-0x1.ffp-2)},
        {"of infinity", FPRecipEstimate, {e::minus_inf}, e::minus},
        {"of zero", FPRecipEstimate, {e::minus}, e::minus_inf, DZC},
        {"of a flushed one", FPRecipEstimate, {1}, e::inf, DZC | e::flushed, e::flush},
        {"in range", FPRecipEstimate, {bound}, p<T>(std::ldexp(0x1.ffp0, e::bias))},
        {"too small", FPRecipEstimate, {bound - 1}, e::inf, OFC | IXC},
        {"towards zero", FPRecipEstimate, {bound - 1}, e::max, OFC | IXC, to_zero},
        {"towards plus", FPRecipEstimate, {minus_tiny}, e::minus | e::max, OFC | IXC, to_plus},
        {"towards minus", FPRecipEstimate, {minus_tiny}, e::minus_inf, OFC | IXC, to_minus},
        {"large", FPRecipEstimate, {large}, T{511} << (e::fraction_bits - 9)},
        {"largest", FPRecipEstimate, {e::max}, T{256} << (e::fraction_bits - 10)},
        {"large flushed", FPRecipEstimate, {large}, 0, UFC, e::flush},
        {"below it", FPRecipEstimate, {large - 1}, T{256} << (e::fraction_bits - 8), 0, e::flush},
        {"root of 1", FPRSqrtEstimate, {p<T>(1)}, p<T>(0x1.ffp-1)},
        {"root of 4", FPRSqrtEstimate, {p<T>(4)}, p<T>(0x1.ffp-2)},
        {"root of infinity", FPRSqrtEstimate, {e::inf}, 0},
        {"root of minus zero", FPRSqrtEstimate, {e::minus}, e::minus_inf, DZC},
        {"root of -1", FPRSqrtEstimate, {p<T>(-1)}, e::nan, IOC},
        {"root of -infinity", FPRSqrtEstimate, {e::minus_inf}, e::nan, IOC},
        {"of a flushed one",
         FPRSqrtEstimate,
         {minus_tiny},
         e::minus_inf,
         DZC | e::flushed,
         e::flush},
        {"exponent of 1", FPRecpX, {p<T>(1.75)}, p<T>(2)},
        {"exponent of zero", FPRecpX, {e::minus}, e::minus | huge},
        {"exponent of a denormal", FPRecpX, {3}, huge},
        {"exponent of a flushed one", FPRecpX, {3}, huge, e::flushed, e::flush},
        {"exponent of infinity", FPRecpX, {e::minus_inf}, e::minus},
        {"exponent of the largest", FPRecpX, {e::max}, e::normal},
        {"exponent of a NaN", FPRecpX, {e::inf | 1}, e::nan, IOC, DN},
    });
}

// Over all mantissas and both parities of the exponent, against the rule on real numbers.
TEST(FPLibEstimates, FollowTheRuleOnRealNumbers) {
    for (unsigned x = 0; x < 0x800; x++) {
        FPSCR fpscr;
        const half h = static_cast<half>(0x3800 + x); // 0.5 up to 2
        const double value = static_cast<double>(std::bit_cast<float16>(h));
        const bool below_one = x < 0x400;
        const double inverse = below_one ? recip_estimate(value) : recip_estimate(value / 2) / 2;
        ASSERT_EQ(FPRecipEstimate(h, fpscr), p<half>(inverse)) << value;
        const double root =
            below_one ? recip_sqrt_estimate(value) : recip_sqrt_estimate(value / 4) / 2;
        ASSERT_EQ(FPRSqrtEstimate(h, fpscr), p<half>(root)) << value;
        ASSERT_EQ(FPRSqrtEstimate(p<single>(value), fpscr), p<single>(root)) << value;
        ASSERT_EQ(FPRSqrtEstimate(p<dbl>(value), fpscr), p<dbl>(root)) << value;
        ASSERT_EQ(fpscr.word, 0u);
    }
    // The published table of root estimates, first and last entries: exponents odd, then even.
    const std::vector<unsigned> first = {255, 253, 251, 249, 247, 245, 243, 242};
    const std::vector<unsigned> last = {2, 1, 1, 0};
    FPSCR fpscr;
    for (unsigned i = 0; i < first.size(); i++)
        EXPECT_EQ(FPRSqrtEstimate(0x3f80'0000u + (i << 16), fpscr) >> 15 & 255, first[i]);
    for (unsigned i = 0; i < last.size(); i++)
        EXPECT_EQ(FPRSqrtEstimate(0x3f00'0000u + ((124 + i) << 16), fpscr) >> 15 & 255, last[i]);
    // A denormal counts with the exponent that it would have as a normal number.
    EXPECT_EQ(FPRSqrtEstimate(half{1}, fpscr), p<half>(0x1.ffp11));
    EXPECT_EQ(FPRSqrtEstimate(half{2}, fpscr), p<half>(0x1.69p11));
}

TEST(FPLibEstimates, UnsignedFixedPoint) {
    EXPECT_EQ(UnsignedRecipEstimate(0x7fff'ffff, 32), 0xffff'ffffu);
    EXPECT_EQ(UnsignedRecipEstimate(0x8000'0000, 32), 0xff80'0000u); // 1 / 0.5
    EXPECT_EQ(UnsignedRecipEstimate(0xffff'ffff, 32), 0x8000'0000u);
    EXPECT_EQ(UnsignedRSqrtEstimate(0x3fff'ffff, 32), 0xffff'ffffu);
    EXPECT_EQ(UnsignedRSqrtEstimate(0x4000'0000, 32), 0xff80'0000u); // 1 / sqrt(0.25)
    EXPECT_EQ(UnsignedRSqrtEstimate(0x8000'0000, 32), 0xb480'0000u); // 1 / sqrt(0.5)
    EXPECT_EQ(UnsignedRSqrtEstimate(0xffff'ffff, 32), 0x8000'0000u);
}

TYPED_TEST(FPLib, StepFunctions) {
    using T = TypeParam;
    using e = ends<T>;
    const T signalling = e::inf | 1, quiet = e::nan | 2;
    const T tiny = e::tiny, minus_max = e::minus | e::max;
    check<T, T, T>({
        {"2 - 3 * 0.5", FPRecipStepFused, {p<T>(3), p<T>(0.5)}, p<T>(0.5)},
        {"(3 - 2 * 0.5) / 2", FPRSqrtStepFused, {p<T>(2), p<T>(0.5)}, p<T>(1)},
        {"infinity times zero", FPRecipStepFused, {e::inf, e::minus}, p<T>(2)},
        {"zero times infinity", FPRSqrtStepFused, {p<T>(0), e::minus_inf}, p<T>(1.5)},
        {"flushed times infinity", FPRecipStepFused, {tiny, e::inf}, p<T>(2), e::flushed, e::flush},
        {"infinity", FPRecipStepFused, {e::inf, p<T>(2)}, e::minus_inf},
        {"infinity, minus", FPRSqrtStepFused, {p<T>(-2), e::inf}, e::inf},
        {"first NaN inverted", FPRecipStepFused, {quiet, signalling}, e::nan | 1, IOC},
        {"signalling inverted", FPRSqrtStepFused, {signalling, quiet}, e::minus | e::nan | 1, IOC},
        {"quiet inverted", FPRecipStepFused, {quiet, e::inf}, e::minus | quiet},
        {"second as it is", FPRSqrtStepFused, {e::inf, quiet}, quiet},
        {"zero result", FPRecipStepFused, {p<T>(2), p<T>(1)}, p<T>(0)},
        {"zero result, down", FPRSqrtStepFused, {p<T>(3), p<T>(1)}, p<T>(-0.0), 0, to_minus},
        {"halved first", FPRSqrtStepFused, {minus_max, p<T>(1)}, e::max - e::normal, IXC},
        {"one rounding", FPRecipStepFused, {tiny, p<T>(1)}, p<T>(2) - 1, IXC, to_zero},
    });
}

TYPED_TEST(FPLib, PowersOfTwo) {
    using T = TypeParam;
    using e = ends<T>;
    const unsigned count = sizeof(T) == 2 ? 32 : 64;
    for (unsigned i = 0; i < count; i++) {
        // The host's power is good to some 60 bits, and none is as close to a tie.
        const long double fraction = std::exp2(static_cast<long double>(i) / count) - 1;
        const auto bits = T(std::rint(std::ldexp(fraction, e::fraction_bits)));
        EXPECT_EQ(FPEXPA(T(e::bias * count + i)), p<T>(1) + bits) << i;
    }
    EXPECT_EQ(FPEXPA(T(count * (2 * e::bias + 1))), e::inf);
    EXPECT_EQ(FPEXPA(T(~(count * (2 * e::bias + 2) - 1))), T{0});
}

// The use that the steps are made for: the polynomial from its last coefficient down, in x * x with
// the sign that asks for a cosine.
TYPED_TEST(FPLib, SineAndCosine) {
    using T = TypeParam;
    const double last_bit = std::ldexp(1, -ends<T>::fraction_bits);
    for (int step = -16; step <= 16; step++) {
        FPSCR fpscr;
        const double x = step * 0.0478515625; // 49 / 1024: up to a quarter of pi
        const T square_sine = FPTRISMUL(p<T>(x), T{0}, fpscr);
        const T square_cosine = FPTRISMUL(p<T>(x), T{1}, fpscr);
        T sine = 0, cosine = 0;
        for (unsigned long index = 8; index-- > 0;) {
            sine = FPTRIMADD(index, sine, square_sine, fpscr);
            cosine = FPTRIMADD(index, cosine, square_cosine, fpscr);
        }
        sine = FPMul(sine, p<T>(x), fpscr);
        EXPECT_NEAR(value(sine), std::sin(x), last_bit) << x;
        EXPECT_NEAR(value(cosine), std::cos(x), last_bit) << x;
    }
}

TEST(FPLibAccelerators, PublishedFractions) {
    const half halves[] = {0, 0x16, 0x2d, 0x45};
    const single singles[] = {0, 0x164d2, 0x2cd87, 0x43a29};
    const dbl doubles[] = {0, 0x2c9a3e778061, 0x59b0d3158574, 0x874518759bc8};
    for (unsigned i = 0; i < 4; i++) {
        EXPECT_EQ(FPEXPA(static_cast<half>(i)), halves[i]);
        EXPECT_EQ(FPEXPA(i), singles[i]);
        EXPECT_EQ(FPEXPA(dbl{i}), doubles[i]);
    }
}

TYPED_TEST(FPLib, AcceleratorSteps) {
    using T = TypeParam;
    using e = ends<T>;
    const T quiet = e::nan | 1;
    check<T, unsigned long, T, T>({
        {"sine", FPTRIMADD, {0, p<T>(2), p<T>(3)}, p<T>(7)},
        {"cosine", FPTRIMADD, {0, p<T>(2), p<T>(-3)}, p<T>(7)},
        {"cosine's second", FPTRIMADD, {1, p<T>(2), p<T>(-3)}, p<T>(5.5)},
        {"beyond the polynomial", FPTRIMADD, {7, p<T>(-2), p<T>(3)}, p<T>(-6)},
        {"NaN without its sign", FPTRIMADD, {0, p<T>(1), e::minus | quiet}, quiet},
        {"infinity times zero", FPTRIMADD, {0, e::inf, e::minus}, e::nan, IOC},
    });
    const T signed_bit = T(e::inf | 1); // no more than bit 0 is looked at
    check<T, T, T>({
        {"negative square", FPTRISMUL, {p<T>(-3), signed_bit}, p<T>(-9)},
        {"positive square", FPTRISMUL, {p<T>(-3), e::minus | 2}, p<T>(9)},
        {"infinity", FPTRISMUL, {e::minus_inf, 1}, e::minus_inf},
        {"zero", FPTRISMUL, {p<T>(0), 1}, p<T>(-0.0)},
        {"overflow", FPTRISMUL, {e::max, 1}, e::minus | e::max, OFC | IXC, to_zero},
        {"NaN as it is", FPTRISMUL, {quiet, 1}, quiet},
        {"default NaN", FPTRISMUL, {e::inf | 1, 1}, e::nan, IOC, DN},
    });
}

} // namespace
