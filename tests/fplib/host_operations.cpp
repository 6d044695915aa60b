// The library beside the x86-64 host's own floating-point unit where it has the operation in single and
// double, and beside exact arithmetic for half and for the rest.

#include "tests/fplib/exact.h"
#include "tests/fplib/operation.h"

#include <concepts>
#include <cstdio>
#include <initializer_list>
#include <limits>

namespace fp_comparison {

namespace {

// ---- What the architecture does around every operation ------------------------------------------------

template <class T>
bool flushes(uint32_t word) {
    return word & (std::same_as<T, h> ? FPSCR::FZ16 : FPSCR::FZ);
}

// A denormal operand in flush mode is a zero of its sign, told in single and double.
template <class T>
T flushed(uint64_t x, uint32_t &word) {
    const auto operand = static_cast<T>(x);
    if (!denormal(operand) || !flushes<T>(word))
        return operand;
    if (!std::same_as<T, h>)
        word |= FPSCR::IDC;
    return with_sign<T>(negative(operand), 0);
}

template <class T>
outcome invalid(uint32_t word) {
    return {layout_of<T>::default_nan, word | FPSCR::IOC};
}

// The result of operands of which one is a NaN: the first signalling one, else the first.
template <class T>
outcome nan_result(std::initializer_list<T> operands, uint32_t word) {
    T chosen = 0;
    for (const T x : operands)
        if (nan(x) && (!nan(chosen) || (quiet_nan(chosen) && !quiet_nan(x))))
            chosen = x;
    if (!quiet_nan(chosen))
        word |= FPSCR::IOC;
    return {word & FPSCR::DN ? layout_of<T>::default_nan : chosen | layout_of<T>::quiet, word};
}

// ---- The host's unit ------------------------------------------------------------------------------------

template <class T>
using host_float = std::conditional_t<std::same_as<T, s>, float, double>;

enum : uint32_t { mxcsr_IE = 1, mxcsr_ZE = 4, mxcsr_OE = 8, mxcsr_PE = 32, mxcsr_masks = 0x1f80 };

constexpr uint32_t mxcsr_of(unsigned rounding) {
    constexpr uint32_t field[] = {0, 2, 1, 3}; // nearest, up, down, to zero
    return mxcsr_masks | field[rounding] << 13;
}

// Instructions that make %[r] of %[a], %[b] and %[c] with a control word, and add what they raise to it.
#define HOST(R, T, instructions)                                                                   \
    [](T a, [[maybe_unused]] T b, [[maybe_unused]] T c, uint32_t &mxcsr) {                         \
        const auto x = std::bit_cast<host_float<T>>(a), y = std::bit_cast<host_float<T>>(b),       \
                   z = std::bit_cast<host_float<T>>(c);                                            \
        host_float<R> r;                                                                           \
        const uint32_t usual = mxcsr_masks;                                                        \
        asm volatile("ldmxcsr %[mxcsr]\n\t" instructions                                           \
                     "\n\tstmxcsr %[mxcsr]\n\tldmxcsr %[usual]"                                    \
                     : [r] "=&x"(r), [mxcsr] "+m"(mxcsr)                                           \
                     : [a] "x"(x), [b] "x"(y), [c] "x"(z), [i] "r"(a), [usual] "m"(usual));        \
        return std::bit_cast<R>(r);                                                                \
    }

// Instructions that round. The host detects underflow after rounding and the architecture before, so that
// the host's flag isn't used: the exact result is below the smallest normal number if what it is rounded to
// towards zero is, and isn't an exact zero. That also tells what flush mode flushes; the host's own flush
// mode decides after rounding, too, and isn't used.
template <class R, class T, auto instructions>
outcome rounded_by_host(T a, T b, T c, uint32_t word) {
    uint32_t raised = mxcsr_of(rounding_of(word)), raised_towards_zero = mxcsr_of(FPRounding_ZERO);
    const R result = instructions(a, b, c, raised);
    const R towards_zero = instructions(a, b, c, raised_towards_zero);
    if (nan(result))
        return invalid<R>(word);
    const bool inexact = raised & mxcsr_PE;
    const bool tiny = magnitude(towards_zero) < layout_of<R>::min_normal &&
                      (magnitude(towards_zero) != 0 || inexact);
    if (tiny && flushes<R>(word))
        return {with_sign<R>(negative(result), 0), word | FPSCR::UFC};
    word |= (raised & mxcsr_ZE ? FPSCR::DZC : 0) | (raised & mxcsr_OE ? FPSCR::OFC : 0) |
            (tiny && inexact ? FPSCR::UFC : 0) | (inexact ? FPSCR::IXC : 0);
    return {result, word};
}

template <class T, auto instructions>
outcome unary_by_host(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word);
    return nan(a) ? nan_result({a}, word) : rounded_by_host<T, T, instructions>(a, a, a, word);
}

template <class T, auto instructions, bool extended = false>
outcome binary_by_host(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word), b = flushed<T>(x.b, word);
    if (nan(a) || nan(b))
        return nan_result({a, b}, word);
    outcome result = rounded_by_host<T, T, instructions>(a, b, b, word);
    if (extended && nan(static_cast<T>(result.result))) // infinity times zero is 2
        result = {with_sign<T>(negative(a) != negative(b), from_double<T>(2)), word};
    return result;
}

