#pragma once

// Helpers of the reference functions: plain functions on elements held in 64 bits and on signed
// integers of 128 bits, in which products, sums and shifts of 64-bit elements are exact. Their
// names follow the architecture's pseudocode. A width n is 1 to 64; `unsigned_flag` is 1 for
// unsigned, else signed.

#include <cstdint>
#include <type_traits>

using int128 = __int128;

// Integers of twice the width of T at least, with T's sign: products of elements fit. Those of the
// host's registers where they do, since the compiler has vector instructions for these.
template <class T>
using wider =
    std::conditional_t<sizeof(T) < sizeof(long),
                       std::conditional_t<std::is_signed_v<T>, long, unsigned long>,
                       std::conditional_t<std::is_signed_v<T>, int128, unsigned __int128>>;

// n low one bits.
constexpr unsigned long ones(int n) {
    return ~0ul >> ((64 - n) & 63);
}

// The low n bits of x as a number: zero-extended if unsigned, else sign-extended.
constexpr int128 Int(unsigned long x, int n, int unsigned_flag) {
    const unsigned long mask = ~0ul >> (64 - n);
    const unsigned long sign = 1ul << (n - 1);
    const int128 value = x & mask;
    return unsigned_flag == 1 || !(x & sign) ? value : value - (int128{mask} + 1);
}

// The low 64 bits.
constexpr unsigned long bits(int128 x) {
    return static_cast<unsigned long>(x);
}

constexpr int128 AbsInt(int128 x) {
    return x < 0 ? -x : x;
}

// Arithmetic right shift. Counts above 65 count as 65.
constexpr int128 ShiftRightInt(int128 x, int128 count) {
    return x >> static_cast<int>(count > 65 ? 65 : count);
}

// Left shift. Counts above 64 count as 64; a negative one shifts right.
constexpr int128 ShiftLeftInt(int128 x, int128 count) {
    return count < 0 ? ShiftRightInt(x, -count)
                     : static_cast<int128>(static_cast<unsigned __int128>(x)
                                           << static_cast<int>(count > 64 ? 64 : count));
}

// Whether a is less than b, by their low n bits.
constexpr bool is_less(unsigned long a, unsigned long b, int n, int unsigned_flag) {
    return Int(a, n, unsigned_flag) < Int(b, n, unsigned_flag);
}

// Widths that elements have.
constexpr bool is_element_width(int n) {
    return n == 8 || n == 16 || n == 32 || n == 64;
}

// The greater or the smaller of the low n bits, whole; a on a tie. n is 8, 16, 32 or 64, else the
// result is 0.
constexpr unsigned long Max(unsigned long a, unsigned long b, int n, int unsigned_flag) {
    if (!is_element_width(n))
        return 0;
    return is_less(a, b, n, unsigned_flag) ? b : a;
}
constexpr unsigned long Min(unsigned long a, unsigned long b, int n, int unsigned_flag) {
    if (!is_element_width(n))
        return 0;
    return is_less(b, a, n, unsigned_flag) ? b : a;
}

// The highest set bit among the low n, or -1.
constexpr int HighestBitSet(unsigned long x, int n) {
    x &= ones(n);
    return x ? 63 - __builtin_clzl(x) : -1;
}

// Zeros above the highest set bit among the low n: n if there is none.
constexpr int CountLeadingZeroBits(unsigned long x, int n) {
    return n - 1 - HighestBitSet(x, n);
}

// Bits below the top one of n that equal it: 0 to n - 1.
constexpr int CountLeadingSignBits(unsigned long x, int n) {
    // A bit of the exclusive or is set where a bit differs from the one above it.
    return n == 1 ? 0 : CountLeadingZeroBits((x & ~(1ul << 63)) ^ (x >> 1), n - 1);
}

// Set bits among the low n; 0 for n below 1.
constexpr int BitCount(unsigned long x, int n) {
    return n < 1 ? 0 : __builtin_popcountl(x & ones(n));
}

// The low n bits in reverse order.
constexpr unsigned long BitReverse(unsigned long x, int n) {
    unsigned long reversed = 0;
    for (int i = 0; i < n; i++)
        reversed |= (x >> i & 1) << (n - 1 - i);
    return reversed;
}

// The low n bits with their units of k bytes in reverse order. k is 1, 2 or 4, else the result is
// 0.
constexpr unsigned long Reverse(unsigned long x, int n, int k) {
    if (k != 1 && k != 2 && k != 4)
        return 0;
    const int unit = 8 * k;
    unsigned long reversed = 0;
    for (int i = 0; i < n; i += unit)
        reversed |= (x >> i & ones(unit)) << (n - unit - i);
    return reversed;
}

// A saturated value, and whether it is another than the exact one.
struct saturated {
    unsigned long value;
    bool flag;
};

// The nearest value of n bits. The result is the image in n bits, not sign-extended.
constexpr saturated SatQ(int128 value, int n, int unsigned_flag) {
    if (unsigned_flag == 1) {
        if (value < 0)
            return {0, true};
        if (value >> n != 0)
            return {ones(n), true};
    } else {
        const int128 limit = int128{1} << (n - 1);
        if (value > limit - 1)
            return {bits(limit - 1), true};
        if (value < -limit)
            return {bits(limit), true};
    }
    return {bits(value) & ones(n), false};
}

// The saturated sum of the low n bits. Without saturation all 64 bits of the exact sum: a negative
// one is sign-extended.
constexpr unsigned long SatAdd(unsigned long a, unsigned long b, int n, int unsigned_flag) {
    const int128 sum = Int(a, n, unsigned_flag) + Int(b, n, unsigned_flag);
    const saturated result = SatQ(sum, n, unsigned_flag);
    return result.flag ? result.value : bits(sum);
}

// The saturated difference of the low n bits, in n bits.
constexpr unsigned long SatSub(unsigned long a, unsigned long b, int n, int unsigned_flag) {
    return SatQ(Int(a, n, unsigned_flag) - Int(b, n, unsigned_flag), n, unsigned_flag).value;
}
