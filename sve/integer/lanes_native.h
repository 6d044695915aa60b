#pragma once

// What the translations of several integer families are made of.

#include "sve/native/a64_integer.h"
#include "sve/native/lanes.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace sve::native {

// A scratch V register with the value in all lanes of a size.
inline unsigned broadcast(code &c, unsigned size, uint64_t value) {
    const uint64_t lane = value & ~uint64_t{0} >> (64 - (8u << size));
    value = lane;
    for (unsigned bits = 8u << size; bits < 64; bits *= 2)
        value |= value << bits;
    unsigned bytes = 0, whole = 0; // those that are ones, and those that are ones or zeros
    for (unsigned i = 0; i < 8; i++) {
        const uint64_t byte = value >> 8 * i & 0xff;
        bytes |= unsigned{byte == 0xff} << i;
        whole += byte == 0xff || byte == 0;
    }
    if (whole < 8 && (size == sve_size_d || lane > 0xff))
        return c.constant(value, value);
    const word_t made =
        whole == 8 ? a64::v::movi_bytes(bytes) : a64::v::movi(size, static_cast<unsigned>(lane));
    const unsigned d = c.v();
    c.put(made | d);
    return d;
}

inline uint64_t greatest_signed(unsigned size) {
    return ~uint64_t{0} >> (65 - (8u << size));
}

// Minimum or maximum, which doublewords have only by a comparison.
struct extreme {
    word_t narrow, greater;
    bool is_minimum;

    void put(code &c, unsigned size, unsigned d, unsigned n, unsigned m) const {
        if (size != sve_size_d) {
            c.put(sized(narrow, size), d, n, m);
            return;
        }
        const unsigned takes_n = d == n || d == m ? c.v() : d;
        c.put(sized(greater, size), takes_n, is_minimum ? m : n, is_minimum ? n : m);
        if (d == n)
            c.put(a64::v::bif, d, m, takes_n);
        else if (d == m)
            c.put(a64::v::bit, d, n, takes_n);
        else
            c.put(a64::v::bsl, d, n, m);
    }
    auto of(code &c, unsigned size) const {
        return [this, &c, size](unsigned d, unsigned n, unsigned m) { put(c, size, d, n, m); };
    }
};
inline constexpr extreme smax = {a64::v::smax, a64::v::cmgt, false},
                         smin = {a64::v::smin, a64::v::cmgt, true},
                         umax = {a64::v::umax, a64::v::cmhi, false},
                         umin = {a64::v::umin, a64::v::cmhi, true};

// ---- By general registers -----------------------------------------------------------------------

// Makes the row at an offset of the state of those of the sources, lane by lane, where the operation is one of general
// registers alone: operation(d, n…), in which d is the first n. Doublewords or words, two at a time.
template <class Operation, class... Source>
void write_row_by_x(code &c, unsigned row, unsigned size, const Operation &operation,
                    Source... source) {
    constexpr size_t count = sizeof...(source);
    const unsigned rows[] = {c.state().z(source)..., row};
    const auto pair = size == sve_size_d ? a64::load_store_pair : a64::load_store_words;
    const unsigned bytes = 2u << size;
    c.scope([&] {
        std::array<unsigned, count + 1> address{};
        for (size_t k = 0; k <= count; k++) {
            const size_t same = static_cast<size_t>(std::find(rows, rows + k, rows[k]) - rows);
            address[k] = same < k ? address[same] : c.address_in_state(rows[k]);
        }
        std::array<unsigned, count> low{}, high{};
        for (size_t k = 0; k < count; k++) {
            low[k] = c.x();
            high[k] = c.x();
        }
        for (unsigned offset = 0; offset < c.vector_bytes(); offset += bytes) {
            const auto at = static_cast<int>(offset);
            for (size_t k = 0; k < count; k++)
                c.put(pair(true, low[k], high[k], address[k], at));
            for (const auto &x : {low, high})
                std::apply([&](auto... n) { put_operation(c, operation, x[0], n...); }, x);
            c.put(pair(false, low[0], high[0], address[count], at));
        }
    });
}

// Zd = operation(sources…) in all lanes; and in the active ones, of which the others keep their value.
template <class Operation, class... Source>
void write_lanes_by_x(code &c, unsigned zd, unsigned size, const Operation &operation,
                      Source... source) {
    (c.spill_z(source), ...);
    write_row_by_x(c, c.state().z(zd), size, operation, source...);
    c.fill_z(zd);
}
template <class Operation, class... Source>
void merge_lanes_by_x(code &c, unsigned zd, unsigned pg, unsigned size, const Operation &operation,
                      Source... source) {
    if (c.all_true(pg, size)) {
        write_lanes_by_x(c, zd, size, operation, source...);
        return;
    }
    (c.spill_z(source), ...);
    write_row_by_x(c, c.state().spare(), size, operation, source...);
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), result = c.v(), d = c.load_z(zd, i);
        c.load_v(result, c.state().spare() + i * chunk_bytes);
        c.put(a64::v::bit, d, result, active);
        c.store_z(zd, i, d);
    });
}

} // namespace sve::native
