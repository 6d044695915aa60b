#include "sve/fp/estimates_native.h"

#include "sve/fplib/accelerator_tables.h"
#include "sve/integer/lanes_native.h"
#include "sve/native/fp_lanes.h"

using namespace sve;
using namespace sve::native;

namespace {

// What the format of a size is made of.
struct number_format {
    unsigned width, fraction_bits;
    uint64_t bias, exponent; // the latter in its place, all ones
    unsigned code_bits;      // of FEXPA's index
    const void *powers;      // FEXPA's table
};

template <class T>
number_format format_of_type() {
    using format = fplib::format<T>;
    const auto &powers = fplib::power_fractions<T>;
    return {format::width,    format::fraction_bits,         format::bias,
            format::infinity, powers.size() == 32 ? 5u : 6u, powers.data()};
}
number_format format_of(unsigned size) {
    return size == sve_size_h   ? format_of_type<unsigned short>()
           : size == sve_size_s ? format_of_type<unsigned>()
                                : format_of_type<unsigned long>();
}
uint64_t coefficient(unsigned size, unsigned index) {
    return size == sve_size_h   ? fplib::coefficients<unsigned short>[index]
           : size == sve_size_s ? fplib::coefficients<unsigned>[index]
                                : fplib::coefficients<unsigned long>[index];
}

} // namespace

// ---- Reciprocals and square roots ---------------------------------------------------------------

#define UNARY(name)                                                                                \
    void sve::native_##name##_zz(code &c, aarch64_z_reg zd, aarch64_z_reg zn) {                    \
        if (has_arithmetic(c, zd.size))                                                            \
            write_lanes(c, zd.num, fp_sized(a64::v::name, zd.size), zn.num);                       \
    }
#define BINARY(name)                                                                               \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        if (has_arithmetic(c, zd.size))                                                            \
            write_lanes(c, zd.num, fp_sized(a64::v::name, zd.size), zn.num, zm.num);               \
    }
UNARY(frecpe)
UNARY(frsqrte)
BINARY(frecps)
BINARY(frsqrts)

void sve::native_frecpx_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    const unsigned size = zd.size;
    if (!has_arithmetic(c, size))
        return;
    const auto operation = [&](unsigned d, unsigned n) {
        put_lane_by_lane(c, size, d, [&](unsigned t, unsigned lane) {
            c.put(a64::scalar::lane(size, lane), t, n);
            c.put(fp_sized(a64::v::frecpx, size), t, t);
        });
    };
    merge_fp_lanes(c, zd.num, pg.num, size, operation, zn.num);
}

// ---- Scales -------------------------------------------------------------------------------------

// Times a power of two is times three that are normal numbers. The last has as much as it can of the exponent, so what is
// rounded before the last product is far below all numbers, or far above.
void sve::native_fscale_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    const unsigned size = zdn.dst_size;
    if (!has_arithmetic(c, size))
        return;
    const number_format format = format_of(size);
    const unsigned least = broadcast(c, size, 1 - format.bias),
                   bias = broadcast(c, size, format.bias); // and the greatest exponent
    const auto operation = [&](unsigned d, unsigned n, unsigned m) {
        const unsigned rest = c.v(), middle = c.v(), last = c.v();
        const auto put_power = [&](unsigned power) {
            c.put(sized(a64::v::add, size), power, power, bias);
            c.put(a64::v::shl(size, format.fraction_bits), power, power);
        };
        const auto put_limited = [&](unsigned limited, unsigned exponent) {
            c.scope([&] {
                const unsigned bounded = c.v();
                smin.put(c, size, bounded, exponent, bias);
                smax.put(c, size, limited, bounded, least);
            });
        };
        put_limited(last, m);
        c.put(sized(a64::v::sub, size), rest, m, last);
        put_limited(middle, rest);
        c.put(sized(a64::v::sub, size), rest, rest, middle);
        put_limited(rest, rest);
        const word_t fmul = fp_sized(a64::v::fmul, size);
        put_power(rest);
        c.put(fmul, rest, n, rest);
        put_power(middle);
        c.put(fmul, rest, rest, middle);
        put_power(last);
        c.put(fmul, d, rest, last);
    };
    merge_fp_lanes(c, zdn.num, pg.num, size, operation, zdn.num, zm.num);
}