// Infinity times zero. A quiet NaN as addend doesn't hide it; the host isn't asked about NaNs.
template <class T>
bool invalid_product(T a, T b) {
    return (magnitude(a) == 0 || magnitude(b) == 0) &&
           magnitude(a) + magnitude(b) == layout_of<T>::infinity;
}

template <class T, auto instructions>
outcome multiply_add_by_host(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word), b = flushed<T>(x.b, word), c = flushed<T>(x.c, word);
    if (quiet_nan(a) && invalid_product(b, c))
        return invalid<T>(word);
    if (nan(a) || nan(b) || nan(c))
        return nan_result({a, b, c}, word);
    return rounded_by_host<T, T, instructions>(a, b, c, word);
}

// Comparisons have NaNs right, and give ones or zero.
template <class T, auto instructions>
outcome compared_by_host(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word), b = flushed<T>(x.b, word);
    uint32_t raised = mxcsr_masks;
    const bool result = instructions(a, b, b, raised) != 0;
    return {result, word | (raised & mxcsr_IE ? FPSCR::IOC : 0)};
}

template <class R, class T, auto instructions>
outcome converted_by_host(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word);
    if (!nan(a))
        return rounded_by_host<R, T, instructions>(a, a, a, word);
    uint32_t raised = mxcsr_masks;
    const R result = instructions(a, a, a, raised); // made quiet, with sign and payload
    return {word & FPSCR::DN ? layout_of<R>::default_nan : result,
            word | (raised & mxcsr_IE ? FPSCR::IOC : 0)};
}

template <class T, auto instructions>
outcome from_integer_by_host(const operands &x, uint32_t word) {
    uint32_t raised = mxcsr_of(rounding_of(word));
    const T result = instructions(x.a, 0, 0, raised);
    return {result, word | (raised & mxcsr_PE ? FPSCR::IXC : 0)};
}

// A double of magnitude below 2^63 to an integer.
struct integer {
    long value;
    bool inexact;
};
integer to_integer_by_host(double x, unsigned rounding) {
    const bool away = rounding == FPRounding_TIEAWAY;
    uint32_t mxcsr = mxcsr_of(away ? unsigned{FPRounding_ZERO} : rounding);
    const uint32_t usual = mxcsr_masks;
    long value;
    asm volatile(
        "ldmxcsr %[mxcsr]\n\tcvtsd2si %[x], %[value]\n\tstmxcsr %[mxcsr]\n\tldmxcsr %[usual]"
        : [value] "=r"(value), [mxcsr] "+m"(mxcsr)
        : [x] "x"(x), [usual] "m"(usual));
    if (away && std::fabs(x - static_cast<double>(value)) >= 0.5)
        value += x < 0 ? -1 : 1;
    return {value, (mxcsr & mxcsr_PE) != 0};
}

// ---- Half, exactly ------------------------------------------------------------------------------------

