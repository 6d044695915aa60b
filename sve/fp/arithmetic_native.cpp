#include "sve/fp/arithmetic_native.h"

#include "sve/native/fp_lanes.h"

using namespace sve;
using namespace sve::native;

// An instruction whose operands change places.
static auto reversed(code &c, word_t word) {
    return [&c, word](unsigned d, unsigned n, unsigned m) { c.put(word, d, m, n); };
}
static word_t in_order(code &, word_t word) {
    return word;
}

// ---- Of two vectors -----------------------------------------------------------------------------

#define ZZZ(name, instruction)                                                                     \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        if (has_arithmetic(c, zd.size))                                                            \
            write_lanes(c, zd.num, fp_sized(instruction, zd.size), zn.num, zm.num);                \
    }
ZZZ(fadd, a64::v::fadd)
ZZZ(fsub, a64::v::fsub)
ZZZ(fmul, a64::v::fmul)

// Zeros are harmless to all of these.
#define ZPZ(name, instruction, order)                                                              \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_z_reg zm) {                                              \
        const unsigned size = zdn.dst_size;                                                        \
        if (has_arithmetic(c, size))                                                               \
            merge_fp_lanes(c, zdn.num, pg.num, size, order(c, fp_sized(instruction, size)),        \
                           zdn.num, zm.num);                                                       \
    }
ZPZ(fadd, a64::v::fadd, in_order)
ZPZ(fsub, a64::v::fsub, in_order)
ZPZ(fsubr, a64::v::fsub, reversed)
ZPZ(fmul, a64::v::fmul, in_order)
ZPZ(fmulx, a64::v::fmulx, in_order)
ZPZ(fabd, a64::v::fabd, in_order)
ZPZ(fmax, a64::v::fmax, in_order)
ZPZ(fmin, a64::v::fmin, in_order)
ZPZ(fmaxnm, a64::v::fmaxnm, in_order)
ZPZ(fminnm, a64::v::fminnm, in_order)

// Zdn = dividend / divisor in the active lanes; 1.0 / 1.0 in the others.
static void divide(code &c, unsigned zdn, unsigned pg, unsigned size, unsigned dividend,
                   unsigned divisor) {
    if (!has_arithmetic(c, size))
        return;
    const word_t fdiv = fp_sized(a64::v::fdiv, size);
    if (c.all_true(pg, size)) {
        write_lanes(c, zdn, fdiv, dividend, divisor);
        return;
    }
    const unsigned ones = c.v();
    c.put(a64::v::fmov(size, a64::v::code_of_one), ones);
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), d = c.load_z(zdn, i);
        const auto active_or_ones = [&](unsigned source) {
            const unsigned lanes = c.v();
            c.put(a64::v::mov, lanes, active, active);
            c.put(a64::v::bsl, lanes, source == zdn ? d : c.load_z(source, i), ones);
            return lanes;
        };
        const unsigned n = active_or_ones(dividend), m = active_or_ones(divisor);
        c.put(fdiv, n, n, m);
        c.put(a64::v::bit, d, n, active);
        c.store_z(zdn, i, d);
    });
}
void sve::native_fdiv_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    divide(c, zdn.num, pg.num, zdn.dst_size, zdn.num, zm.num);
}
void sve::native_fdivr_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    divide(c, zdn.num, pg.num, zdn.dst_size, zm.num, zdn.num);
}

// ---- Of a vector and a constant -----------------------------------------------------------------

static word_t zero_or_one(unsigned size, unsigned i1) {
    return i1 ? a64::v::fmov(size, a64::v::code_of_one) : a64::v::movi(sve_size_b, 0);
}
static word_t half_or_one(unsigned size, unsigned i1) {
    return a64::v::fmov(size, i1 ? a64::v::code_of_one : a64::v::code_of_half);
}
static word_t half_or_two(unsigned size, unsigned i1) {
    return a64::v::fmov(size, i1 ? a64::v::code_of_two : a64::v::code_of_half);
}

// Zeros and the constant are harmless to all of these.
#define ZPI(name, instruction, order, constants)                                                   \
    void sve::native_##name##_zpi(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_sve_fp_arith_imm imm) {                                  \
        const unsigned size = zdn.dst_size;                                                        \
        if (!has_arithmetic(c, size))                                                              \
            return;                                                                                \
        const unsigned constant = c.v();                                                           \
        c.put(constants(size, imm.i1), constant);                                                  \
        const auto operation = order(c, fp_sized(instruction, size));                              \
        merge_fp_lanes(                                                                            \
            c, zdn.num, pg.num, size,                                                              \
            [&](unsigned d, unsigned n) { put_operation(c, operation, d, n, constant); },          \
            zdn.num);                                                                              \
    }
ZPI(fadd, a64::v::fadd, in_order, half_or_one)
ZPI(fsub, a64::v::fsub, in_order, half_or_one)
ZPI(fsubr, a64::v::fsub, reversed, half_or_one)
ZPI(fmul, a64::v::fmul, in_order, half_or_two)
ZPI(fmax, a64::v::fmax, in_order, zero_or_one)
ZPI(fmin, a64::v::fmin, in_order, zero_or_one)
ZPI(fmaxnm, a64::v::fmaxnm, in_order, zero_or_one)
ZPI(fminnm, a64::v::fminnm, in_order, zero_or_one)

// ---- Of one vector ------------------------------------------------------------------------------

#define UNARY(name, instruction, merge)                                                            \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        if (has_arithmetic(c, zd.size))                                                            \
            merge(c, zd.num, pg.num, zd.size, fp_sized(instruction, zd.size), zn.num);             \
    }
UNARY(fsqrt, a64::v::fsqrt, merge_fp_lanes)
UNARY(frintn, a64::v::frintn, merge_fp_lanes)
UNARY(frintp, a64::v::frintp, merge_fp_lanes)
UNARY(frintm, a64::v::frintm, merge_fp_lanes)
UNARY(frintz, a64::v::frintz, merge_fp_lanes)
UNARY(frinta, a64::v::frinta, merge_fp_lanes)
UNARY(frinti, a64::v::frinti, merge_fp_lanes)
UNARY(frintx, a64::v::frintx, merge_fp_lanes)
// These raise nothing.
UNARY(fabs, a64::v::fabs, merge_lanes)
UNARY(fneg, a64::v::fneg, merge_lanes)
