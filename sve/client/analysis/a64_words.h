#pragma once

// What the analysis reads of native A64 words: where control goes on, what they say about data, and whether they
// look like instructions at all. native_writes.h has the V registers that they write.

#include "sve/core/bits.h"

#include <cstdint>
#include <optional>

namespace sve::analysis {

enum class flow : uint8_t {
    next,          // on to the next word, whatever comes in between
    branch,        // there or to the next word
    jump,          // there
    call,          // there, and back to the next word
    indirect_call, // anywhere, and back to the next word
    indirect_jump, // anywhere
    function_return,
    stop, // nowhere: undefined words and traps
};

// Whether control can come to the next word.
constexpr bool falls_through(flow f) {
    return f == flow::next || f == flow::branch || f == flow::call || f == flow::indirect_call;
}

struct control {
    flow kind = flow::next;
    int32_t distance = 0; // in words, of branch, jump and call
};

constexpr control control_of(uint32_t word) {
    const auto distance = [word](unsigned high, unsigned low) {
        return sign_extend(bits(word, high, low), high - low + 1);
    };
    switch (bits(word, 28, 25)) {
    case 0b1010:
    case 0b1011:
        break;
    case 0b0000:
    case 0b0001:
    case 0b0011:
        return {flow::stop};
    default:
        return {};
    }
    if (bits(word, 30, 26) == 0b00101) // B, BL
        return {bits(word, 31, 31) ? flow::call : flow::jump, distance(25, 0)};
    if (bits(word, 30, 25) == 0b011010) // CBZ, CBNZ
        return {flow::branch, distance(23, 5)};
    if (bits(word, 30, 25) == 0b011011) // TBZ, TBNZ
        return {flow::branch, distance(18, 5)};
    if (bits(word, 31, 24) == 0b01010100) // B.cond, BC.cond
        return {flow::branch, distance(23, 5)};
    if (bits(word, 31, 25) == 0b1101011) { // by register; bit 24: with a key for the address
        switch (bits(word, 23, 21)) {
        case 0b000:
            return {flow::indirect_jump};
        case 0b001:
            return {flow::indirect_call};
        case 0b010:
            return {flow::function_return};
        default: // returns from exceptions
            return {flow::stop};
        }
    }
    if (bits(word, 31, 24) ==
        0b11010100) // exceptions: calls of the system go on, BRK and HLT don't
        return {bits(word, 23, 21) == 0 && bits(word, 1, 0) != 0 ? flow::next : flow::stop};
    if (bits(word, 31, 22) == 0b1101010100) // hints, barriers, system registers
        return {};
    return {flow::stop};
}

// Bytes that a load relative to its own address reads, if the word is one.
struct literal {
    int32_t distance; // in words
    unsigned words;
};
constexpr std::optional<literal> literal_of(uint32_t word) {
    const bool vector = bits(word, 26, 26);
    const unsigned size = bits(word, 31, 30);
    if (bits(word, 29, 27) != 0b011 || bits(word, 25, 24) != 0 || size == 3) // 3: a prefetch
        return std::nullopt;
    return literal{sign_extend(bits(word, 23, 5), 19), vector ? 1u << size : size == 1 ? 2u : 1u};
}

// ADR xd, label: distance in bytes.
constexpr bool is_adr(uint32_t word) {
    return bits(word, 31, 31) == 0 && bits(word, 28, 24) == 0b10000;
}
constexpr int32_t adr_distance(uint32_t word) {
    return sign_extend(joined_fields<23, 5, 30, 29>::read(word), 21);
}

// Whether a native word looks like an instruction. A sieve for data among code: what passes may still be
// unallocated, but few constants pass.
constexpr bool looks_native(uint32_t word) {
    if (control_of(word).kind == flow::stop)
        return bits(word, 31, 21) == 0b11010100001; // BRK
    if (bits(word, 27, 25) != 0b111)
        return true;
    switch (bits(word, 31, 24)) { // scalar floating point and Advanced SIMD
    case 0x0e:
    case 0x0f:
    case 0x2e:
    case 0x2f:
    case 0x4e:
    case 0x4f:
    case 0x6e:
    case 0x6f:
    case 0x5e:
    case 0x5f:
    case 0x7e:
    case 0x7f:
    case 0x1e:
    case 0x1f:
    case 0x9e:
    case 0xce:
        return true;
    default:
        return false;
    }
}

} // namespace sve::analysis