// A half in units of its smallest denormal, 2^-24. Products count in 2^-48.
using int128 = __int128;
int128 units(h x) {
    const exact v = number(x);
    const auto size = static_cast<int128>(v.m << (v.e + 24));
    return v.negative ? -size : size;
}
exact from_units(int128 n, int e) {
    return {n < 0, static_cast<uint128>(n < 0 ? -n : n), e};
}
exact sum(h a, h b, h) {
    return from_units(units(a) + units(b), -24);
}
exact difference(h a, h b, h) {
    return from_units(units(a) - units(b), -24);
}
exact product(h a, h b, h) {
    return from_units(units(a) * units(b), -48);
}
exact quotient(h a, h b, h) {
    const auto n = static_cast<uint128>(number(a).m) << 64, m = number(b).m;
    return {negative(a) != negative(b), n / m, number(a).e - number(b).e - 64, n % m != 0};
}
exact root(h a, h, h) {
    const auto n = static_cast<uint128>(units(a)) << 40;
    auto r = static_cast<uint128>(std::sqrt(static_cast<double>(n)));
    while (r * r > n)
        r--;
    while ((r + 1) * (r + 1) <= n)
        r++;
    return {false, r, -32, r * r != n};
}
exact fused(h a, h b, h c) {
    return from_units((units(a) << 24) + units(b) * units(c), -48);
}
exact reciprocal_step(h a, h b, h) {
    return from_units((int128{2} << 48) - units(a) * units(b), -48);
}
exact root_step(h a, h b, h) {
    return from_units((int128{3} << 48) - units(a) * units(b), -49);
}

// The same as a sum of two doubles, for what is infinite, invalid or zero. They hold sums and products of
// halves exactly; of other results it only matters that they aren't zero.
struct terms {
    double x, y;
};
terms alone(double x) {
    return {x, std::copysign(0.0, x)};
}
terms sum_terms(double a, double b, double) {
    return {a, b};
}
terms difference_terms(double a, double b, double) {
    return {a, -b};
}
terms product_terms(double a, double b, double) {
    return alone(a * b);
}
terms extended_product_terms(double a, double b, double) {
    return alone(std::isnan(a * b) ? std::copysign(2, a) * std::copysign(1, b) : a * b);
}
terms quotient_terms(double a, double b, double) {
    return alone(a / b);
}
terms root_terms(double a, double, double) {
    return alone(std::sqrt(a));
}
terms fused_terms(double a, double b, double c) {
    return {a, b * c};
}
terms reciprocal_step_terms(double a, double b, double) {
    return std::isnan(a * b) ? alone(2) : terms{2, -(a * b)};
}
terms root_step_terms(double a, double b, double) {
    return std::isnan(a * b) ? alone(1.5) : terms{1.5, -(a * b) / 2};
}

// NaN processing sees the first operand negated if `negates`.
template <unsigned count, exact (*exactly)(h, h, h), terms (*doubles)(double, double, double),
          bool negates = false>
outcome half_exactly(const operands &x, uint32_t word) {
    const h a = flushed<h>(x.a, word);
    const h b = count > 1 ? flushed<h>(x.b, word) : h{0},
            c = count > 2 ? flushed<h>(x.c, word) : h{0};
    if (count > 2 && quiet_nan(a) && invalid_product(b, c))
        return invalid<h>(word);
    if (nan(a) || nan(b) || nan(c))
        return nan_result({negates ? static_cast<h>(a ^ 0x8000) : a, b, c}, word);
    const auto [first, second] = doubles(as_double(a), as_double(b), as_double(c));
    const double result = first + second;
    const bool all_finite = finite(a) && finite(b) && finite(c);
    if (std::isnan(result))
        return invalid<h>(word);
    if (std::isinf(result) || (!all_finite && result != 0))
        return {from_double<h>(result), word | (all_finite ? FPSCR::DZC : 0)};
    if (result == 0) { // zeros of one sign, or cancellation
        const bool minus = std::signbit(first) == std::signbit(second)
                               ? std::signbit(first)
                               : rounding_of(word) == FPRounding_NEGINF;
        return {with_sign<h>(minus, 0), word};
    }
    const h rounded = round<h>(exactly(a, b, c), rounding_of(word), flushes<h>(word), false, word);
    return {rounded, word};
}

// ---- Every format -------------------------------------------------------------------------------------

