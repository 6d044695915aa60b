#pragma once

// A few A64 words for tests of the analysis, by what they do to Z registers and where they go on. Distances are in
// words.

#include <cstdint>

namespace words {

constexpr uint32_t nop = 0xd503201f;
constexpr uint32_t ret = 0xd65f03c0;
constexpr uint32_t br_x1 = 0xd61f0020;
constexpr uint32_t blr_x1 = 0xd63f0020;
constexpr uint32_t trap = 0xd4200000;

constexpr uint32_t field(int distance, unsigned width, unsigned low) {
    return (static_cast<uint32_t>(distance) & ((1u << width) - 1)) << low;
}
constexpr uint32_t b(int distance) {
    return 0x14000000 | field(distance, 26, 0);
}
constexpr uint32_t bl(int distance) {
    return 0x94000000 | field(distance, 26, 0);
}
constexpr uint32_t cbz_x0(int distance) {
    return 0xb4000000 | field(distance, 19, 5);
}
// ldr qt, label; adr x1, label; add x1, x1, w0, sxtb #2
constexpr uint32_t load_literal(unsigned t, int distance) {
    return 0x9c000000 | field(distance, 19, 5) | t;
}
constexpr uint32_t adr_x1(int distance) {
    return 0x10000001 | field(distance, 19, 5);
}
constexpr uint32_t add_x1_entry = 0x8b208821;

// Native: movi dt, #0; ld4 {vt.4s - vt+3.4s}, [x0].
constexpr uint32_t write_v(unsigned t) {
    return 0x2f00e400 | t;
}
constexpr uint32_t load_4_v(unsigned t) {
    return 0x4c400800 | t;
}
// SVE: str zt, [x0]; mov zt.s, #0; add zda.s, p0/m, zda.s, zm.s.
constexpr uint32_t read_z(unsigned t) {
    return 0xe5804000 | t;
}
constexpr uint32_t replace_z(unsigned t) {
    return 0x25b8c000 | t;
}
constexpr uint32_t add_z(unsigned da, unsigned m) {
    return 0x04800000 | m << 5 | da;
}

} // namespace words
