// The library beside the AArch64 processor's own instructions.

#include "tests/fplib/operation.h"

#include <concepts>
#include <cstdio>
#include <sys/auxv.h>

namespace fp_comparison {

namespace {

// ---- The processor ---------------------------------------------------------------------------------

// A computation by instructions between setting and reading FPCR and FPSR. They have the operands in vector
// registers [a], [b] and [c], the first also in [i], and leave the result in vector register [r] or in [n].
#define PROCESSOR(instructions)                                                                    \
    [](const operands &x, uint32_t word) {                                                         \
        uint64_t r = 0, n = 0, status;                                                             \
        asm volatile("msr fpcr, %[control]\n\tmsr fpsr, %[before]\n\t" instructions                \
                     "\n\tmrs %[status], fpsr\n\tmsr fpcr, xzr"                                    \
                     : [r] "+&w"(r), [n] "+&r"(n), [status] "=&r"(status)                          \
                     : [a] "w"(x.a), [b] "w"(x.b), [c] "w"(x.c), [i] "r"(x.a),                     \
                       [control] "r"(uint64_t{word & control_bits}),                               \
                       [before] "r"(uint64_t{word & flag_bits})                                    \
                     : "cc", "v30", "v31");                                                        \
        return outcome{r | n, (word & ~flag_bits) | (static_cast<uint32_t>(status) & flag_bits)};  \
    }

// SVE on one element, between moves that leave the other elements zero: they raise nothing.
#define SVE_PROCESSOR(T, instruction)                                                              \
    PROCESSOR(                                                                                     \
        ".arch_extension sve\n\tptrue p0.d\n\tfmov d30, %d[a]\n\tfmov d31, %d[b]\n\t" instruction  \
        "\n\tfmov %" #T "[r], " #T "30")

// ---- Functions of the library as instructions use them -----------------------------------------------

// Only the magnitudes are compared.
template <class T, bool (*compare)(T, T, FPSCR &)>
bool of_magnitudes(T a, T b, FPSCR &fpscr) {
    return compare(FPAbs(a), FPAbs(b), fpscr);
}

template <class T, bool signal_nans>
int flags_of_compare(T a, T b, FPSCR &fpscr) {
    return FPCompare(a, b, signal_nans, fpscr);
}

// a + n * m with signs of the addend and of the product.
template <class T, bool negate_addend, bool negate_product>
T multiply_add(T addend, T n, T m, FPSCR &fpscr) {
    return FPMulAdd(negate_addend ? FPNeg(addend) : addend, negate_product ? FPNeg(n) : n, m,
                    fpscr);
}

constexpr FPRounding current = static_cast<FPRounding>(7); // the mode of the control word
constexpr FPRounding mode_or_current(FPRounding rounding, FPSCR fpscr) {
    return rounding == current ? FPRoundingMode(fpscr) : rounding;
}

template <class T, FPRounding rounding, bool exact>
T round_to_integral(T op, FPSCR &fpscr) {
    return FPRoundInt(op, mode_or_current(rounding, fpscr), exact, fpscr);
}

template <class D, class S, FPRounding rounding = current>
D convert(S op, FPSCR &fpscr) {
    return FPConvert<D>(op, mode_or_current(rounding, fpscr), fpscr);
}

// To the integer type I, or to I with fraction bits.
template <class I, class T, FPRounding rounding, int fbits = 0>
auto to_fixed(T op, FPSCR &fpscr) {
    using pattern = std::make_unsigned_t<I>;
    return fplibFPToFixed<pattern>(op, fbits, std::unsigned_integral<I>, rounding, fpscr);
}

template <class T, class I, int fbits = 0>
T from_fixed(I op, FPSCR &fpscr) {
    return fplibFixedToFP<T>(static_cast<d>(op), fbits, std::unsigned_integral<I>,
                             FPRoundingMode(fpscr), fpscr);
}

template <class T, unsigned index>
T trigonometric_step(T a, T b, FPSCR &fpscr) {
    return FPTRIMADD(index, a, b, fpscr);
}

// ---- Where the library's meaning isn't quite the instruction's ---------------------------------------

// The FCVT instructions don't look at FZ16. The library flushes a half operand under it, silently: what the
// processor makes of a zero then.
template <computation instruction>
outcome with_half_flushed(const operands &x, uint32_t word) {
    const bool flushed = word & FPSCR::FZ16 && !(x.a & 0x7c00);
    return instruction(flushed ? operands{x.a & 0x8000} : x, word);
}

// The library doesn't flush a half made from a fixed-point number, the processor does under FZ16.
template <class T, computation instruction>
outcome with_half_not_flushed(const operands &x, uint32_t word) {
    const uint32_t hidden = std::same_as<T, h> ? word & FPSCR::FZ16 : 0;
    outcome result = instruction(x, word & ~hidden);
    result.word |= hidden;
    return result;
}

// ---- Operations -----------------------------------------------------------------------------------

#define HALF_SINGLE_DOUBLE(LINE, ...)                                                              \
    LINE(h, __VA_ARGS__), LINE(s, __VA_ARGS__), LINE(d, __VA_ARGS__)

#define UNARY(T, function, name)                                                                   \
    compared(name " " #T, #T, library<function<T>>, PROCESSOR(name " %" #T "[r], %" #T "[a]"))
#define BINARY(T, function, name)                                                                  \
    compared(name " " #T, #T #T, library<function<T>>,                                             \
             PROCESSOR(name " %" #T "[r], %" #T "[a], %" #T "[b]"))
#define MULTIPLY_ADD(T, negate_addend, negate_product, name)                                       \
    compared(name " " #T, #T #T #T, library<multiply_add<T, negate_addend, negate_product>>,       \
             PROCESSOR(name " %" #T "[r], %" #T "[b], %" #T "[c], %" #T "[a]"))
// A comparison gives ones or zero in the whole register: one bit of it is enough.
#define COMPARE(T, name, ...)                                                                      \
    compared(                                                                                      \
        name " " #T, #T #T, library<__VA_ARGS__>,                                                  \
        PROCESSOR(                                                                                 \
            name                                                                                   \
            " %" #T "[r], %" #T "[a], %" #T                                                        \
            "[b]\n\tushr %d[r], %d[r], #15\n\tshl %d[r], %d[r], #63\n\tushr %d[r], %d[r], #63"))
#define COMPARE_NUMBERS(T, function, name) COMPARE(T, name, function<T>)
#define COMPARE_MAGNITUDES(T, function, name) COMPARE(T, name, of_magnitudes<T, function<T>>)
#define UNORDERED(T, function, name)                                                               \
    compared(name " vs " #T, #T #T, library<function<T>>,                                          \
             PROCESSOR(name " %" #T "[a], %" #T "[b]\n\tcset %w[n], vs"))
#define FLAGS_OF_COMPARE(T, signal_nans, name)                                                     \
    compared(name " " #T, #T #T, library<flags_of_compare<T, signal_nans>>,                        \
             PROCESSOR(name " %" #T "[a], %" #T "[b]\n\tmrs %[n], nzcv\n\tlsr %[n], %[n], #28"))
#define ROUND(T, rounding, exact, name)                                                            \
    compared(name " " #T, #T, library<round_to_integral<T, rounding, exact>>,                      \
             PROCESSOR(name " %" #T "[r], %" #T "[a]"))
#define CONVERT(D, S) PROCESSOR("fcvt %" #D "[r], %" #S "[a]")
#define TO_GENERAL(T, X, I, rounding, name)                                                        \
    compared(name " " #X " " #T, #T, library<to_fixed<I, T, rounding>>,                            \
             PROCESSOR(name " %" #X "[n], %" #T "[a]"))
#define TO_HALFWORD(I, rounding, name)                                                             \
    compared(name " h h", "h", library<to_fixed<I, h, rounding>>, PROCESSOR(name " %h[r], %h[a]"))
#define TO_INTEGER(rounding, letter)                                                               \
    HALF_SINGLE_DOUBLE(TO_GENERAL, w, int, rounding, letter "s"),                                  \
        HALF_SINGLE_DOUBLE(TO_GENERAL, x, long, rounding, letter "s"),                             \
        HALF_SINGLE_DOUBLE(TO_GENERAL, w, unsigned, rounding, letter "u"),                         \
        HALF_SINGLE_DOUBLE(TO_GENERAL, x, unsigned long, rounding, letter "u"),                    \
        TO_HALFWORD(short, rounding, letter "s"),                                                  \
        TO_HALFWORD(unsigned short, rounding, letter "u")
#define TO_FIXED(T, X, I, fbits, name)                                                             \
    compared(name " " #X " " #T " #" #fbits, #T, library<to_fixed<I, T, FPRounding_ZERO, fbits>>,  \
             PROCESSOR(name " %" #X "[n], %" #T "[a], #" #fbits))
#define FROM_INTEGER(T, X, I, name)                                                                \
    compared(name " " #T " " #X, #X, library<from_fixed<T, I>>,                                    \
             PROCESSOR(name " %" #T "[r], %" #X "[i]"))
#define FROM_FIXED(T, X, I, fbits, name)                                                           \
    compared(name " " #T " " #X " #" #fbits, #X, library<from_fixed<T, I, fbits>>,                 \
             with_half_not_flushed<T, PROCESSOR(name " %" #T "[r], %" #X "[i], #" #fbits)>)

const operation scalar_operations[] = {
    HALF_SINGLE_DOUBLE(BINARY, FPAdd, "fadd"),
    HALF_SINGLE_DOUBLE(BINARY, FPSub, "fsub"),
    HALF_SINGLE_DOUBLE(BINARY, FPMul, "fmul"),
    HALF_SINGLE_DOUBLE(BINARY, FPMulX, "fmulx"),
    HALF_SINGLE_DOUBLE(BINARY, FPDiv, "fdiv"),
    HALF_SINGLE_DOUBLE(UNARY, FPSqrt, "fsqrt"),
    HALF_SINGLE_DOUBLE(UNARY, FPAbs, "fabs"),
    HALF_SINGLE_DOUBLE(UNARY, FPNeg, "fneg"),
    HALF_SINGLE_DOUBLE(MULTIPLY_ADD, false, false, "fmadd"),
    HALF_SINGLE_DOUBLE(MULTIPLY_ADD, false, true, "fmsub"),
    HALF_SINGLE_DOUBLE(MULTIPLY_ADD, true, true, "fnmadd"),
    HALF_SINGLE_DOUBLE(MULTIPLY_ADD, true, false, "fnmsub"),

    HALF_SINGLE_DOUBLE(BINARY, FPMax, "fmax"),
    HALF_SINGLE_DOUBLE(BINARY, FPMin, "fmin"),
    HALF_SINGLE_DOUBLE(BINARY, FPMaxNum, "fmaxnm"),
    HALF_SINGLE_DOUBLE(BINARY, FPMinNum, "fminnm"),
    HALF_SINGLE_DOUBLE(COMPARE_NUMBERS, FPCompareEQ, "fcmeq"),
    HALF_SINGLE_DOUBLE(COMPARE_NUMBERS, FPCompareGE, "fcmge"),
    HALF_SINGLE_DOUBLE(COMPARE_NUMBERS, FPCompareGT, "fcmgt"),
    HALF_SINGLE_DOUBLE(COMPARE_MAGNITUDES, FPCompareGE, "facge"),
    HALF_SINGLE_DOUBLE(COMPARE_MAGNITUDES, FPCompareGT, "facgt"),
    HALF_SINGLE_DOUBLE(UNORDERED, FPCompareUN, "fcmp"),
    FLAGS_OF_COMPARE(s, false, "fcmp"),
    FLAGS_OF_COMPARE(d, false, "fcmp"),
    FLAGS_OF_COMPARE(s, true, "fcmpe"),
    FLAGS_OF_COMPARE(d, true, "fcmpe"),

    HALF_SINGLE_DOUBLE(ROUND, FPRounding_TIEEVEN, false, "frintn"),
    HALF_SINGLE_DOUBLE(ROUND, FPRounding_POSINF, false, "frintp"),
    HALF_SINGLE_DOUBLE(ROUND, FPRounding_NEGINF, false, "frintm"),
    HALF_SINGLE_DOUBLE(ROUND, FPRounding_ZERO, false, "frintz"),
    HALF_SINGLE_DOUBLE(ROUND, FPRounding_TIEAWAY, false, "frinta"),
    HALF_SINGLE_DOUBLE(ROUND, current, false, "frinti"),
    HALF_SINGLE_DOUBLE(ROUND, current, true, "frintx"),

    {"fcvt s h", "h", library<convert<s, h>>, with_half_flushed<CONVERT(s, h)>},
    {"fcvt d h", "h", library<convert<d, h>>, with_half_flushed<CONVERT(d, h)>},
    {"fcvt h s", "s", library<convert<h, s>>, CONVERT(h, s)},
    {"fcvt h d", "d", library<convert<h, d>>, CONVERT(h, d)},
    {"fcvt d s", "s", library<convert<d, s>>, CONVERT(d, s)},
    {"fcvt s d", "d", library<convert<s, d>>, CONVERT(s, d)},
    {"fcvtxn s d", "d", library<convert<s, d, FPRounding_ODD>>, PROCESSOR("fcvtxn %s[r], %d[a]")},

    TO_INTEGER(FPRounding_TIEEVEN, "fcvtn"),
    TO_INTEGER(FPRounding_POSINF, "fcvtp"),
    TO_INTEGER(FPRounding_NEGINF, "fcvtm"),
    TO_INTEGER(FPRounding_ZERO, "fcvtz"),
    TO_INTEGER(FPRounding_TIEAWAY, "fcvta"),
    HALF_SINGLE_DOUBLE(TO_FIXED, w, int, 1, "fcvtzs"),
    HALF_SINGLE_DOUBLE(TO_FIXED, w, int, 32, "fcvtzs"),
    HALF_SINGLE_DOUBLE(TO_FIXED, w, unsigned, 17, "fcvtzu"),
    HALF_SINGLE_DOUBLE(TO_FIXED, x, long, 23, "fcvtzs"),
    HALF_SINGLE_DOUBLE(TO_FIXED, x, long, 64, "fcvtzs"),
    HALF_SINGLE_DOUBLE(TO_FIXED, x, unsigned long, 47, "fcvtzu"),

    HALF_SINGLE_DOUBLE(FROM_INTEGER, w, int, "scvtf"),
    HALF_SINGLE_DOUBLE(FROM_INTEGER, w, unsigned, "ucvtf"),
    HALF_SINGLE_DOUBLE(FROM_INTEGER, x, long, "scvtf"),
    HALF_SINGLE_DOUBLE(FROM_INTEGER, x, unsigned long, "ucvtf"),
    {"scvtf h h", "i", library<from_fixed<h, short>>, PROCESSOR("scvtf %h[r], %h[a]")},
    {"ucvtf h h", "i", library<from_fixed<h, unsigned short>>, PROCESSOR("ucvtf %h[r], %h[a]")},
    HALF_SINGLE_DOUBLE(FROM_FIXED, w, int, 11, "scvtf"),
    HALF_SINGLE_DOUBLE(FROM_FIXED, w, unsigned, 32, "ucvtf"),
    HALF_SINGLE_DOUBLE(FROM_FIXED, x, long, 29, "scvtf"),
    HALF_SINGLE_DOUBLE(FROM_FIXED, x, long, 64, "scvtf"),

    HALF_SINGLE_DOUBLE(UNARY, FPRecipEstimate, "frecpe"),
    HALF_SINGLE_DOUBLE(UNARY, FPRSqrtEstimate, "frsqrte"),
    HALF_SINGLE_DOUBLE(UNARY, FPRecpX, "frecpx"),
    HALF_SINGLE_DOUBLE(BINARY, FPRecipStepFused, "frecps"),
    HALF_SINGLE_DOUBLE(BINARY, FPRSqrtStepFused, "frsqrts"),
    {"urecpe", "w", library<[](d op) { return UnsignedRecipEstimate(op, 0); }>,
     PROCESSOR("urecpe %[r].2s, %[a].2s\n\tfmov %s[r], %s[r]")},
    {"ursqrte", "w", library<[](d op) { return UnsignedRSqrtEstimate(op, 0); }>,
     PROCESSOR("ursqrte %[r].2s, %[a].2s\n\tfmov %s[r], %s[r]")},

    // What no instruction computes by itself: unpacked and packed again is multiplied by 1.
    {"fmul h #1", "h", library<FPProcess16>, PROCESSOR("fmov h31, #1.0\n\tfmul %h[r], %h[a], h31")},
    {"fmul s #1", "s", library<FPProcess32>, PROCESSOR("fmov s31, #1.0\n\tfmul %s[r], %s[a], s31")},
    {"fmul d #1", "d", library<FPProcess64>, PROCESSOR("fmov d31, #1.0\n\tfmul %d[r], %d[a], d31")},
};

#define TRIGONOMETRIC_STEP(T, index)                                                               \
    compared("ftmad " #T " #" #index, #T #T, library<trigonometric_step<T, index>>,                \
             SVE_PROCESSOR(T, "ftmad z30." #T ", z30." #T ", z31." #T ", #" #index))
#define TRIGONOMETRIC_STEPS(index) HALF_SINGLE_DOUBLE(TRIGONOMETRIC_STEP, index)
#define TRIGONOMETRIC_START(T, function, name)                                                     \
    compared(name " " #T, #T #T, library<function<T>>,                                             \
             SVE_PROCESSOR(T, name " z30." #T ", z30." #T ", z31." #T))
#define EXPONENTIAL(T, function, name)                                                             \
    compared(name " " #T, #T, library<function<T>>, SVE_PROCESSOR(T, name " z30." #T ", z30." #T))
#define SCALE(T, function, kind)                                                                   \
    compared("fscale " #T, #T kind, library<function>,                                             \
             SVE_PROCESSOR(T, "fscale z30." #T ", p0/m, z30." #T ", z31." #T))

const operation sve_operations[] = {
    TRIGONOMETRIC_STEPS(0),
    TRIGONOMETRIC_STEPS(1),
    TRIGONOMETRIC_STEPS(2),
    TRIGONOMETRIC_STEPS(3),
    TRIGONOMETRIC_STEPS(4),
    TRIGONOMETRIC_STEPS(5),
    TRIGONOMETRIC_STEPS(6),
    TRIGONOMETRIC_STEPS(7),
    HALF_SINGLE_DOUBLE(TRIGONOMETRIC_START, FPTRISMUL, "ftsmul"),
    HALF_SINGLE_DOUBLE(EXPONENTIAL, FPEXPA, "fexpa"),
    SCALE(h, FPScale16, "i"),
    SCALE(s, FPScale32, "w"),
    SCALE(d, FPScale64, "x"),
};

} // namespace

std::vector<operation> operations() {
    std::vector<operation> all;
    const unsigned long features = getauxval(AT_HWCAP);
    if (features & HWCAP_FPHP)
        all.insert(all.end(), std::begin(scalar_operations), std::end(scalar_operations));
    else
        fputs("fplib_comparison: the processor has no half-precision arithmetic: all left out\n",
              stderr);
    if (features & HWCAP_SVE)
        all.insert(all.end(), std::begin(sve_operations), std::end(sve_operations));
    else
        fputs("fplib_comparison: the processor has no SVE: FTMAD, FTSMUL, FEXPA, FSCALE left out\n",
              stderr);
    return all;
}

} // namespace fp_comparison