template <class T, bool maximum, bool numbers_win>
outcome extreme(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word), b = flushed<T>(x.b, word);
    if (numbers_win && quiet_nan(a) && !nan(b))
        return {b, word};
    if (numbers_win && quiet_nan(b) && !nan(a))
        return {a, word};
    if (nan(a) || nan(b))
        return nan_result({a, b}, word);
    const double va = as_double(a), vb = as_double(b);
    const bool first_is_less = va < vb || (va == vb && std::signbit(va));
    return {first_is_less == maximum ? b : a, word};
}

// The architecture's flags of a comparison, or whether they are those of a relation.
enum relation { as_flags, equal, greater_equal, greater, unordered };
template <class T, relation wanted, bool signal_nans>
outcome order(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word), b = flushed<T>(x.b, word);
    const bool signalling = (nan(a) && !quiet_nan(a)) || (nan(b) && !quiet_nan(b));
    int flags = 3;
    if (nan(a) || nan(b)) {
        word |= signalling || signal_nans ? FPSCR::IOC : 0;
    } else {
        const double va = as_double(a), vb = as_double(b);
        flags = va == vb ? 6 : va < vb ? 8 : 2;
    }
    switch (wanted) {
    case equal:
        return {flags == 6, word};
    case greater_equal:
        return {flags == 6 || flags == 2, word};
    case greater:
        return {flags == 2, word};
    case unordered:
        return {flags == 3, word};
    default:
        return {static_cast<uint64_t>(flags), word};
    }
}

template <class T>
outcome integral(const operands &x, uint32_t word) { // a pattern, a mode, whether to tell
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return nan_result({a}, word);
    const double v = as_double(a);
    if (std::fabs(v) >= 0x1p52)
        return {a, word};
    const integer result = to_integer_by_host(v, static_cast<unsigned>(x.b));
    return {from_double<T>(std::copysign(static_cast<double>(result.value), v)),
            word | (x.c && result.inexact ? FPSCR::IXC : 0)};
}

template <class R, class T>
outcome converted(const operands &x, uint32_t word) { // a pattern, a mode
    const bool from_alternative = std::same_as<T, h> && word & FPSCR::AHP;
    const bool to_alternative = std::same_as<R, h> && word & FPSCR::AHP;
    const T a = flushed<T>(x.a, word);
    if (!finite(a) && !from_alternative) {
        if (to_alternative)
            return {with_sign<R>(negative(a), nan(a) ? 0 : layout_of<R>::sign - 1),
                    word | FPSCR::IOC};
        if (!nan(a))
            return {with_sign<R>(negative(a), layout_of<R>::infinity), word};
        if (!quiet_nan(a))
            word |= FPSCR::IOC;
        if (word & FPSCR::DN)
            return {layout_of<R>::default_nan, word};
        const d payload =
            x.a << (64 - layout_of<T>::fraction_bits) >> (64 - layout_of<R>::fraction_bits);
        return {with_sign<R>(negative(a), layout_of<R>::default_nan | payload), word};
    }
    const bool flush = flushes<R>(word) && !std::same_as<R, h>;
    const R result = round<R>(number(a), static_cast<unsigned>(x.b), flush, to_alternative, word);
    return {result, word};
}

template <class I, class T>
outcome fixed(const operands &x, uint32_t word) { // a pattern, a mode, fraction bits
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return {0, word | FPSCR::IOC};
    const double v = std::ldexp(as_double(a), static_cast<int>(x.c));
    integer result = {0, false};
    int128 value;
    if (std::fabs(v) >= 0x1p65)
        value = v < 0 ? -(int128{1} << 65) : int128{1} << 65;
    else if (std::fabs(v) >= 0x1p62)
        value = static_cast<int128>(v);
    else
        value = (result = to_integer_by_host(v, static_cast<unsigned>(x.b))).value;
    using limits = std::numeric_limits<I>;
    const auto pattern = [](I i) { return uint64_t{static_cast<std::make_unsigned_t<I>>(i)}; };
    if (value < limits::min())
        return {pattern(limits::min()), word | FPSCR::IOC};
    if (value > limits::max())
        return {pattern(limits::max()), word | FPSCR::IOC};
    return {pattern(static_cast<I>(value)), word | (result.inexact ? FPSCR::IXC : 0)};
}

