#include "sve/integer/logic_native.h"

#include "sve/integer/lanes_native.h"
#include "sve/native/rows.h"

using namespace sve;
using namespace sve::native;

// ---- Of two ------------------------------------------------------------------------------------

#define BITWISE(name, instruction)                                                                 \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zdn, aarch64_p_reg pg,                    \
                                  aarch64_z_reg zm) {                                              \
        merge_lanes(c, zdn.num, pg.num, zdn.dst_size, instruction, zdn.num, zm.num);               \
    }
BITWISE(and, a64::v::and_)
BITWISE(orr, a64::v::orr)
BITWISE(eor, a64::v::eor)
BITWISE(bic, a64::v::bic)

#define ZZZ(name, instruction)                                                                     \
    void sve::native_##name##_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
        write_lanes(c, zd.num, instruction, zn.num, zm.num);                                       \
    }
ZZZ(and, a64::v::and_)
ZZZ(eor, a64::v::eor)
ZZZ(bic, a64::v::bic)

// MOV, if it is of one register.
void sve::native_orr_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    if (zn.num == zm.num)
        copy_z(c, zd.num, zn.num);
    else
        write_lanes(c, zd.num, a64::v::orr, zn.num, zm.num);
}

#define ZI(name, instruction)                                                                      \
    void sve::native_##name##_zi(code &c, aarch64_z_reg zdn,                                       \
                                 aarch64_sve_logical64_imm immediate) {                            \
        const unsigned m = broadcast(c, sve_size_d, immediate.mask);                               \
        write_lanes(                                                                               \
            c, zdn.num, [&](unsigned d, unsigned n) { c.put(instruction, d, n, m); }, zdn.num);    \
    }
ZI(and, a64::v::and_)
ZI(orr, a64::v::orr)
ZI(eor, a64::v::eor)

// ---- Of one ------------------------------------------------------------------------------------

// The instructions for an element size, of which the first one is the only one that reads n, which d may be.
static void put_not(code &c, unsigned, unsigned d, unsigned n) {
    c.put(a64::v::not_, d, n);
}
static void put_cnot(code &c, unsigned size, unsigned d, unsigned n) {
    c.put(sized(a64::v::cmeq_zero, size), d, n);
    c.put(sized(a64::v::neg, size), d, d);
}
static void put_cnt(code &c, unsigned size, unsigned d, unsigned n) {
    c.put(a64::v::cnt, d, n);
    for (unsigned narrow = 0; narrow < size; narrow++)
        c.put(sized(a64::v::uaddlp, narrow), d, d);
}
// Units of a size
static void put_reversed(code &c, unsigned unit, unsigned size, unsigned d, unsigned n) {
    const word_t reverse = size == sve_size_h   ? a64::v::rev16
                           : size == sve_size_s ? a64::v::rev32
                                                : a64::v::rev64;
    c.put(sized(reverse, unit), d, n);
}
static void put_revb(code &c, unsigned size, unsigned d, unsigned n) {
    put_reversed(c, sve_size_b, size, d, n);
}
static void put_revh(code &c, unsigned size, unsigned d, unsigned n) {
    put_reversed(c, sve_size_h, size, d, n);
}
static void put_revw(code &c, unsigned size, unsigned d, unsigned n) {
    put_reversed(c, sve_size_s, size, d, n);
}
static void put_rbit(code &c, unsigned size, unsigned d, unsigned n) {
    c.put(a64::v::rbit, d, n);
    if (size != sve_size_b)
        put_revb(c, size, d, d);
}

#define ZPZ(name)                                                                                  \
    void sve::native_##name##_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        const auto put = [&](unsigned d, unsigned n) { put_##name(c, zd.size, d, n); };            \
        merge_lanes(c, zd.num, pg.num, zd.size, put, zn.num);                                      \
    }
ZPZ(not )
ZPZ(cnot)
ZPZ(cnt)
ZPZ(rbit)
ZPZ(revb)
ZPZ(revh)
ZPZ(revw)

static void count_leading(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                          word_t narrow, word_t doubleword) {
    if (zd.size == sve_size_d)
        merge_lanes_by_x(c, zd.num, pg.num, zd.size, doubleword, zn.num);
    else
        merge_lanes(c, zd.num, pg.num, zd.size, sized(narrow, zd.size), zn.num);
}
void sve::native_cls_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    count_leading(c, zd, pg, zn, a64::v::cls, a64::cls);
}
void sve::native_clz_zpz(code &c, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    count_leading(c, zd, pg, zn, a64::v::clz, a64::clz);
}
