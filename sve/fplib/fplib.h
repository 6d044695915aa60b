#pragma once

// Floating point of the AArch64 architecture on bit patterns.
//
// Every function computes the operation of the same name in the architecture's pseudocode, bit for
// bit: rounding, flushing, the choice and form of NaNs, and the cumulative exception flags. All of
// it is integer arithmetic. The host's floating-point unit is not used, so that a result depends
// on nothing but the arguments, and the library runs alike on every 64-bit Linux host.
//
// A value is its bit pattern, and the type of the pattern tells the format:
//
//     unsigned short   half      1 sign, 5 exponent and 10 fraction bits
//     unsigned int     single    1, 8 and 23
//     unsigned long    double    1, 11 and 52
//
// An operation takes the control bits from an FPSCR word and adds the flags that it raises:
//
//     FPSCR fpscr{fpcr};                                        // or FPSCR fpscr{};
//     unsigned int third = FPDiv(0x3f800000u, 0x40400000u, fpscr);
//     // third is 0x3eaaaaab; fpscr.word & FPSCR::IXC tells that it was rounded
//
// Flags are only ever set. One word can be carried through any number of operations, and holds
// the flags of all of them at the end. Nothing fails, traps or allocates: every exceptional case
// ends in a defined result and flags. There is no state besides the arguments, so any number of
// threads may call at once, each with its own word.
//
// Functions of two or more operands look for signalling NaNs first and for quiet ones after, each
// in the order of the arguments. A NaN result is that operand made quiet, or the format's default
// NaN (positive, only the top fraction bit set) in default-NaN mode. A signalling NaN and every
// invalid operation raise IOC.
//
// Two effects of control bits that are easy to miss:
// - Under FZ a single or double denormal operand counts as a zero of its sign and raises IDC.
//   Under FZ16 a half one does the same, but raises nothing.
// - Underflow is detected before rounding: a result below the smallest normal number raises UFC
//   if it is inexact, and under the format's flush bit becomes a zero of its sign with UFC alone,
//   exact or not.

#include <concepts>

// The control and status word of a call: the control bits of FPCR and the cumulative flags of FPSR
// in one word, each where the architecture has it. No function touches any other bit.
struct FPSCR {
    // Cumulative flags. Set by the library, never cleared.
    static constexpr unsigned int IOC = 1u << 0; // invalid operation
    static constexpr unsigned int DZC = 1u << 1; // division by zero
    static constexpr unsigned int OFC = 1u << 2; // overflow
    static constexpr unsigned int UFC = 1u << 3; // underflow
    static constexpr unsigned int IXC = 1u << 4; // inexact
    static constexpr unsigned int IDC = 1u << 7; // denormal operand flushed

    // Control. Read by the library, never written.
    static constexpr unsigned int FZ16 = 1u << 19;  // flush half denormals to zero
    static constexpr unsigned int RMode_shift = 22; // bits 23:22, values 0 to 3 of FPRounding
    static constexpr unsigned int RMode = 3u << RMode_shift;
    static constexpr unsigned int FZ = 1u << 24;  // flush single and double denormals to zero
    static constexpr unsigned int DN = 1u << 25;  // every NaN result is the default NaN
    static constexpr unsigned int AHP = 1u << 26; // alternative half format; FPConvert only

    unsigned int word = 0;
};

// Rounding modes. The first four are the values of RMode.
enum FPRounding {
    FPRounding_TIEEVEN = 0, // to nearest, ties to even
    FPRounding_POSINF = 1,  // towards plus infinity
    FPRounding_NEGINF = 2,  // towards minus infinity
    FPRounding_ZERO = 3,    // towards zero
    FPRounding_TIEAWAY = 4, // to nearest, ties away from zero; FPRoundInt and fplibFPToFixed only
    FPRounding_ODD = 5,     // to odd if inexact; FPConvert to half and single only
};

// The rounding mode of a control word, for the functions that take it as an argument.
constexpr FPRounding FPRoundingMode(FPSCR fpscr) {
    return static_cast<FPRounding>(fpscr.word >> FPSCR::RMode_shift & 3);
}