template <class T, class I>
outcome rounded_from_fixed(const operands &x, uint32_t word) { // an integer, a mode, fraction bits
    exact v = from_units(static_cast<I>(x.a), -static_cast<int>(x.c));
    v.negative = v.negative && v.m != 0;
    const bool flush = flushes<T>(word) && !std::same_as<T, h>;
    const T result = round<T>(v, static_cast<unsigned>(x.b), flush, false, word);
    return {result, word};
}

template <class T, class S>
outcome scaled(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return nan_result({a}, word);
    if (!finite(a))
        return {a, word};
    exact v = number(a);
    v.e += static_cast<int>(std::clamp<long>(static_cast<S>(x.b), -9999, 9999));
    const T result = round<T>(v, rounding_of(word), flushes<T>(word), false, word);
    return {result, word};
}

// The published estimates of the reciprocal, of numbers from 1/2 up to 1, and of the reciprocal square root,
// from 1/4.
double estimated_reciprocal(double a) {
    const double middle = (std::floor(a * 512) + 0.5) / 512;
    return std::floor(256 / middle + 0.5) / 256;
}
double estimated_root_reciprocal(double a) {
    const double scale = a < 0.5 ? 512 : 256;
    const double middle = (std::floor(a * scale) + 0.5) / scale;
    return std::floor(256 / std::sqrt(middle) + 0.5) / 256;
}

template <class T>
outcome estimate(const operands &x, uint32_t word) {
    using f = layout_of<T>;
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return nan_result({a}, word);
    if (!finite(a))
        return {with_sign<T>(negative(a), 0), word};
    if (magnitude(a) == 0)
        return {with_sign<T>(negative(a), f::infinity), word | FPSCR::DZC};
    const double v = as_double(a);
    if (std::fabs(v) < std::ldexp(1, -f::bias - 1)) { // overflows
        const T result = round<T>({negative(a), 1, 9999}, rounding_of(word), false, false, word);
        return {result, word};
    }
    if (flushes<T>(word) && std::fabs(v) >= std::ldexp(1, f::bias - 1))
        return {with_sign<T>(negative(a), 0), word | FPSCR::UFC};
    int exponent;
    const double mantissa = std::frexp(std::fabs(v), &exponent);
    const double result = std::ldexp(estimated_reciprocal(mantissa), -exponent);
    return {from_double<T>(std::copysign(result, v)), word};
}

template <class T>
outcome root_estimate(const operands &x, uint32_t word) {
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return nan_result({a}, word);
    if (magnitude(a) == 0)
        return {with_sign<T>(negative(a), layout_of<T>::infinity), word | FPSCR::DZC};
    if (negative(a))
        return invalid<T>(word);
    if (!finite(a))
        return {0, word};
    int exponent;
    double mantissa = std::frexp(as_double(a), &exponent);
    if (exponent % 2 != 0) {
        mantissa /= 2;
        exponent++;
    }
    return {from_double<T>(std::ldexp(estimated_root_reciprocal(mantissa), -exponent / 2)), word};
}

template <class T>
outcome reciprocal_exponent(const operands &x, uint32_t word) {
    using f = layout_of<T>;
    const T a = flushed<T>(x.a, word);
    if (nan(a))
        return nan_result({a}, word);
    if (magnitude(a) < f::min_normal)
        return {with_sign<T>(negative(a), f::infinity - f::min_normal), word};
    return {with_sign<T>(negative(a), ~magnitude(a) & f::infinity), word};
}

template <class T>
outcome exponential(const operands &x, uint32_t word) {
    using f = layout_of<T>;
    constexpr int index_bits = std::same_as<T, h> ? 5 : 6;
    const long double power =
        exp2l(static_cast<long double>(x.a % (1 << index_bits)) / (1 << index_bits));
    const auto fraction = static_cast<d>(llrintl(ldexpl(power - 1, f::fraction_bits)));
    return {(x.a >> index_bits << f::fraction_bits & f::infinity) | fraction, word};
}

