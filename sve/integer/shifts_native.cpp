#include "sve/integer/shifts_native.h"

#include "sve/integer/lanes_native.h"

using namespace sve;
using namespace sve::native;

// ---- By counts in vectors ------------------------------------------------------------------------
//
// The native instruction takes the low byte of a lane as a signed count, to the right if it is negative, and knows what
// counts of the lane's width and more make of a value. So counts are limited to that, and negated.

namespace {
enum class kind : uint8_t { lsl, lsr, asr };
}

template <kind which>
static void put_shift(code &c, unsigned size, unsigned d, unsigned n, unsigned count) {
    c.put(sized(which == kind::asr ? a64::v::sshl : a64::v::ushl, size), d, n, count);
}

template <kind which>
static void shift_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm,
                      bool is_reversed) {
    const unsigned size = zdn.dst_size, most = broadcast(c, size, 8u << size);
    merge_lanes(
        c, zdn.num, pg.num, size,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned count = c.v();
            umin.put(c, size, count, is_reversed ? n : m, most);
            if (which != kind::lsl)
                c.put(sized(a64::v::neg, size), count, count);
            put_shift<which>(c, size, d, is_reversed ? m : n, count);
        },
        zdn.num, zm.num);
}

// By the doubleword of m that the element lies in
template <kind which>
static auto wide_shift(code &c, unsigned size) {
    const unsigned most = broadcast(c, sve_size_d, 8u << size),
                   low_byte = c.constant(0, 0x0808080808080808);
    return [=, &c](unsigned d, unsigned n, unsigned m) {
        const unsigned count = c.v();
        umin.put(c, sve_size_d, count, m, most);
        if (which != kind::lsl)
            c.put(sized(a64::v::neg, sve_size_b), count, count);
        c.put(a64::v::tbl, count, count, low_byte);
        put_shift<which>(c, size, d, n, count);
    };
}

// ---- By one count ----------------------------------------------------------------------------------

template <kind which>
static word_t shift_by(unsigned size, unsigned count) {
    return which == kind::lsl   ? a64::v::shl(size, count)
           : which == kind::lsr ? a64::v::ushr(size, count)
                                : a64::v::sshr(size, count);
}

#define SHIFT(name)                                                                                \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_z_reg zm) {                                              \
        shift_zpz<kind::name>(c, zdn, pg, zm, false);                                              \
    }                                                                                              \
    void sve::native_##name##r_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                   \
                                   aarch64_z_reg zm) {                                             \
        shift_zpz<kind::name>(c, zdn, pg, zm, true);                                               \
    }                                                                                              \
    void sve::native_##name##_wide_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,               \
                                       aarch64_z_reg zm) {                                         \
        const unsigned size = zdn.dst_size;                                                        \
        merge_lanes(c, zdn.num, pg.num, size, wide_shift<kind::name>(c, size), zdn.num, zm.num);   \
    }                                                                                              \
    void sve::native_##name##_wide_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn,                \
                                       aarch64_z_reg zm) {                                         \
        write_lanes(c, zd.num, wide_shift<kind::name>(c, zd.size), zn.num, zm.num);                \
    }                                                                                              \
    void sve::native_##name##_zpi(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned count) {  \
        const unsigned size = zdn.dst_size;                                                        \
        merge_lanes(c, zdn.num, pg.num, size, shift_by<kind::name>(size, count), zdn.num);         \
    }                                                                                              \
    void sve::native_##name##_zzi(code &c, aarch64_z_reg zd, aarch64_z_reg zn, unsigned count) {   \
        write_lanes(c, zd.num, shift_by<kind::name>(zd.size, count), zn.num);                      \
    }
SHIFT(lsl)
SHIFT(lsr)
SHIFT(asr)

// Rounded toward zero: with 2^count - 1 added to negative values. By the whole width nothing is left.
void sve::native_asrd_zpi(code &c, aarch64_z_reg zdn, aarch64_p_reg pg, unsigned count) {
    const unsigned size = zdn.dst_size, width = 8u << size;
    merge_lanes(
        c, zdn.num, pg.num, size,
        [&](unsigned d, unsigned n) {
            if (count == width) {
                c.put(a64::v::movi(sve_size_b, 0) | d);
                return;
            }
            const unsigned added = c.v();
            c.put(a64::v::sshr(size, width - 1), added, n);
            c.put(a64::v::ushr(size, width - count), added, added);
            c.put(sized(a64::v::add, size), d, n, added);
            c.put(a64::v::sshr(size, count), d, d);
        },
        zdn.num);
}

// ---- ADR -------------------------------------------------------------------------------------------

template <unsigned scale>
void sve::native_adr_scaled(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned offset = scale ? c.v() : m;
            if (scale)
                c.put(a64::v::shl(zd.size, scale), offset, m);
            c.put(sized(a64::v::add, zd.size), d, n, offset);
        },
        zn.num, zm.num);
}

// The low word to the top, and from there to where it is scaled
static void extended_adr(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                         word_t extend) {
    write_lanes(
        c, zd.num,
        [&](unsigned d, unsigned n, unsigned m) {
            const unsigned offset = c.v();
            c.put(a64::v::shl(sve_size_d, 32), offset, m);
            c.put(extend, offset, offset);
            c.put(sized(a64::v::add, sve_size_d), d, n, offset);
        },
        zn.num, zm.num);
}
template <unsigned scale>
void sve::native_adr_sxtw(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    extended_adr(c, zd, zn, zm, a64::v::sshr(sve_size_d, 32 - scale));
}
template <unsigned scale>
void sve::native_adr_uxtw(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    extended_adr(c, zd, zn, zm, a64::v::ushr(sve_size_d, 32 - scale));
}

#define ADR(name, scale)                                                                           \
    template void sve::native_adr_##name<scale>(code &, aarch64_z_reg, aarch64_z_reg,              \
                                                aarch64_z_reg);
#define SCALED(name) ADR(name, 0) ADR(name, 1) ADR(name, 2) ADR(name, 3)
SCALED(scaled)
SCALED(sxtw)
SCALED(uxtw)