// ---- Powers of two ------------------------------------------------------------------------------

// The low bits of each lane find the fraction in a table, those above them are the exponent.
void sve::native_fexpa_zz(code &c, aarch64_z_reg zd, aarch64_z_reg zn) {
    const unsigned size = zd.size;
    const number_format format = format_of(size);
    const unsigned exponents = broadcast(c, size, format.exponent),
                   offsets = broadcast(c, size, ((1u << format.code_bits) - 1) << size);
    const unsigned table = c.x();
    c.set_x(table, reinterpret_cast<uint64_t>(format.powers));
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n) {
            const unsigned offset = c.v(), entry = c.x();
            c.put(a64::v::shl(size, size), offset, n);
            c.put(a64::v::and_, offset, offset, offsets);
            c.put(a64::v::shl(size, format.fraction_bits - format.code_bits), d, n);
            c.put(a64::v::and_, d, d, exponents);
            for (unsigned lane = 0; lane < chunk_bytes >> size; lane++) {
                c.put(a64::v::umov(size, lane), entry, offset);
                c.put(a64::load_byte_at | size << 30, entry, table, entry);
                c.put(a64::v::ins(size, lane), offset, entry);
            }
            c.put(a64::v::orr, d, d, offset);
        },
        zn.num);
}

// ---- Sines and cosines --------------------------------------------------------------------------

// Zdn = Zdn * |Zm| + a coefficient: of the sine, or where Zm is negative of the cosine.
void sve::native_ftmad_zzi(code &c, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned index) {
    const unsigned size = zdn.dst_size;
    if (!has_arithmetic(c, size))
        return;
    const unsigned sine = broadcast(c, size, coefficient(size, index)),
                   cosine = broadcast(c, size, coefficient(size, index + 8));
    write_lanes(
        c, zdn.num,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned sum = c.v(), absolute = c.v();
            c.put(a64::v::sshr(size, (8u << size) - 1), sum, m);
            c.put(a64::v::bsl, sum, cosine, sine);
            c.put(fp_sized(a64::v::fabs, size), absolute, m);
            c.put(fp_sized(a64::v::fmla, size), sum, n, absolute);
            c.put(a64::v::mov, d, sum, sum);
        },
        zdn.num, zm.num);
}

// Zn * Zn with the lowest bit of Zm as its sign, but for NaNs.
void sve::native_ftsmul_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    const unsigned size = zd.size;
    if (!has_arithmetic(c, size))
        return;
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned is_number = c.v(), sign = c.v();
            c.put(a64::v::shl(size, (8u << size) - 1), sign, m);
            c.put(fp_sized(a64::v::fmul, size), d, n, n);
            c.put(fp_sized(a64::v::fcmeq, size), is_number, d, d);
            c.put(a64::v::and_, sign, sign, is_number);
            c.put(a64::v::orr, d, d, sign);
        },
        zn.num, zm.num);
}

// By the low bits of Zm: Zn or 1.0, and the one or its negative.
void sve::native_ftssel_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    const unsigned size = zd.size, highest = (8u << size) - 1;
    const number_format format = format_of(size);
    const unsigned one = broadcast(c, size, format.bias << format.fraction_bits);
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned factor = c.v(), sign = c.v();
            c.put(a64::v::shl(size, highest), factor, m);
            c.put(a64::v::sshr(size, highest), factor, factor);
            c.put(a64::v::bsl, factor, one, n);
            c.put(a64::v::ushr(size, 1), sign, m);
            c.put(a64::v::shl(size, highest), sign, sign);
            c.put(a64::v::eor, d, factor, sign);
        },
        zn.num, zm.num);
}