// The estimates of fixed-point numbers, by integers: `a` is the number in 1/512.
outcome fixed_estimate(const operands &x, uint32_t word) {
    const d a = x.a >> 23;
    return {a < 256 ? 0xffff'ffff : ((1 << 19) / (2 * a + 1) + 1) / 2 << 23, word};
}
outcome fixed_root_estimate(const operands &x, uint32_t word) {
    const d a = x.a >> 23;
    if (a < 128)
        return {0xffff'ffff, word};
    const d middle = a < 256 ? 2 * a + 1 : 2 * (a | 1); // of the interval, doubled
    d b = 512;
    while (middle * (b + 1) * (b + 1) < 1 << 28)
        b++;
    return {(b + 1) / 2 << 23, word};
}

// ---- Functions of the library with what isn't a pattern as operands, too ---------------------------------

template <class T, bool signal_nans>
int flags_of_compare(T a, T b, FPSCR &fpscr) {
    return FPCompare(a, b, signal_nans, fpscr);
}
template <class T>
T round_to_integral(T a, d mode, d exact, FPSCR &fpscr) {
    return FPRoundInt(a, static_cast<FPRounding>(mode), exact != 0, fpscr);
}
template <class R, class T>
R convert(T a, d mode, FPSCR &fpscr) {
    return FPConvert<R>(a, static_cast<FPRounding>(mode), fpscr);
}
template <class R, class T>
R convert_in_mode_of_word(T a, FPSCR &fpscr) {
    return FPConvert<R>(a, FPRoundingMode(fpscr), fpscr);
}
template <class I, class T>
auto to_fixed(T a, d mode, d fbits, FPSCR &fpscr) {
    using pattern = std::make_unsigned_t<I>;
    return fplibFPToFixed<pattern>(a, static_cast<int>(fbits), std::unsigned_integral<I>,
                                   static_cast<FPRounding>(mode), fpscr);
}
template <class T, class I>
T from_fixed(d a, d mode, d fbits, FPSCR &fpscr) {
    return fplibFixedToFP<T>(a, static_cast<int>(fbits), std::unsigned_integral<I>,
                             static_cast<FPRounding>(mode), fpscr);
}
template <class T>
T from_long_in_mode_of_word(d a, FPSCR &fpscr) {
    return fplibFixedToFP<T>(a, 0, false, FPRoundingMode(fpscr), fpscr);
}
template <class T>
T trigonometric_step(T a, T b, d index, FPSCR &fpscr) {
    return FPTRIMADD(index, a, b, fpscr);
}

using uint = unsigned;
using ulong = unsigned long;
using ushort = unsigned short;

// ---- Operations -----------------------------------------------------------------------------------------

#define HALF_SINGLE_DOUBLE(LINE, ...)                                                              \
    LINE(h, __VA_ARGS__), LINE(s, __VA_ARGS__), LINE(d, __VA_ARGS__)
#define SINGLE_DOUBLE(LINE, ...) LINE(s, __VA_ARGS__), LINE(d, __VA_ARGS__)

#define HALF(function, kinds, ...)                                                                 \
    compared(#function " h", kinds, library<function<h>>,                                          \
             half_exactly<sizeof(kinds) - 1, __VA_ARGS__>)
#define UNARY(T, function, instruction)                                                            \
    compared(#function " " #T, #T, library<function<T>>,                                           \
             unary_by_host<T, HOST(T, T, instruction "s" #T " %[a], %[r]")>)
#define BINARY(T, function, extended, instruction)                                                 \
    compared(                                                                                      \
        #function " " #T, #T #T, library<function<T>>,                                             \
        binary_by_host<T,                                                                          \
                       HOST(T, T, "movap" #T " %[a], %[r]\n\t" instruction "s" #T " %[b], %[r]"),  \
                       extended>)
#define MULTIPLY_ADD(T, function, instruction)                                                     \
    compared(                                                                                      \
        #function " " #T, #T #T #T, library<function<T>>,                                          \
        multiply_add_by_host<                                                                      \
            T, HOST(T, T, "movap" #T " %[a], %[r]\n\t" instruction "s" #T " %[c], %[b], %[r]")>)
#define COMPARE(T, function, relation, x, y)                                                       \
    compared(                                                                                      \
        #function " " #T " by host", #T #T, library<function<T>>,                                  \
        compared_by_host<                                                                          \
            T, HOST(T, T, "movap" #T " %[" x "], %[r]\n\tcmp" relation "s" #T " %[" y "], %[r]")>)
#define CONVERT_BY_HOST(R, T)                                                                      \
    compared("FPConvert " #R " " #T " by host", #T, library<convert_in_mode_of_word<R, T>>,        \
             converted_by_host<R, T, HOST(R, T, "cvts" #T "2s" #R " %[a], %[r]")>)
#define FROM_LONG_BY_HOST(T)                                                                       \
    compared("fplibFixedToFP " #T " long by host", "x", library<from_long_in_mode_of_word<T>>,     \
             from_integer_by_host<T, HOST(T, d, "cvtsi2s" #T "q %[i], %[r]")>)
#define WITH(T, kinds, function, ...)                                                              \
    compared(#function " " #T, kinds, library<function<T>>, __VA_ARGS__)
#define SAME_FORMAT(T, function, reference) WITH(T, #T, function, reference<T>)
#define ORDER(T, function, wanted, signal_nans)                                                    \
    WITH(T, #T #T, function, order<T, wanted, signal_nans>)
#define EXTREME(T, function, maximum, numbers_win)                                                 \
    WITH(T, #T #T, function, extreme<T, maximum, numbers_win>)
#define ORDER_FLAGS(T, signal_nans)                                                                \
    compared("FPCompare " #T " " #signal_nans, #T #T, library<flags_of_compare<T, signal_nans>>,   \
             order<T, as_flags, signal_nans>)
#define ROUND(T, kinds)                                                                            \
    compared("FPRoundInt " #T, #T kinds, library<round_to_integral<T>>, integral<T>)
#define CONVERT(R, T, modes)                                                                       \
    compared("FPConvert " #R " " #T, #T modes, library<convert<R, T>>, converted<R, T>)
#define TO_FIXED(T, I)                                                                             \
    compared("fplibFPToFixed " #I " " #T, #T "Rf", library<to_fixed<I, T>>, fixed<I, T>)
#define FROM_FIXED(T, I)                                                                           \
    compared("fplibFixedToFP " #T " " #I, "xrf", library<from_fixed<T, I>>,                        \
             rounded_from_fixed<T, I>)
#define SCALE(T, function, kinds, S) compared(#function, kinds, library<function>, scaled<T, S>)
#define ONLY_RUN(T, function) WITH(T, #T, function, nullptr)
#define ONLY_RUN_BINARY(T, function) WITH(T, #T #T, function, nullptr)
#define TRIGONOMETRIC_STEP(T, kinds)                                                               \
    compared("FPTRIMADD " #T, #T #T kinds, library<trigonometric_step<T>>, nullptr)

const operation all_operations[] = {
    HALF(FPAdd, "hh", sum, sum_terms),
    HALF(FPSub, "hh", difference, difference_terms),
    HALF(FPMul, "hh", product, product_terms),
    HALF(FPMulX, "hh", product, extended_product_terms),
    HALF(FPDiv, "hh", quotient, quotient_terms),
    HALF(FPSqrt, "h", root, root_terms),
    HALF(FPMulAdd, "hhh", fused, fused_terms),
    HALF(FPRecipStepFused, "hh", reciprocal_step, reciprocal_step_terms, true),
    HALF(FPRSqrtStepFused, "hh", root_step, root_step_terms, true),
    SINGLE_DOUBLE(BINARY, FPAdd, false, "add"),
    SINGLE_DOUBLE(BINARY, FPSub, false, "sub"),
    SINGLE_DOUBLE(BINARY, FPMul, false, "mul"),
    SINGLE_DOUBLE(BINARY, FPMulX, true, "mul"),
    SINGLE_DOUBLE(BINARY, FPDiv, false, "div"),
    SINGLE_DOUBLE(UNARY, FPSqrt, "sqrt"),
    SINGLE_DOUBLE(ONLY_RUN_BINARY, FPRecipStepFused),
    SINGLE_DOUBLE(ONLY_RUN_BINARY, FPRSqrtStepFused),

    SINGLE_DOUBLE(COMPARE, FPCompareEQ, "eq", "a", "b"),
    SINGLE_DOUBLE(COMPARE, FPCompareGE, "le", "b", "a"),
    SINGLE_DOUBLE(COMPARE, FPCompareGT, "lt", "b", "a"),
    SINGLE_DOUBLE(COMPARE, FPCompareUN, "unord", "a", "b"),
    HALF_SINGLE_DOUBLE(ORDER, FPCompareEQ, equal, false),
    HALF_SINGLE_DOUBLE(ORDER, FPCompareGE, greater_equal, true),
    HALF_SINGLE_DOUBLE(ORDER, FPCompareGT, greater, true),
    HALF_SINGLE_DOUBLE(ORDER, FPCompareUN, unordered, false),
    SINGLE_DOUBLE(ORDER_FLAGS, false),
    SINGLE_DOUBLE(ORDER_FLAGS, true),
    HALF_SINGLE_DOUBLE(EXTREME, FPMax, true, false),
    HALF_SINGLE_DOUBLE(EXTREME, FPMin, false, false),
    HALF_SINGLE_DOUBLE(EXTREME, FPMaxNum, true, true),
    HALF_SINGLE_DOUBLE(EXTREME, FPMinNum, false, true),

    CONVERT_BY_HOST(d, s),
    CONVERT_BY_HOST(s, d),
    CONVERT(s, h, "r"),
    CONVERT(d, h, "r"),
    CONVERT(d, s, "r"),
    CONVERT(h, s, "o"),
    CONVERT(h, d, "o"),
    CONVERT(s, d, "o"),
    HALF_SINGLE_DOUBLE(ROUND, "Re"),
    TO_FIXED(h, short),
    TO_FIXED(h, ushort),
    HALF_SINGLE_DOUBLE(TO_FIXED, int),
    HALF_SINGLE_DOUBLE(TO_FIXED, uint),
    HALF_SINGLE_DOUBLE(TO_FIXED, long),
    HALF_SINGLE_DOUBLE(TO_FIXED, ulong),
    FROM_LONG_BY_HOST(s),
    FROM_LONG_BY_HOST(d),
    HALF_SINGLE_DOUBLE(FROM_FIXED, long),
    HALF_SINGLE_DOUBLE(FROM_FIXED, ulong),
    SCALE(h, FPScale16, "hi", short),
    SCALE(s, FPScale32, "sw", int),
    SCALE(d, FPScale64, "dx", long),
    SCALE(h, FPProcess16, "h", short),
    SCALE(s, FPProcess32, "s", int),
    SCALE(d, FPProcess64, "d", long),

    HALF_SINGLE_DOUBLE(SAME_FORMAT, FPRecipEstimate, estimate),
    HALF_SINGLE_DOUBLE(SAME_FORMAT, FPRSqrtEstimate, root_estimate),
    HALF_SINGLE_DOUBLE(SAME_FORMAT, FPRecpX, reciprocal_exponent),
    {"UnsignedRecipEstimate", "w", library<[](d a) { return UnsignedRecipEstimate(a, 0); }>,
     fixed_estimate},
    {"UnsignedRSqrtEstimate", "w", library<[](d a) { return UnsignedRSqrtEstimate(a, 0); }>,
     fixed_root_estimate},
    HALF_SINGLE_DOUBLE(SAME_FORMAT, FPEXPA, exponential),
    HALF_SINGLE_DOUBLE(ONLY_RUN_BINARY, FPTRISMUL),
    HALF_SINGLE_DOUBLE(TRIGONOMETRIC_STEP, "t"),
    HALF_SINGLE_DOUBLE(ONLY_RUN, FPAbs),
    HALF_SINGLE_DOUBLE(ONLY_RUN, FPNeg),
};

const operation multiply_add_operations[] = {
    SINGLE_DOUBLE(MULTIPLY_ADD, FPMulAdd, "vfmadd231"),
};

} // namespace

std::vector<operation> operations() {
    std::vector<operation> all(std::begin(all_operations), std::end(all_operations));
    if (__builtin_cpu_supports("fma"))
        all.insert(all.end(), std::begin(multiply_add_operations),
                   std::end(multiply_add_operations));
    else
        fputs("fplib_comparison: the host has no multiply-add: FPMulAdd left out\n", stderr);
    return all;
}

} // namespace fp_comparison
