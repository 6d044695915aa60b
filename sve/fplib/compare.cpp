#include "sve/fplib/format.h"

using namespace fplib;

namespace {

enum class order { less, equal, greater, unordered };

// Compares the operands, flushed where the mode says so. IOC for signalling NaNs, and for quiet
// ones if `signal_nans`.
template <FPPattern T>
order compare(T op1, T op2, bool signal_nans, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    op1 = fp_flush(op1, mode, flags);
    op2 = fp_flush(op2, mode, flags);
    if (is_nan(op1) || is_nan(op2)) [[unlikely]] {
        if (signal_nans || is_signalling(op1) || is_signalling(op2))
            *flags |= IOC;
        return order::unordered;
    }
    // As integers of sign and magnitude, in which the two zeros are one.
    const auto value = [](T x) {
        const auto magnitude = static_cast<long>(FPAbs(x));
        return sign_of(x) ? -magnitude : magnitude;
    };
    const long x = value(op1), y = value(op2);
    return x < y ? order::less : x > y ? order::greater : order::equal;
}

// Which of two operands a minimum or maximum takes.
enum class extreme { minimum, maximum };

template <extreme which, FPPattern T>
T select(T op1, T op2, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    op1 = fp_flush(op1, mode, flags);
    op2 = fp_flush(op2, mode, flags);
    if (is_nan(op1) || is_nan(op2)) [[unlikely]]
        return fp_process_nans({op1, op2}, mode, flags);
    // As above, but minus zero is below plus zero.
    const auto rank = [](T x) {
        const auto magnitude = static_cast<long>(FPAbs(x));
        return sign_of(x) ? ~magnitude : magnitude;
    };
    return (rank(op1) > rank(op2)) == (which == extreme::maximum) ? op1 : op2;
}

// A number wins against a quiet NaN: in its place stands what loses against every number.
template <extreme which, FPPattern T>
T select_number(T op1, T op2, FPSCR &fpscr) {
    const auto is_quiet = [](T x) { return is_nan(x) && !is_signalling(x); };
    const T loser = with_sign(which == extreme::maximum, format<T>::infinity);
    const bool quiet1 = is_quiet(op1), quiet2 = is_quiet(op2);
    if (quiet1 != quiet2)
        (quiet1 ? op1 : op2) = loser;
    return select<which>(op1, op2, fpscr);
}

} // namespace

template <FPPattern T>
bool FPCompareEQ(T op1, T op2, FPSCR &fpscr) {
    return compare(op1, op2, false, fpscr) == order::equal;
}

template <FPPattern T>
bool FPCompareGE(T op1, T op2, FPSCR &fpscr) {
    const order result = compare(op1, op2, true, fpscr);
    return result == order::greater || result == order::equal;
}

template <FPPattern T>
bool FPCompareGT(T op1, T op2, FPSCR &fpscr) {
    return compare(op1, op2, true, fpscr) == order::greater;
}

template <FPPattern T>
bool FPCompareUN(T op1, T op2, FPSCR &fpscr) {
    return compare(op1, op2, false, fpscr) == order::unordered;
}

template <FPPattern T>
int FPCompare(T op1, T op2, bool signal_nans, FPSCR &fpscr) {
    switch (compare(op1, op2, signal_nans, fpscr)) {
    case order::less:
        return 8; // N
    case order::equal:
        return 6; // Z, C
    case order::greater:
        return 2; // C
    default:
        return 3; // C, V
    }
}

template <FPPattern T>
T FPMax(T op1, T op2, FPSCR &fpscr) {
    return select<extreme::maximum>(op1, op2, fpscr);
}

template <FPPattern T>
T FPMin(T op1, T op2, FPSCR &fpscr) {
    return select<extreme::minimum>(op1, op2, fpscr);
}

template <FPPattern T>
T FPMaxNum(T op1, T op2, FPSCR &fpscr) {
    return select_number<extreme::maximum>(op1, op2, fpscr);
}

template <FPPattern T>
T FPMinNum(T op1, T op2, FPSCR &fpscr) {
    return select_number<extreme::minimum>(op1, op2, fpscr);
}

#define INSTANTIATE(T)                                                                             \
    template bool FPCompareEQ(T, T, FPSCR &);                                                      \
    template bool FPCompareGE(T, T, FPSCR &);                                                      \
    template bool FPCompareGT(T, T, FPSCR &);                                                      \
    template bool FPCompareUN(T, T, FPSCR &);                                                      \
    template T FPMax(T, T, FPSCR &);                                                               \
    template T FPMin(T, T, FPSCR &);                                                               \
    template T FPMaxNum(T, T, FPSCR &);                                                            \
    template T FPMinNum(T, T, FPSCR &);

INSTANTIATE(unsigned short)
INSTANTIATE(unsigned int)
INSTANTIATE(unsigned long)

#undef INSTANTIATE

template int FPCompare(unsigned int, unsigned int, bool, FPSCR &);
template int FPCompare(unsigned long, unsigned long, bool, FPSCR &);
