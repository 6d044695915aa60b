#include "sve/fp/conversions_native.h"

#include "sve/native/fp_lanes.h"

using namespace sve;
using namespace sve::native;

// Zd = operation(Zn) in the active lanes. Zeros are harmless, as integers too.
#define CONVERT(name, ...)                                                                         \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        const auto operation = [&](unsigned d, unsigned n) { __VA_ARGS__; };                       \
        merge_fp_lanes(c, zd.num, pg.num, zd.size, operation, zn.num);                             \
    }
// The same by scalar instructions on halves
#define CONVERT_HALVES(name, ...)                                                                  \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        if (!has_arithmetic(c, sve_size_h))                                                        \
            return;                                                                                \
        const auto operation = [&](unsigned d, unsigned n) { __VA_ARGS__; };                       \
        merge_fp_lanes(c, zd.num, pg.num, zd.size, operation, zn.num);                             \
    }

// ---- Between lanes of one size ------------------------------------------------------------------

#define SAME_SIZE(name)                                                                            \
    CONVERT_HALVES(name##_h2h, c.put(fp_sized(a64::v::name, sve_size_h), d, n))                    \
    CONVERT(name##_s2s, c.put(fp_sized(a64::v::name, sve_size_s), d, n))                           \
    CONVERT(name##_d2d, c.put(fp_sized(a64::v::name, sve_size_d), d, n))
SAME_SIZE(scvtf)
SAME_SIZE(ucvtf)
SAME_SIZE(fcvtzs)
SAME_SIZE(fcvtzu)

// ---- From integers ------------------------------------------------------------------------------

// Lane by lane: the result is rounded once.
static void from_x(code &c, unsigned size, word_t convert, unsigned d, unsigned n) {
    put_lane_by_lane(c, size, d, [&](unsigned t, unsigned lane) {
        const unsigned integer = c.x();
        c.put(a64::v::umov(size, lane), integer, n);
        c.put(convert, t, integer);
    });
}
CONVERT_HALVES(scvtf_s2h, from_x(c, sve_size_s, a64::scalar::scvtf_h_w, d, n))
CONVERT_HALVES(ucvtf_s2h,
               from_x(c, sve_size_s, a64::scalar::scvtf_h_w | a64::scalar::is_unsigned, d, n))
CONVERT_HALVES(scvtf_d2h, from_x(c, sve_size_d, a64::scalar::scvtf_h_x, d, n))
CONVERT_HALVES(ucvtf_d2h,
               from_x(c, sve_size_d, a64::scalar::scvtf_h_x | a64::scalar::is_unsigned, d, n))
CONVERT(scvtf_d2s, from_x(c, sve_size_d, a64::scalar::scvtf_s_x, d, n))
CONVERT(ucvtf_d2s, from_x(c, sve_size_d, a64::scalar::scvtf_s_x | a64::scalar::is_unsigned, d, n))

// The low word of each lane is extended first.
CONVERT(scvtf_s2d, c.put(a64::v::shl(sve_size_d, 32), d, n);
        c.put(a64::v::sshr(sve_size_d, 32), d, d); c.put(fp_sized(a64::v::scvtf, sve_size_d), d, d))
CONVERT(ucvtf_s2d, c.put(a64::v::shl(sve_size_d, 32), d, n);
        c.put(a64::v::ushr(sve_size_d, 32), d, d); c.put(fp_sized(a64::v::ucvtf, sve_size_d), d, d))

// ---- To integers --------------------------------------------------------------------------------

// Lane by lane, by a general register; the integer fills the lane.
static void to_x(code &c, unsigned size, word_t convert, bool extend, unsigned d, unsigned n) {
    for (unsigned lane = 0; lane < chunk_bytes >> size; lane++)
        c.scope([&] {
            const unsigned scalar = c.v(), integer = c.x();
            c.put(a64::scalar::lane(size, lane), scalar, n);
            c.put(convert, integer, scalar);
            if (extend)
                c.put(a64::sxtw, integer, integer);
            c.put(a64::v::ins(size, lane), d, integer);
        });
}
CONVERT_HALVES(fcvtzs_h2s, to_x(c, sve_size_s, a64::scalar::fcvtzs_w_h, false, d, n))
CONVERT_HALVES(fcvtzu_h2s,
               to_x(c, sve_size_s, a64::scalar::fcvtzs_w_h | a64::scalar::is_unsigned, false, d, n))
CONVERT_HALVES(fcvtzs_h2d, to_x(c, sve_size_d, a64::scalar::fcvtzs_x_h, false, d, n))
CONVERT_HALVES(fcvtzu_h2d,
               to_x(c, sve_size_d, a64::scalar::fcvtzs_x_h | a64::scalar::is_unsigned, false, d, n))
CONVERT(fcvtzs_d2s, to_x(c, sve_size_d, a64::scalar::fcvtzs_w_d, true, d, n))
CONVERT(fcvtzu_d2s,
        to_x(c, sve_size_d, a64::scalar::fcvtzs_w_d | a64::scalar::is_unsigned, false, d, n))

// ---- Between formats ----------------------------------------------------------------------------

// From the low half of each lane, which `size` is the size of; and to it.
static void widen(code &c, unsigned size, unsigned d, unsigned n) {
    c.put(a64::v::xtn(size), d, n);
    c.put(a64::v::fcvtl(size), d, d);
}
static void narrow(code &c, unsigned size, unsigned d, unsigned n) {
    c.put(a64::v::fcvtn(size), d, n);
    c.put(a64::v::uxtl(size), d, d);
}
CONVERT(fcvt_s2d, widen(c, sve_size_s, d, n))
CONVERT(fcvt_d2s, narrow(c, sve_size_s, d, n))
// A double has all singles, so they are rounded once.
CONVERT(fcvtzs_s2d, widen(c, sve_size_s, d, n); c.put(fp_sized(a64::v::fcvtzs, sve_size_d), d, d))
CONVERT(fcvtzu_s2d, widen(c, sve_size_s, d, n); c.put(fp_sized(a64::v::fcvtzu, sve_size_d), d, d))

// Native conversions of halves know the alternative format, these don't: the emulator runs them where FPCR has it.
static void leave_if_alternative(code &c) {
    constexpr unsigned alternative_half = 26;
    c.scope([&] {
        const unsigned control = c.x();
        c.put(a64::mrs | a64::fpcr, control);
        c.tbnz(control, alternative_half, c.leave());
    });
}
#define CONVERT_FORMAT(name, ...)                                                                  \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        leave_if_alternative(c);                                                                   \
        const auto operation = [&](unsigned d, unsigned n) { __VA_ARGS__; };                       \
        merge_fp_lanes(c, zd.num, pg.num, zd.size, operation, zn.num);                             \
    }
CONVERT_FORMAT(fcvt_h2s, widen(c, sve_size_h, d, n))
CONVERT_FORMAT(fcvt_s2h, narrow(c, sve_size_h, d, n))
CONVERT_FORMAT(fcvt_h2d, c.put(a64::v::xtn(sve_size_s), d, n); widen(c, sve_size_h, d, d);
               c.put(a64::v::fcvtl(sve_size_s), d, d))
// Rounded once, which takes a scalar.
CONVERT_FORMAT(fcvt_d2h, put_lane_by_lane(c, sve_size_d, d, [&](unsigned t, unsigned lane) {
                   c.put(a64::scalar::lane(sve_size_d, lane), t, n);
                   c.put(a64::scalar::fcvt_h_d, t, t);
               }))
