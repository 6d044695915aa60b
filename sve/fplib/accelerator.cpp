#include "sve/fplib/accelerator_tables.h"
#include "sve/fplib/format.h"

using namespace fplib;

template <FPPattern T>
T FPTRIMADD(unsigned long index, T op1, T op2, FPSCR &fpscr) {
    const T addend = coefficients<T>[index + (sign_of(op2) ? 8 : 0)];
    return FPMulAdd(addend, op1, FPAbs(op2), fpscr);
}

template <FPPattern T>
T FPTRISMUL(T op1, T op2, FPSCR &fpscr) {
    const T square = FPMul(op1, op1, fpscr);
    return is_nan(square) ? square : with_sign(op2 & 1, FPAbs(square));
}

template <FPPattern T>
T FPEXPA(T op) {
    constexpr auto &fractions = power_fractions<T>;
    const T exponent = op / fractions.size() & format<T>::max_exponent;
    return static_cast<T>(exponent << format<T>::fraction_bits | fractions[op % fractions.size()]);
}

#define INSTANTIATE(T)                                                                             \
    template T FPTRIMADD(unsigned long, T, T, FPSCR &);                                            \
    template T FPTRISMUL(T, T, FPSCR &);                                                           \
    template T FPEXPA(T);

INSTANTIATE(unsigned short)
INSTANTIATE(unsigned int)
INSTANTIATE(unsigned long)

#undef INSTANTIATE
