#include "sve/predicate/index_native.h"

#include "sve/native/predicates.h"

using namespace sve;
using namespace sve::native;

// ---- INDEX --------------------------------------------------------------------------------------

// A V register with first + e · step in lane e.
static unsigned sequence(code &c, unsigned size, uint64_t first, uint64_t step = 0) {
    const unsigned bits = 8u << size, half = 64 / bits;
    const uint64_t lane = ~uint64_t{0} >> (64 - bits);
    uint64_t halves[2] = {};
    for (unsigned e = 0; e < 2 * half; e++)
        halves[e / half] |= ((first + e * step) & lane) << e % half * bits;
    return c.constant(halves[0], halves[1]);
}

static unsigned in_all_lanes(code &c, unsigned size, int value) {
    return sequence(c, size, static_cast<uint64_t>(int64_t{value}));
}
static unsigned in_all_lanes(code &c, unsigned size, aarch64_i_reg value) {
    const unsigned lanes = c.v();
    c.put(a64::v::dup(size), lanes, c.read_x(value.num));
    return lanes;
}

// What is different from lane to lane, and from chunk to chunk.
struct steps {
    unsigned of_lanes, of_chunks;
};
static steps steps_of(code &c, unsigned size, int step) {
    const auto one = static_cast<uint64_t>(int64_t{step});
    return {sequence(c, size, 0, one), sequence(c, size, one * (chunk_bytes >> size))};
}
static steps steps_of(code &c, unsigned size, aarch64_i_reg step) {
    const unsigned lanes = element_numbers(c, size, 0), all = in_all_lanes(c, size, step);
    if (size == sve_size_d) {
        c.put(sized(a64::v::neg, size), lanes,
              lanes); // 0 and all ones: there is no product of doublewords
        c.put(a64::v::and_, lanes, lanes, all);
    } else {
        c.put(sized(a64::v::mul, size), lanes, lanes, all);
    }
    c.put(a64::v::shl(size, 4 - size), all, all);
    return {lanes, all};
}

template <class Base, class Step>
static void write_sequence(code &c, aarch64_z_reg zd, Base base, Step step) {
    const word_t add = sized(a64::v::add, zd.size);
    const steps by = steps_of(c, zd.size, step);
    const unsigned lanes = by.of_lanes;
    c.put(add, lanes, lanes, in_all_lanes(c, zd.size, base));
    for (unsigned i = 0; i < c.chunks(); i++) {
        c.store_z(zd.num, i, lanes);
        if (i != c.chunks() - 1)
            c.put(add, lanes, lanes, by.of_chunks);
    }
}

void sve::native_index_zii(code &c, aarch64_z_reg zd, int base, int step) {
    const auto first = static_cast<uint64_t>(int64_t{base}),
               by = static_cast<uint64_t>(int64_t{step});
    c.for_each_chunk([&](unsigned i) {
        c.store_z(zd.num, i, sequence(c, zd.size, first + by * (i * chunk_bytes >> zd.size), by));
    });
}
#define INDEX(name, Base, Step)                                                                    \
    void sve::native_index_##name(code &c, aarch64_z_reg zd, Base base, Step step) {               \
        write_sequence(c, zd, base, step);                                                         \
    }
INDEX(zir, int, aarch64_i_reg)
INDEX(zri, aarch64_i_reg, int)
INDEX(zrr, aarch64_i_reg, aarch64_i_reg)

// ---- The vector length --------------------------------------------------------------------------

// Rd = Rn + amount
static void add_amount(code &c, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int amount) {
    constexpr unsigned reach = 4096;
    const auto distance = static_cast<unsigned>(amount < 0 ? -amount : amount);
    const word_t word = amount < 0 ? a64::sub_immediate : a64::add_immediate;
    const bool to_sp = rd.num == sp;
    const unsigned n = c.read_x_or_sp(rn.num), d = to_sp ? c.x() : c.target_x(rd.num);
    if (distance < reach) {
        c.put(word | distance << 10, d, n);
    } else {
        c.put(word | a64::immediate_shifted | (distance / reach) << 10, d, n);
        if (distance % reach)
            c.put(word | (distance % reach) << 10, d, d);
    }
    if (to_sp)
        c.store_sp(d);
    else
        c.store_x(rd.num, d);
}

void sve::native_addvl_rri(code &c, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
    add_amount(c, rd, rn, imm * static_cast<int>(c.vector_bytes()));
}

void sve::native_addpl_rri(code &c, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
    const int amount = imm * static_cast<int>(c.vector_bytes() / 8);
    if (rd.num == sp && amount % 16 != 0)
        return c.decline(); // the frame wouldn't have its alignment there
    add_amount(c, rd, rn, amount);
}

void sve::native_rdvl_ri(code &c, aarch64_i_reg xd, int imm) {
    const unsigned d = c.target_x(xd.num);
    c.set_x(d, static_cast<uint64_t>(imm * static_cast<int64_t>(c.vector_bytes())));
    c.store_x(xd.num, d);
}