// The types of patterns: half, single and double.
template <typename T>
concept FPPattern = std::same_as<T, unsigned short> || std::same_as<T, unsigned int> ||
    std::same_as<T, unsigned long>;

// --- Arithmetic. Exact results rounded once, in the mode of `fpscr`. ---

// op1 + op2. Infinities of unlike sign are invalid.
template <FPPattern T>
T FPAdd(T op1, T op2, FPSCR &fpscr);

// op1 - op2. A NaN in op2 keeps its own sign.
template <FPPattern T>
T FPSub(T op1, T op2, FPSCR &fpscr);

// op1 * op2. Infinity times zero is invalid.
template <FPPattern T>
T FPMul(T op1, T op2, FPSCR &fpscr);

// As FPMul, but infinity times zero is 2.0 with the product's sign and raises nothing.
template <FPPattern T>
T FPMulX(T op1, T op2, FPSCR &fpscr);

// op1 / op2. 0/0 and infinity over infinity are invalid; another finite number over zero raises
// DZC.
template <FPPattern T>
T FPDiv(T op1, T op2, FPSCR &fpscr);

// The square root. That of a negative number is invalid; that of minus zero is minus zero.
template <FPPattern T>
T FPSqrt(T op, FPSCR &fpscr);

// addend + op1 * op2 with one rounding; note that the addend comes first. A quiet NaN as addend
// doesn't hide that infinity times zero is invalid: the result is the default NaN then.
template <FPPattern T>
T FPMulAdd(T addend, T op1, T op2, FPSCR &fpscr);

// Sign operations on any pattern, NaNs included. They raise nothing.
template <FPPattern T>
constexpr T FPAbs(T op) {
    return static_cast<T>(op & static_cast<T>(~T{0}) >> 1);
}
template <FPPattern T>
constexpr T FPNeg(T op) {
    return static_cast<T>(op ^ T{1} << (8 * sizeof(T) - 1));
}

// --- Compare, minimum and maximum. They round nothing. Flushed operands count as zeros. ---

// Any comparison with a NaN is false. EQ raises IOC for signalling NaNs only, GE and GT for all.
template <FPPattern T>
bool FPCompareEQ(T op1, T op2, FPSCR &fpscr);
template <FPPattern T>
bool FPCompareGE(T op1, T op2, FPSCR &fpscr);
template <FPPattern T>
bool FPCompareGT(T op1, T op2, FPSCR &fpscr);

// Whether an operand is a NaN. IOC for signalling NaNs.
template <FPPattern T>
bool FPCompareUN(T op1, T op2, FPSCR &fpscr);

// The NZCV nibble of a comparison: 3 unordered, 6 equal, 8 op1 is less, 2 op1 is greater. IOC for
// signalling NaNs, and for quiet ones too if `signal_nans`. Single and double only.
template <FPPattern T>
int FPCompare(T op1, T op2, bool signal_nans, FPSCR &fpscr);

// The greater or the smaller operand, or the NaN if there is one. Plus zero is greater than minus
// zero.
template <FPPattern T>
T FPMax(T op1, T op2, FPSCR &fpscr);
template <FPPattern T>
T FPMin(T op1, T op2, FPSCR &fpscr);

// The same, where a number wins against a quiet NaN.
template <FPPattern T>
T FPMaxNum(T op1, T op2, FPSCR &fpscr);
template <FPPattern T>
T FPMinNum(T op1, T op2, FPSCR &fpscr);

// --- Conversions. The rounding mode is the argument's, not that of `fpscr`. ---

// From one format to another: FPConvert<unsigned short>(x, ...) gives a half. All six pairs of
// unlike formats. A NaN is made quiet and keeps its sign and the top bits of its payload, unless
// DN is set.
//
// A half result observes AHP and not FZ16. With AHP set a half has no infinities and NaNs: what
// is too large becomes the largest magnitude with IOC, a NaN becomes zero with IOC. A half operand
// observes AHP, and FZ16 flushes it. (The FCVT instructions ignore FZ16: clear it to get their
// results.)
template <FPPattern D, FPPattern S>
D FPConvert(S op, FPRounding rounding, FPSCR &fpscr);

