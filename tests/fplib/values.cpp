#include "tests/fplib/values.h"

#include <algorithm>
#include <cstring>

namespace fp_comparison {

namespace {

struct layout {
    unsigned width, fraction_bits;
    unsigned max_exponent() const { return (1u << (width - 1 - fraction_bits)) - 1; }
    unsigned bias() const { return max_exponent() / 2; }
    uint64_t sign() const { return uint64_t{1} << (width - 1); }
    uint64_t fraction_mask() const { return (uint64_t{1} << fraction_bits) - 1; }
    uint64_t largest() const { return sign() - fraction_mask() - 2; }
    unsigned exponent(uint64_t x) const { return x >> fraction_bits & max_exponent(); }
};

bool is_pattern(char kind) {
    return kind == 'h' || kind == 's' || kind == 'd';
}

layout layout_of(char kind) {
    return kind == 'h' ? layout{16, 10} : kind == 's' ? layout{32, 23} : layout{64, 52};
}

// Products and quotients as the library has them: only their being close to the true ones matters here.
uint64_t product(char kind, uint64_t a, uint64_t b, unsigned rounding) {
    FPSCR fpscr{rounding << FPSCR::RMode_shift};
    return kind == 'h'   ? FPMul(static_cast<h>(a), static_cast<h>(b), fpscr)
           : kind == 's' ? FPMul(static_cast<s>(a), static_cast<s>(b), fpscr)
                         : FPMul(static_cast<d>(a), static_cast<d>(b), fpscr);
}
uint64_t quotient(char kind, uint64_t a, uint64_t b, unsigned rounding) {
    FPSCR fpscr{rounding << FPSCR::RMode_shift};
    return kind == 'h'   ? FPDiv(static_cast<h>(a), static_cast<h>(b), fpscr)
           : kind == 's' ? FPDiv(static_cast<s>(a), static_cast<s>(b), fpscr)
                         : FPDiv(static_cast<d>(a), static_cast<d>(b), fpscr);
}

uint64_t draw_fraction(const layout &format, random_numbers &random) {
    const uint64_t bits = random.next() & format.fraction_mask();
    const unsigned place = random.below(format.fraction_bits);
    const uint64_t one = uint64_t{1} << place;
    switch (random.below(10)) {
    case 0:
        return 0;
    case 1:
        return random.below(4);
    case 2:
        return format.fraction_mask() - random.below(4);
    case 3: // a single bit
        return one;
    case 4: // few bits, at the top
        return bits & ~(one - 1) & ~(one - 1) >> 1 & format.fraction_mask();
    case 5: // a tie where the bits below `place` are cut off
    case 6: // and next to one
        return ((bits & ~(2 * one - 1)) + one + random.below(3) - 1) & format.fraction_mask();
    case 7: // a run of ones, from some place down or up
        return random.one_in(2) ? one - 1 : format.fraction_mask() & ~(one - 1);
    default:
        return bits;
    }
}

unsigned draw_exponent(const layout &format, random_numbers &random) {
    const unsigned few = random.below(4), max = format.max_exponent(), bias = format.bias();
    switch (random.below(8)) {
    case 0:
        return 0;
    case 1:
        return few;
    case 2:
        return max - few;
    case 3:
        return bias - 2 + few;
    case 4: // where fractions of integers end, and ranges of integers
        return std::min(bias + random.below(67), max - 1);
    default:
        return random.below(max + 1);
    }
}

uint64_t draw_pattern(const layout &format, random_numbers &random) {
    const uint64_t sign = random.one_in(2) ? format.sign() : 0;
    const uint64_t exponent = draw_exponent(format, random);
    uint64_t fraction = draw_fraction(format, random);
    if (exponent == 0 && random.one_in(2)) // denormals of every length
        fraction >>= random.below(format.fraction_bits);
    return sign | exponent << format.fraction_bits | fraction;
}

// Zeros, infinities, and NaNs of both sorts with and without payloads.
uint64_t draw_special(const layout &format, random_numbers &random) {
    const uint64_t infinity = format.largest() + 1, quiet = (format.fraction_mask() + 1) / 2;
    const uint64_t payload = random.one_in(2) ? 1 : (random.next() & (quiet - 1)) | 1;
    const uint64_t magnitudes[] = {0, infinity, infinity | quiet, infinity | quiet | payload,
                                   infinity | payload};
    return (random.one_in(2) ? format.sign() : 0) | magnitudes[random.below(5)];
}

uint64_t draw_integer(unsigned width, random_numbers &random) {
    const uint64_t mask = ~uint64_t{0} >> (64 - width);
    const unsigned place = random.below(width);
    uint64_t value = random.next() >> (64 - 1 - place); // place + 1 bits
    switch (random.below(4)) {
    case 0: // next to a power of two
        value = (uint64_t{1} << place) + random.below(5) - 2;
        break;
    case 1: { // a tie when cut to the bits of a mantissa, or next to one
        constexpr unsigned cut_to[] = {11, 24, 53};
        const unsigned kept = cut_to[random.below(3)];
        if (place >= kept) {
            const uint64_t half = uint64_t{1} << (place - kept);
            value = ((value | uint64_t{1} << place) & ~(2 * half - 1)) + half + random.below(3) - 1;
        }
        break;
    }
    default:
        break;
    }
    return (random.one_in(2) ? value : -value) & mask;
}

// A pattern chosen by another of the same format.
uint64_t draw_beside(char kind, uint64_t other, random_numbers &random) {
    const layout format = layout_of(kind);
    const int exponent = static_cast<int>(format.exponent(other)),
              bias = static_cast<int>(format.bias());
    const int max = static_cast<int>(format.max_exponent()),
              fraction = static_cast<int>(format.fraction_bits);
    const int around = static_cast<int>(random.below(8)) - 4;
    const auto distance =
        static_cast<int>(random.below(2 * format.fraction_bits + 8)) - fraction - 4;
    int chosen = exponent;
    switch (random.below(7)) {
    case 0: // the same, its negative, or next to it
        return (other + random.below(5) - 2) ^ (random.one_in(2) ? format.sign() : 0);
    case 1: { // product with the other, or quotient of it, next to where something begins or ends
        const uint64_t smallest_normal = format.fraction_mask() + 1;
        const uint64_t edges[] = {1, smallest_normal, 2 * smallest_normal, format.largest()};
        const uint64_t edge = edges[random.below(4)] + random.below(2), direction = random.below(4);
        const uint64_t factor = random.one_in(2) ? quotient(kind, edge, other, direction)
                                                 : quotient(kind, other, edge, direction);
        return factor ^ (random.one_in(2) ? format.sign() : 0);
    }
    case 2: // as far as an alignment of mantissas reaches
        chosen = exponent + distance;
        break;
    case 3: // product at the edge of the denormals, or below
        chosen = bias - exponent + (random.one_in(2) ? around : -fraction + around);
        break;
    case 4: // product at overflow
        chosen = bias - exponent + max + around;
        break;
    case 5: // quotient other / this at the edge of the denormals, or at overflow
        chosen = exponent + bias -
                 (random.one_in(2) ? max + around : around - fraction * random.one_in(2));
        break;
    default: // product or quotient next to 1
        chosen = random.one_in(2) ? 2 * bias - exponent + around : exponent + around;
        break;
    }
    const auto field = static_cast<uint64_t>(std::clamp(chosen, 0, max - 1));
    return (random.one_in(2) ? format.sign() : 0) | field << format.fraction_bits |
           draw_fraction(format, random);
}

uint64_t draw_operand(char kind, random_numbers &random) {
    if (is_pattern(kind))
        return draw_pattern(layout_of(kind), random);
    if (kind == 'i' || kind == 'w' || kind == 'x')
        return draw_integer(kind == 'i' ? 16 : kind == 'w' ? 32 : 64, random);
    return kind == 'f' && random.one_in(2) ? 0 : random.next(); // integers have no fraction bits
}

} // namespace

uint64_t values_of_kind(char kind) {
    switch (kind) {
    case 'h':
    case 'i':
        return 1ul << 16;
    case 's':
    case 'w':
        return 1ul << 32;
    case 'd':
    case 'x':
        return 0;
    case 'r':
        return 4;
    case 'R':
    case 'o':
        return 5;
    case 'e':
        return 2;
    case 't':
        return 8;
    default:
        return 1;
    }
}

operands restrict(const char *kinds, operands x) {
    uint64_t *each[] = {&x.a, &x.b, &x.c};
    for (unsigned i = 0; i < 3; i++) {
        uint64_t &operand = *each[i];
        if (i >= strlen(kinds))
            operand = 0;
        else if (kinds[i] == 'f')
            operand %= 65;
        else if (const uint64_t values = values_of_kind(kinds[i]))
            operand %= values;
        if (i < strlen(kinds) && kinds[i] == 'o' && operand == FPRounding_TIEAWAY)
            operand = FPRounding_ODD;
    }
    return x;
}

operands draw_operands(const char *kinds, random_numbers &random) {
    operands x;
    uint64_t *each[] = {&x.a, &x.b, &x.c};
    const size_t count = strlen(kinds);
    for (size_t i = 0; i < count; i++)
        *each[i] = draw_operand(kinds[i], random);
    const char kind = kinds[0];
    if (!is_pattern(kind))
        return restrict(kinds, x);
    const layout format = layout_of(kind);

    const auto of_this_kind = [&](size_t i) { return i < count && kinds[i] == kind; };
    switch (random.below(4)) {
    case 0: // a square, or a product, for an exact root or quotient, and next to it
        if (of_this_kind(1)) {
            x.b &= ~(format.fraction_mask() >> random.below(format.fraction_bits));
            x.a = product(kind, x.b, draw_pattern(format, random), random.below(4));
        } else {
            x.a &= ~(format.fraction_mask() >> random.below(format.fraction_bits));
            x.a = product(kind, x.a, x.a, random.below(4)) + random.below(3) - 1;
        }
        break;
    case 1:
    case 2:
        if (of_this_kind(1))
            x.b = draw_beside(kind, x.a, random);
        break;
    default:
        break;
    }
    if (random.one_in(16)) {
        for (size_t i = 0; i < count; i++)
            if (of_this_kind(i) && !random.one_in(3))
                *each[i] = draw_special(format, random);
        return restrict(kinds, x);
    }
    // The addend of a multiply-add comes first. By the product, cancelled by it, or in its reach.
    if (of_this_kind(2) && !random.one_in(4)) {
        if (random.one_in(2))
            x.c = draw_beside(kind, x.b, random);
        x.a = product(kind, x.b, x.c, random.below(4));
        x.a = random.one_in(2) ? x.a ^ format.sign() : draw_beside(kind, x.a, random);
    }
    return restrict(kinds, x);
}

uint32_t draw_control(random_numbers &random) {
    const uint64_t bits = random.next();
    uint32_t word = static_cast<uint32_t>(bits) & control_bits;
    if (bits >> 32 & 1)
        word |= static_cast<uint32_t>(bits >> 33) & ~control_bits & (bits >> 63 ? ~0u : flag_bits);
    return word;
}

std::vector<h> dense_halves(unsigned count, random_numbers &random) {
    constexpr h fractions[] = {0,     1,     2,     3,     4,     0x0ff, 0x100, 0x155, 0x1ff,
                               0x200, 0x201, 0x2aa, 0x3fb, 0x3fc, 0x3fd, 0x3fe, 0x3ff};
    std::vector<bool> chosen(1 << 16);
    for (unsigned sign_exponent = 0; sign_exponent < 64; sign_exponent++)
        for (const h fraction : fractions)
            chosen[sign_exponent << 10 | fraction] = true;
    unsigned chosen_count = 64 * std::size(fractions);
    while (chosen_count < std::min(count, 1u << 16)) {
        const unsigned value = random.below(1 << 16);
        chosen_count += !chosen[value];
        chosen[value] = true;
    }
    std::vector<h> values;
    for (unsigned value = 0; value < chosen.size(); value++)
        if (chosen[value])
            values.push_back(static_cast<h>(value));
    return values;
}

} // namespace fp_comparison
