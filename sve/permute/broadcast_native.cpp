#include "sve/permute/broadcast_native.h"

#include "sve/native/rows.h"

using namespace sve;
using namespace sve::native;

// ---- The value in every element -----------------------------------------------------------------

// All lanes of a size of V register d = the value, cut to the lane.
static void set_lanes(code &c, unsigned d, unsigned size, uint64_t value) {
    const uint64_t mask = ~uint64_t{0} >> (64 - (8u << size)), byte = value & 0xff;
    if ((value & mask) == (byte * 0x0101010101010101 & mask)) {
        c.put(a64::v::movi(sve_size_b, static_cast<unsigned>(byte)), d);
        return;
    }
    c.scope([&] {
        const unsigned x = c.x();
        c.set_x(x, value);
        c.put(a64::v::dup(size), d, x);
    });
}

static void broadcast(code &c, aarch64_z_reg zd, uint64_t value) {
    set_lanes(c, zd.num, zd.size, value);
    repeat_chunk(c, zd.num);
}

// The image of the elements' size.
static uint64_t image(const aarch64_sve_fp_dup_imm &constant, unsigned size) {
    return size == sve_size_h ? constant.half : size == sve_size_s ? constant.single : constant.dbl;
}

void sve::native_dup_zi(code &c, aarch64_z_reg zd, int immediate) {
    broadcast(c, zd, static_cast<uint64_t>(int64_t{immediate}));
}

void sve::native_dup_zr(code &c, aarch64_z_reg zd, aarch64_i_rsp_reg rn) {
    c.scope([&] { c.put(a64::v::dup(zd.size), zd.num, c.read_x_or_sp(rn.num)); });
    repeat_chunk(c, zd.num);
}

void sve::native_fdup_zi(code &c, aarch64_z_reg zd, aarch64_sve_fp_dup_imm immediate) {
    broadcast(c, zd, image(immediate, zd.size));
}

void sve::native_dupm_zi(code &c, aarch64_z_reg zd, aarch64_sve_logical64_imm immediate) {
    const auto word = static_cast<uint32_t>(immediate.mask);
    zd.size = immediate.mask >> 32 == word ? sve_size_s : sve_size_d;
    broadcast(c, zd, zd.size == sve_size_s ? word : immediate.mask);
}

void sve::native_dup_zzi(code &c, aarch64_z_reg zd, aarch64_z_reg zn, unsigned index) {
    const unsigned offset = index << zd.size, first = offset % chunk_bytes;
    if (offset >= c.vector_bytes()) {
        zd.size = sve_size_b;
        broadcast(c, zd, 0);
        return;
    }
    unsigned from = zn.num;
    if (offset >= chunk_bytes) {
        from = zd.num;
        c.load_v(from, c.state().z(zn.num) + offset - first);
    }
    if (zd.size != sve_size_q)
        c.put(a64::v::dup_lane(zd.size, first >> zd.size), zd.num, from);
    else if (from != zd.num)
        c.put(a64::v::mov, zd.num, from, from);
    repeat_chunk(c, zd.num);
}

// ---- The value in the active elements -----------------------------------------------------------

// Predicates of CPY and SEL mostly come from comparisons, so they aren't tested to be all true.

// Zd = the V register value(i) of chunk i in the active lanes of a size.
template <class Value>
static void merge(code &c, unsigned zd, unsigned pg, unsigned size, const Value &value) {
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), d = c.load_z(zd, i);
        c.put(a64::v::bit, d, value(i), active);
        c.store_z(zd, i, d);
    });
}

// The same with zeros in the others.
template <class Value>
static void zero_inactive(code &c, unsigned zd, unsigned pg, unsigned size, const Value &value) {
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), d = i == 0 ? zd : active;
        c.put(a64::v::and_, d, value(i), active);
        c.store_z(zd, i, d);
    });
}

// Zd = V register d that write(d) makes, in the active lanes, or zeros in the others.
template <class Write>
static void copy_value(code &c, aarch64_z_reg zd, aarch64_p_reg pg, const Write &write) {
    if (c.is_known_all_true(pg.num, zd.size)) {
        write(zd.num);
        repeat_chunk(c, zd.num);
        return;
    }
    const unsigned value = c.v();
    write(value);
    const auto same = [&](unsigned) { return value; };
    if (pg.size == sve_pred_zeroing)
        zero_inactive(c, zd.num, pg.num, zd.size, same);
    else
        merge(c, zd.num, pg.num, zd.size, same);
}

void sve::native_cpy_zpi(code &c, aarch64_z_reg zd, aarch64_p_reg pg, int immediate) {
    copy_value(c, zd, pg, [&](unsigned d) {
        set_lanes(c, d, zd.size, static_cast<uint64_t>(int64_t{immediate}));
    });
}

void sve::native_fcpy_zpi(code &c, aarch64_z_reg zd, aarch64_p_reg pg,
                          aarch64_sve_fp_dup_imm immediate) {
    copy_value(c, zd, pg, [&](unsigned d) { set_lanes(c, d, zd.size, image(immediate, zd.size)); });
}

void sve::native_cpy_zpr(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_i_rsp_reg rn) {
    copy_value(c, zd, pg, [&](unsigned d) {
        c.scope([&] { c.put(a64::v::dup(zd.size), d, c.read_x_or_sp(rn.num)); });
    });
}

void sve::native_cpy_zpv(code &c, aarch64_z_reg zd, aarch64_p_reg pg, unsigned vn) {
    copy_value(c, zd, pg, [&](unsigned d) { c.put(a64::v::dup_lane(zd.size, 0), d, vn); });
}

// ---- Selection ----------------------------------------------------------------------------------

void sve::native_sel_zpzz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                          aarch64_z_reg zm) {
    if (c.is_known_all_true(pg.num, zd.size)) {
        copy_z(c, zd.num, zn.num);
        return;
    }
    if (zd.num == zm.num) {
        merge(c, zd.num, pg.num, zd.size, [&](unsigned i) { return c.load_z(zn.num, i); });
        return;
    }
    c.for_each_chunk([&](unsigned i) {
        const unsigned chosen = c.mask(pg.num, zd.size, i);
        c.put(a64::v::bsl, chosen, c.load_z(zn.num, i), c.load_z(zm.num, i));
        c.store_z(zd.num, i, chosen);
    });
}

void sve::native_movprfx_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    const auto chunk = [&](unsigned i) { return c.load_z(zn.num, i); };
    if (c.all_true(pg.num, zd.size))
        copy_z(c, zd.num, zn.num);
    else if (pg.size == sve_pred_zeroing)
        zero_inactive(c, zd.num, pg.num, zd.size, chunk);
    else
        merge(c, zd.num, pg.num, zd.size, chunk);
}

void sve::native_movprfx_zz(code &c, aarch64_z_reg zd, aarch64_z_reg zn) {
    copy_z(c, zd.num, zn.num);
}