// To an integer of 16, 32 or 64 bits, with `fbits` of its low bits as fraction:
// fplibFPToFixed<unsigned int>(x, 0, false, FPRounding_ZERO, fpscr) is an int in 32 bits. What is
// out of range, after rounding, becomes the nearest integer with IOC alone, and a NaN becomes 0
// with IOC. From half to all three sizes, from single and double to 32 and 64 bits.
template <FPPattern U, FPPattern T>
U fplibFPToFixed(T op, int fbits, bool unsigned_, FPRounding rounding, FPSCR &fpscr);

// From an integer of 64 bits, with `fbits` of its low bits as fraction. Extend a narrower one by
// its signedness first. Of the modes only the first four. FZ16 has no effect.
template <FPPattern T>
T fplibFixedToFP(unsigned long op, int fbits, bool unsigned_, FPRounding rounding, FPSCR &fpscr);

// To an integral value in the same format. A zero result has the operand's sign. An inexact result
// raises IXC if `exact`, else nothing.
template <FPPattern T>
T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR &fpscr);

// op * 2^scale, rounded once in the mode of `fpscr`. Any scale is good.
unsigned short FPScale16(unsigned short op, short scale, FPSCR &fpscr);
unsigned int FPScale32(unsigned int op, int scale, FPSCR &fpscr);
unsigned long FPScale64(unsigned long op, long scale, FPSCR &fpscr);

// The operand unpacked and packed again: what flushing and NaN processing make of it.
unsigned short FPProcess16(unsigned short op, FPSCR &fpscr);
unsigned int FPProcess32(unsigned int op, FPSCR &fpscr);
unsigned long FPProcess64(unsigned long op, FPSCR &fpscr);

// --- Estimates and step functions. ---

// Estimates with 8 fraction bits of 1/op and of 1/sqrt(op). An operand of zero raises DZC and gives
// an infinity. Very small operands of FPRecipEstimate overflow in the mode of `fpscr`; very large
// ones underflow to zero in flush mode. Negative operands of FPRSqrtEstimate are invalid.
template <FPPattern T>
T FPRecipEstimate(T op, FPSCR &fpscr);
template <FPPattern T>
T FPRSqrtEstimate(T op, FPSCR &fpscr);

// A power of two near 1/op: the exponent field inverted, the fraction cleared.
template <FPPattern T>
T FPRecpX(T op, FPSCR &fpscr);

// 2 - op1 * op2 and (3 - op1 * op2) / 2 with one rounding: the factors by which an estimate is
// improved. Infinity times zero counts as 0 here. A NaN in op1 comes back with its sign inverted.
template <FPPattern T>
T FPRecipStepFused(T op1, T op2, FPSCR &fpscr);
template <FPPattern T>
T FPRSqrtStepFused(T op1, T op2, FPSCR &fpscr);

// The estimates of an unsigned fixed-point number with 32 fraction bits, in the low half of `op`
// and of the result. Operands below 1/2, or below 1/4 for the square root, give all ones. The
// second argument has no effect.
unsigned long UnsignedRecipEstimate(unsigned long op, int);
unsigned long UnsignedRSqrtEstimate(unsigned long op, int);

// What these are built on: a from 0.5 (0.25) up to 1, result from 1 to 2 in steps of 1/256. These
// two alone compute with the host's doubles.
double recip_estimate(double a);
double recip_sqrt_estimate(double a);

// --- Accelerators of trigonometric functions and of the exponential. ---

// A step of a polynomial: coefficient[index] + op1 * |op2| with one rounding. The index is 0 to 7;
// the coefficients are those of a sine if op2's sign is clear, else of a cosine.
template <FPPattern T>
T FPTRIMADD(unsigned long index, T op1, T op2, FPSCR &fpscr);

// op1 * op1 with bit 0 of op2 as its sign. A NaN result stays as it is.
template <FPPattern T>
T FPTRISMUL(T op1, T op2, FPSCR &fpscr);

// 2^(i/n) scaled by a power of two: i, of 5 bits (n = 32) in half and of 6 (n = 64) in single and
// double, is the low bits of `op`, and the exponent field of the result the bits above them. It
// raises nothing.
template <FPPattern T>
T FPEXPA(T op);
