#include "sve/core/lanes.h"
#include "sve/integer/arithmetic.h"

#include <limits>

using namespace sve;

// Operations on chunks of lanes, or on single elements of the same type.
static constexpr auto add = [](auto a, auto b) { return a + b; };
static constexpr auto subtract = [](auto a, auto b) { return a - b; };
static constexpr auto multiply = [](auto a, auto b) { return a * b; };
static constexpr auto negate = [](auto a) { return -a; };
static constexpr auto minimum = [](auto a, auto b) { return a < b ? a : b; };
static constexpr auto maximum = [](auto a, auto b) { return a > b ? a : b; };
static constexpr auto mla = [](auto da, auto n, auto m) { return da + n * m; };
static constexpr auto mls = [](auto da, auto n, auto m) { return da - n * m; };
static constexpr auto mad = [](auto dn, auto m, auto a) { return a + dn * m; };
static constexpr auto msb = [](auto dn, auto m, auto a) { return a - dn * m; };

// The host never sees a zero divisor, nor the quotient that doesn't fit.
static constexpr auto divide = []<class T>(T a, T b) -> T {
    if (b == 0)
        return 0;
    if (std::numeric_limits<T>::is_signed && b == static_cast<T>(-1))
        return static_cast<T>(0 - static_cast<std::make_unsigned_t<T>>(a));
    return a / b;
};
static constexpr auto divide_reversed = []<class T>(T a, T b) -> T { return divide(b, a); };

// The low `bits` bits of each lane, sign- or zero-extended by the lane's type.
template <unsigned bits>
static constexpr auto extend = []<class Lanes>(Lanes a) {
    constexpr unsigned above = 8 * sizeof(a[0]) - bits;
    return a << above >> above;
};

// ---- Unpredicated ------------------------------------------------------------------------------

SVE_ROUTINE sve_add_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    return binary_zzz(state, zd, zn, zm, add);
}
SVE_ROUTINE sve_sub_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    return binary_zzz(state, zd, zn, zm, subtract);
}

SVE_ROUTINE sve_add_zi(cpu_state *state, aarch64_z_reg zdn, unsigned int immediate) {
    return binary_zi(state, zdn, immediate, add);
}
SVE_ROUTINE sve_sub_zi(cpu_state *state, aarch64_z_reg zdn, unsigned int immediate) {
    return binary_zi(state, zdn, immediate, subtract);
}
SVE_ROUTINE sve_mul_zi(cpu_state *state, aarch64_z_reg zdn, int immediate) {
    return binary_zi(state, zdn, immediate, multiply);
}

// ---- Predicated --------------------------------------------------------------------------------

#define BINARY(name, Types, op)                                                                    \
    SVE_ROUTINE sve_##name##_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,            \
                                 aarch64_z_reg zm) {                                               \
        return binary_zpz<Types>(state, zdn, pg, zm, op);                                          \
    }
BINARY(add, unsigned_lanes, add)
BINARY(sub, unsigned_lanes, subtract)
BINARY(mul, unsigned_lanes, multiply)
BINARY(smin, signed_lanes, minimum)
BINARY(smax, signed_lanes, maximum)
BINARY(umin, unsigned_lanes, minimum)
BINARY(umax, unsigned_lanes, maximum)

// One by one: the host's vector unit has no division.
#define DIVISION(name, Word, Doubleword, op)                                                       \
    SVE_ROUTINE sve_##name##_zpz(cpu_state *state, aarch64_z_reg zdn, aarch64_p_reg pg,            \
                                 aarch64_z_reg zm) {                                               \
        with_lanes(lane_types<Word, Doubleword>{}, zdn.dst_size, [&]<class T>() {                  \
            merge_elements<T>(state, zdn.num, pg.num, op, zdn.num, zm.num);                        \
        });                                                                                        \
        return AARCH64_DECODE_OK;                                                                  \
    }
DIVISION(sdiv, int32_t, int64_t, divide)
DIVISION(sdivr, int32_t, int64_t, divide_reversed)
DIVISION(udiv, uint32_t, uint64_t, divide)
DIVISION(udivr, uint32_t, uint64_t, divide_reversed)

#define UNARY(name, Types, op)                                                                     \
    SVE_ROUTINE sve_##name##_zpz(cpu_state *state, aarch64_z_reg zd, aarch64_p_reg pg,             \
                                 aarch64_z_reg zn) {                                               \
        return unary_zpz<Types>(state, zd, pg, zn, op);                                            \
    }
using from_halfwords = lane_types<int16_t, int32_t, int64_t>;
using from_words = lane_types<int32_t, int64_t>;
using from_unsigned_words = lane_types<uint32_t, uint64_t>;
UNARY(neg, unsigned_lanes, negate)
UNARY(sxtb, from_halfwords, extend<8>)
UNARY(sxth, from_words, extend<16>)
UNARY(sxtw, lane_types<int64_t>, extend<32>)
UNARY(uxth, from_unsigned_words, extend<16>)
UNARY(uxtw, lane_types<uint64_t>, extend<32>)

#define TERNARY(name, op)                                                                          \
    SVE_ROUTINE sve_##name##_zpzz(cpu_state *state, aarch64_z_reg za, aarch64_p_reg pg,            \
                                  aarch64_z_reg zb, aarch64_z_reg zc) {                            \
        return ternary_zpzz(state, za, pg, zb, zc, op);                                            \
    }
TERNARY(mla, mla)
TERNARY(mls, mls)
TERNARY(mad, mad)
TERNARY(msb, msb)
