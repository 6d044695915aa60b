#include "fplib_rows.h"

#include <limits>
#include <type_traits>

namespace {

template <typename D, typename S>
D convert(S op, FPRounding rounding, FPSCR &fpscr) {
    return FPConvert<D>(op, rounding, fpscr);
}

TEST(FPLibConvert, Narrowing) {
    check<half, single, FPRounding>({
        {"to infinity", convert, {p<single>(65520), even}, 0x7c00, OFC | IXC},
        {"to the largest", convert, {p<single>(65519), even}, 0x7bff, IXC},
        {"to odd", convert, {p<single>(65520), odd}, 0x7bff, IXC},
        {"to odd, a denormal", convert, {0x33000001, odd}, 1, UFC | IXC},
        {"alternative", convert, {p<single>(65520), even}, 0x7c00, IXC, AHP},
        {"its largest", convert, {p<single>(-131008), even}, 0xffff, 0, AHP},
        {"beyond it", convert, {p<single>(131072), zero}, 0x7fff, IOC, AHP},
        {"infinity", convert, {0xff80'0000, even}, 0xfc00},
        {"infinity, alternative", convert, {0xff80'0000, even}, 0xffff, IOC, AHP},
        {"signalling", convert, {0xff80'5fff, even}, 0xfe02, IOC},
        {"quiet", convert, {0x7fff'e000, even}, 0x7fff},
        {"default", convert, {0xffff'e000, even}, 0x7e00, 0, DN},
        {"NaN, alternative", convert, {0xffc0'0000, even}, 0x8000, IOC, AHP | DN},
        {"to a denormal", convert, {p<single>(0x1p-24), even}, 1, 0, FZ16 | FZ},
        {"below the least", convert, {p<single>(-0x1p-25), even}, 0x8000, UFC | IXC},
        {"a denormal", convert, {1, up}, 1, UFC | IXC},
        {"a denormal flushed", convert, {0x8000'0001, down}, 0x8000, IDC, FZ},
        {"RMode has no say", convert, {p<single>(2049), even}, p<half>(2048), IXC, to_plus},
    });
    check<single, dbl, FPRounding>({
        {"sticky", convert, {0x3ff0'0000'1000'0001, even}, 0x3f80'0001, IXC},
        {"tie", convert, {0x3ff0'0000'1000'0000, even}, 0x3f80'0000, IXC},
        {"to odd", convert, {0x3ff0'0000'0000'0001, odd}, 0x3f80'0001, IXC},
        {"overflow", convert, {0xffef'ffff'ffff'ffff, down}, 0xff80'0000, OFC | IXC},
        {"flushed result", convert, {p<dbl>(-0x1p-130), even}, 0x8000'0000, UFC, FZ},
        {"not by the other bit", convert, {p<dbl>(0x1p-130), even}, 0x0008'0000, 0, FZ16},
        {"payload", convert, {0xfff0'0000'3fff'ffff, even}, 0xffc0'0001, IOC},
    });
    check<half, dbl, FPRounding>({
        {"sticky", convert, {0x3ff0'0200'0000'0001, even}, 0x3c01, IXC},
        {"a denormal", convert, {0x8000'0000'0000'0001, down}, 0x8001, UFC | IXC},
        {"payload", convert, {0x7ff7'ffff'ffff'ffff, even}, 0x7fff, IOC},
    });
}

// Every half: as the compiler's own type has it, and back again without a loss.
TEST(FPLibConvert, WideningIsExact) {
    for (unsigned x = 0; x < 0x10000; x++) {
        const half h = static_cast<half>(x);
        FPSCR fpscr;
        const auto wide = FPConvert<single>(h, even, fpscr);
        const auto wider = FPConvert<dbl>(h, even, fpscr);
        if ((x & 0x7fff) > 0x7c00) {
            EXPECT_EQ(wide, (x & 0x8000) << 16 | 0x7fc0'0000 | (x & 0x1ff) << 13);
            EXPECT_EQ(fpscr.word, x & 0x200 ? 0 : IOC);
            continue;
        }
        const auto value = static_cast<double>(std::bit_cast<float16>(h));
        ASSERT_EQ(wide, p<single>(value)) << std::hex << x;
        ASSERT_EQ(wider, p<dbl>(value)) << std::hex << x;
        ASSERT_EQ(FPConvert<dbl>(wide, even, fpscr), wider) << std::hex << x;
        ASSERT_EQ(FPConvert<half>(wide, even, fpscr), h);
        ASSERT_EQ(FPConvert<half>(wider, even, fpscr), h);
        ASSERT_EQ(fpscr.word, 0u) << std::hex << x;

        FPSCR alternative{AHP};
        const double large = std::ldexp(1024 + (x & 0x3ff), 6);
        if ((x & 0x7c00) == 0x7c00) {
            ASSERT_EQ(FPConvert<single>(h, even, alternative),
                      p<single>(x & 0x8000 ? -large : large));
        }
        ASSERT_EQ(alternative.word, AHP);
    }
    check<single, half, FPRounding>({
        {"NaN of the alternative", convert, {0x7fff, zero}, p<single>(131008), 0, AHP},
        {"flushed", convert, {0x8001, zero}, 0x8000'0000, 0, FZ16},
    });
    check<dbl, single, FPRounding>({
        {"flushed", convert, {0x8000'0001, zero}, 1ul << 63, IDC, FZ},
        {"denormal", convert, {0x8000'0001, zero}, p<dbl>(-0x1p-149), 0, FZ16},
        {"default", convert, {0xff80'0001, zero}, 0x7ff8'0000'0000'0000, IOC, DN},
    });
}

template <typename U, typename T>
U to_integer(T op, int fbits, bool unsigned_, FPRounding rounding, FPSCR &fpscr) {
    return fplibFPToFixed<U>(op, fbits, unsigned_, rounding, fpscr);
}

TEST(FPLibConvert, ToIntegers) {
    check<unsigned, single, int, bool, FPRounding>({
        {"2^31", to_integer, {p<single>(0x1p31), 0, false, zero}, 0x7fff'ffff, IOC},
        {"-2^31", to_integer, {p<single>(-0x1p31), 0, false, zero}, 0x8000'0000},
        {"0.5", to_integer, {p<single>(0.5), 0, false, zero}, 0, IXC},
        {"-3", to_integer, {p<single>(-3), 0, false, zero}, -3u},
        {"-3.5", to_integer, {p<single>(-3.5), 0, false, zero}, -3u, IXC},
        {"NaN", to_integer, {0xffc0'0000, 0, false, zero}, 0, IOC, DN},
        {"-0.5 unsigned", to_integer, {p<single>(-0.5), 0, true, zero}, 0, IXC},
        {"-0.5 unsigned, down", to_integer, {p<single>(-0.5), 0, true, down}, 0, IOC},
        {"-1 unsigned", to_integer, {p<single>(-1), 0, true, zero}, 0, IOC},
        {"-0 unsigned", to_integer, {p<single>(-0.0), 0, true, zero}, 0},
        {"denormal, up", to_integer, {1, 0, false, up}, 1, IXC},
        {"denormal flushed", to_integer, {1, 0, false, up}, 0, IDC, FZ},
        {"fraction bits", to_integer, {p<single>(-2.75), 2, false, zero}, -11u},
        {"2^100", to_integer, {p<single>(0x1p100), 0, true, zero}, ~0u, IOC},
    });
    struct {
        double value;
        int even, up, down, away;
    } const roundings[] = {{2.5, 2, 3, 2, 3},  {3.5, 4, 4, 3, 4},       {-2.5, -2, -2, -3, -3},
                           {2.25, 2, 3, 2, 2}, {-2.75, -3, -2, -3, -3}, {-0.5, 0, 0, -1, -1},
                           {0.75, 1, 1, 0, 1}};
    for (const auto &r : roundings) {
        const dbl x = p<dbl>(r.value);
        check<dbl, dbl, int, bool, FPRounding>({
            {"to even", to_integer, {x, 0, false, even}, dbl(r.even), IXC},
            {"up", to_integer, {x, 0, false, up}, dbl(r.up), IXC},
            {"down", to_integer, {x, 0, false, down}, dbl(r.down), IXC},
            {"away", to_integer, {x, 0, false, away}, dbl(r.away), IXC},
        });
    }
    // Out of range only after rounding, and inexact only if not out of range.
    check<unsigned, dbl, int, bool, FPRounding>({
        {"past the end", to_integer, {p<dbl>(2147483647.5), 0, false, even}, 0x7fff'ffff, IOC},
        {"stays", to_integer, {p<dbl>(2147483647.5), 0, false, zero}, 0x7fff'ffff, IXC},
        {"below the least", to_integer, {p<dbl>(-2147483648.5), 0, false, zero}, 0x8000'0000, IXC},
        {"unsigned end", to_integer, {p<dbl>(4294967295.5), 0, true, zero}, ~0u, IXC},
        {"past it", to_integer, {p<dbl>(4294967295.5), 0, true, away}, ~0u, IOC},
    });
    check<dbl, dbl, int, bool, FPRounding>({
        {"2^63", to_integer, {p<dbl>(0x1p63), 0, false, zero}, ~0ul >> 1, IOC},
        {"-2^63", to_integer, {p<dbl>(-0x1p63), 0, false, zero}, 1ul << 63},
        {"2^63 unsigned", to_integer, {p<dbl>(0x1p63), 0, true, zero}, 1ul << 63},
        {"-1 unsigned", to_integer, {p<dbl>(-1), 0, true, zero}, 0, IOC},
        {"2^64 unsigned", to_integer, {p<dbl>(0x1p64), 0, true, zero}, ~0ul, IOC},
        {"-infinity", to_integer, {~0ul << 52, 0, false, zero}, 1ul << 63, IOC},
    });
    check<half, half, int, bool, FPRounding>({
        {"largest half", to_integer, {0x7bff, 0, true, zero}, 65504},
        {"signed", to_integer, {0x7bff, 0, false, zero}, 0x7fff, IOC},
        {"infinity", to_integer, {0x7c00, 0, true, zero}, 0xffff, IOC},
        {"-infinity", to_integer, {0xfc00, 0, true, zero}, 0, IOC},
        {"flushed", to_integer, {1, 0, true, up}, 0, 0, FZ16},
    });
}

TEST(FPLibConvert, FromIntegers) {
    check<single, dbl, int, bool, FPRounding>({
        {"-1", fplibFixedToFP, {~0ul, 0, false, even}, p<single>(-1)},
        {"2^64 - 1", fplibFixedToFP, {~0ul, 0, true, even}, 0x5f80'0000, IXC},
        {"the same down", fplibFixedToFP, {~0ul, 0, true, zero}, 0x5f7f'ffff, IXC},
        {"least", fplibFixedToFP, {1ul << 63, 0, false, even}, p<single>(-0x1p63)},
        {"zero", fplibFixedToFP, {0, 0, false, down}, 0},
        {"fraction bits", fplibFixedToFP, {5, 2, false, even}, p<single>(1.25)},
        {"sticky", fplibFixedToFP, {0x100'0001'0001, 0, true, even}, p<single>(0x1.000002p40), IXC},
    });
    check<half, dbl, int, bool, FPRounding>({
        {"overflow", fplibFixedToFP, {65536, 0, true, even}, 0x7c00, OFC | IXC},
        {"towards zero", fplibFixedToFP, {65536, 0, true, zero}, 0x7bff, OFC | IXC},
        {"denormals stay", fplibFixedToFP, {1, 24, true, even}, 1, 0, FZ16 | FZ},
        {"AHP has no say", fplibFixedToFP, {65536, 0, true, even}, 0x7c00, OFC | IXC, AHP},
    });
}

TYPED_TEST(FPLib, RoundToIntegral) {
    using T = TypeParam;
    using e = ends<T>;
    struct {
        double value, even, up, down, zero, away;
    } const rows[] = {
        {0.5, 0, 1, 0, 0, 1},
        {-0.5, -0.0, -0.0, -1, -0.0, -1},
        {1.5, 2, 2, 1, 1, 2},
        {2.5, 2, 3, 2, 2, 3},
        {-2.5, -2, -2, -3, -2, -3},
        {-0.25, -0.0, -0.0, -1, -0.0, -0.0},
        {0.75, 1, 1, 0, 0, 1},
        {1023.5, 1024, 1024, 1023, 1023, 1024},
        {-511.75, -512, -511, -512, -511, -512},
    };
    for (const auto &r : rows) {
        const T x = p<T>(r.value);
        check<T, T, FPRounding, bool>({
            {"to even", FPRoundInt, {x, even, false}, p<T>(r.even)},
            {"up", FPRoundInt, {x, up, true}, p<T>(r.up), IXC},
            {"down", FPRoundInt, {x, down, false}, p<T>(r.down)},
            {"to zero", FPRoundInt, {x, zero, true}, p<T>(r.zero), IXC},
            {"away", FPRoundInt, {x, away, false}, p<T>(r.away)},
        });
    }
    const double integral = std::ldexp(1, e::fraction_bits); // from here on all numbers are
    const T last = p<T>(integral - 0.5);
    check<T, T, FPRounding, bool>({
        {"integral", FPRoundInt, {p<T>(-3), up, true}, p<T>(-3)},
        {"last half", FPRoundInt, {last, even, true}, p<T>(integral), IXC},
        {"largest", FPRoundInt, {e::max, up, true}, e::max},
        {"infinity", FPRoundInt, {e::inf, zero, true}, e::inf},
        {"minus zero", FPRoundInt, {e::minus, up, true}, e::minus},
        {"denormal", FPRoundInt, {e::tiny, up, true}, p<T>(1), IXC},
        {"flushed", FPRoundInt, {e::minus | e::tiny, down, true}, e::minus, e::flushed, e::flush},
        {"signalling", FPRoundInt, {e::inf | 1, zero, false}, e::nan | 1, IOC},
    });
}

template <typename T>
T scale(T op, std::make_signed_t<T> by, FPSCR &fpscr) {
    if constexpr (sizeof(T) == 2)
        return FPScale16(op, by, fpscr);
    else if constexpr (sizeof(T) == 4)
        return FPScale32(op, by, fpscr);
    else
        return FPScale64(op, by, fpscr);
}

template <typename T>
T process(T op, FPSCR &fpscr) {
    if constexpr (sizeof(T) == 2)
        return FPProcess16(op, fpscr);
    else if constexpr (sizeof(T) == 4)
        return FPProcess32(op, fpscr);
    else
        return FPProcess64(op, fpscr);
}

TYPED_TEST(FPLib, ScaleAndProcess) {
    using T = TypeParam;
    using S = std::make_signed_t<T>;
    using e = ends<T>;
    const S most = std::numeric_limits<S>::max(), least = std::numeric_limits<S>::min();
    const S range = static_cast<S>(2 * e::bias + e::fraction_bits - 1);
    const T quiet = e::minus | e::nan | 1;
    check<T, T, S>({
        {"by one", scale<T>, {p<T>(-1.5), S{1}}, p<T>(-3)},
        {"to a denormal", scale<T>, {e::normal, S{-1}}, e::normal / 2},
        {"the same flushed", scale<T>, {e::normal, S{-1}}, 0, UFC, e::flush},
        {"a denormal", scale<T>, {e::tiny, S{1}}, 2},
        {"through the whole range", scale<T>, {e::tiny, range}, p<T>(std::ldexp(1, e::bias))},
        {"past the end", scale<T>, {e::tiny, most}, e::inf, OFC | IXC},
        {"past the other", scale<T>, {e::minus | e::max, least}, e::minus | 1, UFC | IXC, to_minus},
        {"zero", scale<T>, {e::minus, most}, e::minus},
        {"infinity", scale<T>, {e::inf, least}, e::inf},
    });
    check<T, T>({
        {"a number", process<T>, {p<T>(-1.5)}, p<T>(-1.5), 0, to_plus},
        {"largest", process<T>, {e::max}, e::max},
        {"denormal", process<T>, {e::tiny}, e::tiny},
        {"flushed", process<T>, {e::minus | e::tiny}, e::minus, e::flushed, e::flush},
        {"infinity", process<T>, {e::minus_inf}, e::minus_inf},
        {"quiet", process<T>, {quiet}, quiet},
        {"default", process<T>, {quiet}, e::nan, 0, DN},
        {"signalling", process<T>, {e::inf | 1}, e::nan | 1, IOC},
    });
}

} // namespace
