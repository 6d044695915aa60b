#pragma once

#include <cstdint>
#include <string_view>

namespace conformance {

// A small generator whose numbers follow from its seed alone, on every machine.
class random_numbers {
public:
    explicit random_numbers(uint64_t seed) : state_(seed) {}

    uint64_t next() {
        uint64_t value = state_ += 0x9e3779b97f4a7c15;
        value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
        value = (value ^ value >> 27) * 0x94d049bb133111eb;
        return value ^ value >> 31;
    }
    // 0 to count - 1.
    unsigned below(unsigned count) { return (next() >> 32) * count >> 32; }
    bool one_in(unsigned count) { return below(count) == 0; }

private:
    uint64_t state_;
};

// A seed made from a seed and a number or name, so that one part of a run can be repeated alone.
inline uint64_t seed_of(uint64_t seed, uint64_t number) {
    return random_numbers(random_numbers(seed).next() ^ number).next();
}
inline uint64_t seed_of(uint64_t seed, std::string_view name) {
    for (const char letter : name)
        seed = seed_of(seed, static_cast<uint64_t>(letter));
    return seed;
}

} // namespace conformance
