#pragma once

// Element counts by pattern, as the instructions that count by the vector length name them.

namespace sve {

// Elements that a pattern means where a vector has n of them. Codes without a name mean none.
constexpr unsigned pattern_count(unsigned long pattern, unsigned n) {
    constexpr unsigned pow2 = 0, vl1 = 1, vl8 = 8, vl16 = 9, vl256 = 13, mul4 = 29, mul3 = 30,
                       all = 31;
    const auto if_it_fits = [n](unsigned count) { return count <= n ? count : 0; };
    switch (pattern) {
    case pow2: {
        unsigned power = 1;
        while (power * 2 <= n)
            power *= 2;
        return power;
    }
    case mul4:
        return n / 4 * 4;
    case mul3:
        return n / 3 * 3;
    case all:
        return n;
    default:
        if (pattern >= vl1 && pattern <= vl8)
            return if_it_fits(static_cast<unsigned>(pattern));
        if (pattern >= vl16 && pattern <= vl256)
            return if_it_fits(16u << (pattern - vl16));
        return 0;
    }
}

} // namespace sve

// The same by the name that the reference functions use.
constexpr int VecTrueILength(unsigned long pattern, int n) {
    return static_cast<int>(sve::pattern_count(pattern, static_cast<unsigned>(n)));
}
