#pragma once

// The common shapes of lane-wise translations. `operation` is what puts the native instructions down for one chunk:
// operation(d, n…), with V registers, makes d of the others; or it is just the one instruction that does.

#include "sve/native/code.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <tuple>

namespace sve::native {

template <class Operation, class... Source>
void put_operation(code &c, const Operation &operation, unsigned d, Source... source) {
    if constexpr (std::convertible_to<Operation, word_t>)
        c.put(word_t{operation}, d, source...);
    else
        operation(d, source...);
}

// The V registers of chunk i of Z registers, of which each is loaded once.
template <class... Source>
std::array<unsigned, sizeof...(Source)> load_chunks(code &c, unsigned i, Source... source) {
    const std::array<unsigned, sizeof...(Source)> numbers = {source...};
    std::array<unsigned, sizeof...(Source)> loaded;
    for (auto number = numbers.begin(); number != numbers.end(); number++) {
        const auto first = std::find(numbers.begin(), number, *number);
        loaded[number - numbers.begin()] =
            first == number ? c.load_z(*number, i) : loaded[first - numbers.begin()];
    }
    return loaded;
}

// Zd = operation(sources…) in all lanes. An operation of several instructions must not write d before it has read the
// sources, which may be the same register.
template <class Operation, class... Source>
void write_lanes(code &c, unsigned zd, const Operation &operation, Source... source) {
    c.for_each_chunk([&](unsigned i) {
        std::apply(
            [&](auto first, auto... others) {
                const unsigned d = i == 0 ? zd : first;
                put_operation(c, operation, d, first, others...);
                c.store_z(zd, i, d);
            },
            load_chunks(c, i, source...));
    });
}

// The same in the active lanes of a size; the others keep their value.
template <class Operation, class... Source>
void merge_lanes(code &c, unsigned zd, unsigned pg, unsigned size, const Operation &operation,
                 Source... source) {
    if (c.all_true(pg, size)) {
        write_lanes(c, zd, operation, source...);
        return;
    }
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), result = c.v(), d = c.load_z(zd, i);
        // The destination mostly is a source, too.
        put_operation(c, operation, result, (source == zd ? d : c.load_z(source, i))...);
        c.put(a64::v::bit, d, result, active);
        c.store_z(zd, i, d);
    });
}

} // namespace sve::native
