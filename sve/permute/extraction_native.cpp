#include "sve/permute/extraction_native.h"

#include "sve/native/rows.h"

using namespace sve;
using namespace sve::native;

// Xt = the element of a size at an address and an offset; Vt, whose rest is cleared
static constexpr word_t load_at(unsigned size) {
    return a64::load_byte_at | size << 30;
}
static constexpr word_t load_v_at(unsigned size) {
    return 1u << 26 | load_at(size);
}
// Xd = Xn, cut to an element
static constexpr word_t cut_to_element(unsigned size) {
    constexpr word_t same = a64::orr | xzr << 16;
    return size == sve_size_d ? same : 0x92400000 | ((8u << size) - 1) << 10;
}

// Which element an instruction takes: the one behind the last active one, or this itself.
enum which_element { a, b };

// An X register with the byte offset of the element. Goes to `none` if none is active.
static unsigned find_element(code &c, which_element which, unsigned pg, unsigned size, label none) {
    const unsigned offset = last_active(c, pg, size, none);
    if (which == b)
        return offset;
    c.scope([&] {
        const unsigned from_end = c.x();
        const label inside = c.new_label();
        c.put(a64::add_immediate | 1u << size << 10, offset, offset);
        c.put(a64::sub_immediate | c.vector_bytes() << 10, from_end, offset);
        c.cbnz(from_end, inside);
        c.set_x(offset, 0);
        c.bind(inside);
    });
    return offset;
}

// The same where an element is taken in any case.
static unsigned find_some_element(code &c, which_element which, unsigned pg, unsigned size) {
    const label none = c.new_label(), found = c.new_label();
    const unsigned offset = find_element(c, which, pg, size, none);
    c.b(found);
    c.bind(none);
    c.set_x(offset, which == a ? 0 : c.vector_bytes() - (1u << size));
    c.bind(found);
    return offset;
}

// An X register with the address of the row, which is made complete.
static unsigned row_in_memory(code &c, unsigned zn) {
    c.spill_z(zn);
    return c.address_in_state(c.state().z(zn));
}

// ---- LASTA, LASTB -------------------------------------------------------------------------------

static void last_r(code &c, which_element which, aarch64_i_reg rd, aarch64_p_reg pg,
                   aarch64_z_reg zn) {
    const unsigned offset = find_some_element(c, which, pg.num, zn.size),
                   row = row_in_memory(c, zn.num), d = c.target_x(rd.num);
    c.put(load_at(zn.size), d, row, offset);
    c.store_x(rd.num, d);
}

static void last_v(code &c, which_element which, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    const unsigned offset = find_some_element(c, which, pg.num, zn.size),
                   row = row_in_memory(c, zn.num);
    c.put(load_v_at(zn.size), vd, row, offset);
    clear_rest(c, vd);
}

// ---- CLASTA, CLASTB -----------------------------------------------------------------------------

static void conditional_r(code &c, which_element which, aarch64_i_reg rdn, aarch64_p_reg pg,
                          aarch64_z_reg zm) {
    const label none = c.new_label(), end = c.new_label();
    const unsigned old = c.read_x(rdn.num), d = c.target_x(rdn.num);
    const unsigned offset = find_element(c, which, pg.num, zm.size, none),
                   row = row_in_memory(c, zm.num);
    c.put(load_at(zm.size), d, row, offset);
    c.b(end);
    c.bind(none);
    c.put(cut_to_element(zm.size), d, old);
    c.bind(end);
    c.store_x(rdn.num, d);
}

static void conditional_v(code &c, which_element which, unsigned vdn, aarch64_p_reg pg,
                          aarch64_z_reg zm) {
    constexpr word_t dup_scalar = 0x5e000400;
    const label none = c.new_label(), end = c.new_label();
    const unsigned offset = find_element(c, which, pg.num, zm.size, none),
                   row = row_in_memory(c, zm.num);
    c.put(load_v_at(zm.size), vdn, row, offset);
    c.b(end);
    c.bind(none);
    c.put(dup_scalar | a64::v::lane(zm.size, 0), vdn, vdn);
    c.bind(end);
    clear_rest(c, vdn);
}

static void conditional_z(code &c, which_element which, aarch64_z_reg zdn, aarch64_p_reg pg,
                          aarch64_z_reg zm) {
    const unsigned size = zdn.dst_size;
    const label none = c.new_label();
    const unsigned offset = find_element(c, which, pg.num, size, none),
                   row = row_in_memory(c, zm.num);
    c.put(load_v_at(size), zdn.num, row, offset);
    c.put(a64::v::dup_lane(size, 0), zdn.num, zdn.num);
    repeat_chunk(c, zdn.num);
    c.bind(none);
}

// ---- Both elements ------------------------------------------------------------------------------

#define LAST(x)                                                                                    \
    void sve::native_last##x##_rpz(code &c, aarch64_i_reg rd, aarch64_p_reg pg,                    \
                                   aarch64_z_reg zn) {                                             \
        last_r(c, x, rd, pg, zn);                                                                  \
    }                                                                                              \
    void sve::native_last##x##_vpz(code &c, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {     \
        last_v(c, x, vd, pg, zn);                                                                  \
    }                                                                                              \
    void sve::native_clast##x##_rpz(code &c, aarch64_i_reg rdn, aarch64_p_reg pg,                  \
                                    aarch64_z_reg zm) {                                            \
        conditional_r(c, x, rdn, pg, zm);                                                          \
    }                                                                                              \
    void sve::native_clast##x##_vpz(code &c, unsigned vdn, aarch64_p_reg pg, aarch64_z_reg zm) {   \
        conditional_v(c, x, vdn, pg, zm);                                                          \
    }                                                                                              \
    void sve::native_clast##x##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                  \
                                    aarch64_z_reg zm) {                                            \
        conditional_z(c, x, zdn, pg, zm);                                                          \
    }
LAST(a)
LAST(b)
