#include "tests/conformance/generate.h"

#include "tests/conformance/memory_forms.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fnmatch.h>
#include <initializer_list>

namespace conformance {

using sve::bits;

// ---- Values ---------------------------------------------------------------------------------------

// Around zero and the ends of an element's range, shift counts up to twice the width, powers of two,
// and random bits, by 16 random bits or more; only the low `width` bits are meant.
static uint64_t choose_value(unsigned width, uint64_t draw) {
    // Mostly very few; but some instructions step by hundreds.
    const uint64_t more = draw >> 6, few = draw >> 3 & 7 ? more & 3 : more & 0x3ff;
    switch (draw & 7) {
    case 0:
        return few;
    case 1:
        return ~few;
    case 2:
        return (uint64_t{1} << (width - 1)) + (few & 1 ? few / 2 : ~(few / 2));
    case 3:
        return width + (more & 3) - 2;
    case 4:
        return more % (2 * width);
    case 5:
        return (uint64_t{1} << more % width) - (more >> 6 & 1);
    default:
        return (draw ^ draw >> 32) * 0x9e3779b97f4a7c15;
    }
}

unsigned element_bits(const char *handler) {
    // Vec, a letter for the type, and the width.
    if (strlen(handler) < 5 || !isdigit(handler[4]))
        return 0;
    const unsigned width = static_cast<unsigned>(atoi(handler + 4));
    return width > 64 ? 64 : width;
}

static unsigned draw_width(random_numbers &random) {
    return 8u << random.below(4);
}

template <class T>
static void draw_elements(uint8_t *row, const uint8_t *other, random_numbers &random) {
    constexpr unsigned width = 8 * sizeof(T);
    const unsigned style = random.below(8);
    uint64_t draw = random.next();
    const T all_alike = static_cast<T>(choose_value(width, draw));
    for (unsigned i = 0; i < sve_vector_bytes; i += sizeof(T)) {
        // A number is enough for four narrow elements.
        draw = width > 16 || i % (4 * sizeof(T)) == 0 ? random.next() : draw >> 16;
        T value;
        if (style == 0) {
            value = static_cast<T>(draw);
        } else if (style == 1) { // another operand's element, or next to it
            memcpy(&value, other + i, sizeof value);
            value += static_cast<T>((draw % 8 == 0) - (draw % 8 == 1));
        } else if (style == 2) {
            value = all_alike;
        } else {
            value = static_cast<T>(choose_value(width, draw));
        }
        memcpy(row + i, &value, sizeof value);
    }
}

static void draw_vector(uint8_t *row, const uint8_t *other, unsigned width,
                        random_numbers &random) {
    if (!width || random.one_in(8))
        width = draw_width(random);
    switch (width) {
    case 8:
        return draw_elements<uint8_t>(row, other, random);
    case 16:
        return draw_elements<uint16_t>(row, other, random);
    case 32:
        return draw_elements<uint32_t>(row, other, random);
    default:
        return draw_elements<uint64_t>(row, other, random);
    }
}

// All false or true, dense or sparse, a prefix, a single bit, with and without bits that are not the first
// of an element.
static void draw_predicate(uint8_t *row, unsigned width, random_numbers &random) {
    uint64_t words[4] = {};
    if (!width || random.one_in(8))
        width = draw_width(random);
    const unsigned style = random.below(10), place = random.below(sve_vector_bytes + 1);
    const uint64_t first_bits = ~uint64_t{0} / ((uint64_t{1} << width / 8) - 1);
    for (unsigned i = 0; i < 4; i++) {
        uint64_t &word = words[i];
        const unsigned below = place < 64 * i ? 0 : place - 64 * i;
        switch (style) {
        case 0:
            break;
        case 1:
            word = ~uint64_t{0};
            break;
        case 2:
            word = first_bits;
            break;
        case 3:
            word = random.next() & ~first_bits;
            break;
        case 4:
            word = random.next() & random.next() & random.next();
            break;
        case 5:
            word = random.next() | random.next() | random.next();
            break;
        case 6:
            word = below >= 64 ? ~uint64_t{0} : (uint64_t{1} << below) - 1;
            break;
        case 7:
            word = place / 64 == i ? uint64_t{1} << place % 64 : 0;
            break;
        default:
            word = random.next();
        }
    }
    memcpy(row, words, predicate_bytes);
}

static uint64_t draw_general(random_numbers &random) {
    switch (random.below(4)) {
    case 0:
        return random.next();
    case 1:
        return choose_value(64, random.next());
    case 2: // a word with its sign
        return static_cast<uint64_t>(
            int64_t{static_cast<int32_t>(choose_value(32, random.next()))});
    default: // a word below bits that are not its own
        return random.next() << 32 | static_cast<uint32_t>(choose_value(32, random.next()));
    }
}

// ---- Words ----------------------------------------------------------------------------------------

uint32_t draw_word(const tested_row &row, random_numbers &random) {
    uint32_t word = static_cast<uint32_t>(random.next());
    const auto set = [&word](unsigned high, unsigned low, uint32_t field) {
        word = (word & ~(bits(~0u, high, low) << low)) | bits(field, high - low, 0) << low;
    };
    const unsigned alike = random.below(8);
    if (alike == 0 || alike == 1)
        set(9, 5, word);
    if (alike == 1 || alike == 2)
        set(20, 16, word);
    if (alike == 3)
        set(20, 16, word >> 5);
    // Register 31 or 0, or an immediate at an end of its range, in a field that is free.
    for (unsigned tries = 0; tries < 4; tries++) {
        static constexpr struct {
            uint8_t high, low;
        } fields[] = {{4, 0},  {9, 5},   {20, 16}, {12, 5},  {8, 5},
                      {10, 5}, {12, 10}, {13, 10}, {19, 16}, {18, 16}};
        const auto [high, low] = fields[random.below(std::size(fields))];
        if (!row.is_free(high, low))
            continue;
        const uint32_t top = 1u << (high - low);
        const uint32_t ends[] = {0, ~0u, ~0u, 1, top, top - 1};
        if (random.one_in(2))
            set(high, low, ends[random.below(std::size(ends))]);
        break;
    }
    return (word & ~row.mask) | row.value;
}

// ---- States ---------------------------------------------------------------------------------------

static void draw_status(machine_state &state, random_numbers &random) {
    state.emulated.nzcv = random.next() & 0xf000'0000;
    state.emulated.fpsr = static_cast<uint32_t>(random.next()) & 0x0800'009f;
    // Mostly no mode; else any of AHP, DN, FZ, the rounding mode, and FZ16.
    state.emulated.fpcr = random.one_in(4) ? static_cast<uint32_t>(random.next()) & 0x07c8'0000 : 0;
    // The architecture promises to keep a prefix only; a processor that keeps any bits shows more.
    draw_predicate(state.ffr, 8, random);
}

void draw_registers(machine_state &state, random_numbers &random) {
    for (uint64_t &x : state.emulated.x)
        x = draw_general(random);
    state.emulated.sp = draw_general(random);
    for (auto &z : state.emulated.z)
        for (unsigned i = 0; i < sve_vector_bytes; i += 8) {
            const uint64_t value = random.next();
            memcpy(z + i, &value, 8);
        }
    for (auto &p : state.p)
        draw_predicate(p, 0, random);
    draw_status(state, random);
}

// ---- Value rules ----------------------------------------------------------------------------------

// Quotients that don't exist or don't fit.
static void draw_quotients(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    for (const unsigned z : {bits(in.word, 4, 0), bits(in.word, 9, 5)})
        for (unsigned i = 0; i < sve_vector_bytes; i += width / 8)
            if (in.random.one_in(4)) {
                const uint64_t values[] = {0, ~uint64_t{0}, uint64_t{1} << (width - 1)};
                memcpy(in.state.emulated.z[z] + i, &values[in.random.below(3)], width / 8);
            }
}

// A second number at most two vectors away.
static void draw_near_numbers(const trial_input &in) {
    const unsigned n = bits(in.word, 9, 5), m = bits(in.word, 20, 16);
    if (n == 31 || m == 31 || in.random.one_in(4))
        return;
    in.state.emulated.x[m] = in.state.emulated.x[n] + in.random.below(2 * sve_vector_bytes + 4) - 3;
    if (in.random.one_in(2)) // of 32 bits
        in.state.emulated.x[m] ^= in.random.next() << 32;
}

static void draw_equal_numbers(const trial_input &in) {
    const unsigned n = bits(in.word, 9, 5), m = bits(in.word, 20, 16);
    if (n != 31 && m != 31 && in.random.one_in(2))
        in.state.emulated.x[m] =
            in.state.emulated.x[n] ^ (uint64_t{in.random.one_in(2)} << in.random.below(64));
}

// Indexes of elements, and just above.
static void draw_indexes(const trial_input &in) {
    const unsigned bytes = element_bits(in.row.row->name) / 8;
    uint8_t *z = in.state.emulated.z[bits(in.word, 20, 16)];
    for (unsigned i = 0; i < sve_vector_bytes; i += bytes)
        if (in.random.one_in(2)) {
            const uint64_t index = in.random.below(sve_vector_bytes / bytes + 2);
            memcpy(z + i, &index, bytes);
        }
}

// Zn holds what it is compared with, or the neighbours of that: the immediate, or the doubleword of Zm.
static void draw_compared(const trial_input &in,
                          int64_t (*compared)(const trial_input &, unsigned i)) {
    const unsigned width = element_bits(in.row.row->name);
    uint8_t *row = in.state.emulated.z[bits(in.word, 9, 5)];
    for (unsigned i = 0; i < sve_vector_bytes; i += width / 8)
        if (in.random.one_in(2)) {
            const int64_t value = compared(in, i) + in.random.below(3) - 1;
            memcpy(row + i, &value, width / 8);
        }
}

static void draw_signed_immediates(const trial_input &in) {
    draw_compared(in, [](const trial_input &trial, unsigned) -> int64_t {
        return sve::sign_extend(bits(trial.word, 20, 16), 5);
    });
}
static void draw_unsigned_immediates(const trial_input &in) {
    draw_compared(
        in, [](const trial_input &trial, unsigned) -> int64_t { return bits(trial.word, 20, 14); });
}

// Doublewords that elements can equal: their upper bits are mostly copies of a sign, or 0.
static void draw_wide_elements(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    for (unsigned i = 0; i < sve_vector_bytes; i += 8) {
        int64_t value = static_cast<int64_t>(choose_value(width, in.random.next()) << (64 - width));
        if (in.random.one_in(8))
            continue;
        value = in.random.one_in(2)
                    ? value >> (64 - width)
                    : static_cast<int64_t>(static_cast<uint64_t>(value) >> (64 - width));
        memcpy(in.state.emulated.z[bits(in.word, 20, 16)] + i, &value, 8);
    }
    draw_compared(in, [](const trial_input &trial, unsigned i) {
        int64_t value;
        memcpy(&value, trial.state.emulated.z[bits(trial.word, 20, 16)] + i / 8 * 8, 8);
        return value;
    });
}

// ---- Floating point -------------------------------------------------------------------------------

// The widths of a format: sign, exponent and fraction, from the top.
struct fp_format {
    unsigned exponent_bits, fraction_bits;
    unsigned width() const { return 1 + exponent_bits + fraction_bits; }
};
static constexpr fp_format fp_formats[] = {{5, 10}, {8, 23}, {11, 52}}; // half, single, double
static constexpr const fp_format &format_of(unsigned width) {
    return fp_formats[width == 16 ? 0 : width == 32 ? 1 : 2];
}

// Zeros, denormals, the ends of binades and of the whole range, infinities, NaNs of both kinds, small integers
// and halves, the ends of integer types, and anything.
static uint64_t choose_fp_value(fp_format format, uint64_t draw) {
    const uint64_t max_exponent = (uint64_t{1} << format.exponent_bits) - 1;
    const uint64_t fraction_mask = (uint64_t{1} << format.fraction_bits) - 1;
    const uint64_t bias = max_exponent / 2;
    const uint64_t noise = (draw ^ draw >> 29) * 0x9e3779b97f4a7c15 >> 7;
    const uint64_t few = draw >> 8 & 3;
    // All zeros, all ones, or a single bit, mostly at an end; a pattern whose rounding is a tie; or anything.
    uint64_t fraction = 0;
    switch (draw >> 10 & 7) {
    case 0:
    case 1:
        fraction = few & 1 ? few >> 1 : fraction_mask - (few >> 1);
        break;
    case 2:
        fraction = uint64_t{1} << noise % format.fraction_bits;
        break;
    case 3:
        fraction = fraction_mask & ~(fraction_mask >> noise % format.fraction_bits);
        break;
    case 4:
        fraction = uint64_t{1} << (format.fraction_bits - 1);
        break;
    default:
        fraction = noise & fraction_mask;
    }
    uint64_t exponent;
    switch (draw & 15) {
    case 0:
    case 1: // zero and denormals
        exponent = 0;
        if (few == 0)
            fraction = 0;
        break;
    case 2: // infinity and NaNs
        exponent = max_exponent;
        if (few == 0)
            fraction = 0;
        break;
    case 3:
        exponent = 1 + few;
        break;
    case 4:
        exponent = max_exponent - 1 - few;
        break;
    case 5: // around the largest integers of each type
        exponent = bias + (8u << (noise & 3)) - few;
        break;
    case 6: // where integers have no or few bits behind the point
        exponent = bias + format.fraction_bits - few;
        break;
    case 7: // whose products and squares are at the ends
        exponent = (draw >> 20 & 1 ? bias / 2 : bias + bias / 2) + few - 1;
        break;
    case 8:
    case 9:
    case 10:
    case 11: // near 1
        exponent = bias + few - 2;
        break;
    default:
        exponent = noise >> 20 & max_exponent;
    }
    exponent &= max_exponent;
    const uint64_t sign = draw >> 40 & 1;
    return sign << (format.width() - 1) | exponent << format.fraction_bits | fraction;
}

// An element is often its neighbour in another operand, with another sign or next to it: sums cancel then, and
// compares meet equals.
static void draw_fp_vector(uint8_t *row, const uint8_t *other, unsigned width,
                           random_numbers &random) {
    const fp_format &format = format_of(width);
    for (unsigned i = 0; i < sve_vector_bytes; i += width / 8) {
        const uint64_t draw = random.next();
        uint64_t value = choose_fp_value(format, draw);
        if ((draw >> 50 & 7) == 0) {
            memcpy(&value, other + i, width / 8);
            value ^= (draw >> 53 & 1) << (width - 1);
            value += (draw >> 54 & 3) == 0;
        }
        memcpy(row + i, &value, width / 8);
    }
}

// In all vectors that may be operands.
static void draw_fp_operands(const trial_input &in, unsigned width) {
    const uint8_t *other = in.state.emulated.z[bits(in.word, 4, 0)];
    for (const register_field &field : register_fields) {
        if (field.is_predicate || !field.is_in(in.row))
            continue;
        uint8_t *z = in.state.emulated.z[bits(in.word, field.high, field.low)];
        draw_fp_vector(z, other, width, in.random);
        other = z;
    }
}

// The second factor is in bits 18:16 or 19:16, below the index.
static void draw_indexed_fp(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    draw_fp_operands(in, width);
    for (const unsigned high : {18, 19})
        draw_fp_vector(in.state.emulated.z[bits(in.word, high, 16)],
                       in.state.emulated.z[bits(in.word, 9, 5)], width, in.random);
}

// Products that cancel with the addend: a factor is 1 or -1, where the other may be the addend's neighbour.
static void draw_multiply_add(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    draw_fp_operands(in, width);
    const fp_format &format = format_of(width);
    const uint64_t one = ((uint64_t{1} << (format.exponent_bits - 1)) - 1) << format.fraction_bits;
    const unsigned low = in.random.one_in(2) ? 0 : 16;
    uint8_t *factor = in.state.emulated.z[bits(in.word, low + 4, low)];
    for (unsigned i = 0; i < sve_vector_bytes; i += width / 8)
        if (in.random.one_in(4)) {
            const uint64_t value = one | uint64_t{in.random.one_in(2)} << (width - 1);
            memcpy(factor + i, &value, width / 8);
        }
}
static void draw_halves(const trial_input &in) {
    draw_fp_operands(in, 16);
}
static void draw_singles(const trial_input &in) {
    draw_fp_operands(in, 32);
}
static void draw_doubles(const trial_input &in) {
    draw_fp_operands(in, 64);
}

// Conversions: the letter or digit before VM is the source, which may be narrower than the element.
static void draw_converted(const trial_input &in) {
    const char *name = in.row.row->name;
    switch (const char source = name[strlen(name) - 3]) {
    case 'H':
        return draw_fp_operands(in, 16);
    case 'F':
        return draw_fp_operands(in, 32);
    case 'D':
        return draw_fp_operands(in, 64);
    default:
        uint8_t *z = in.state.emulated.z[bits(in.word, 9, 5)];
        draw_vector(z, z, 8 * static_cast<unsigned>(source - '0'), in.random);
    }
}

// Exponents that take a number across its range, and just beyond.
static void draw_scales(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    draw_fp_operands(in, width);
    uint8_t *z = in.state.emulated.z[bits(in.word, 9, 5)];
    const unsigned reach = width == 16 ? 64 : width == 32 ? 600 : 5000;
    for (unsigned i = 0; i < sve_vector_bytes; i += width / 8)
        if (!in.random.one_in(4)) {
            const int64_t scale = int64_t{in.random.below(reach)} - reach / 2;
            memcpy(z + i, &scale, width / 8);
        }
}

// Runs after the general values. It may change any register; base registers of a memory family must point
// into arena().
struct value_rule {
    const char *rows; // pattern of handler names
    void (*draw)(const trial_input &);
};
static constexpr value_rule value_rules[] = {
    {"VecS*CmpFlg*VIZ", draw_signed_immediates},
    {"VecU*CmpFlg*VIZ", draw_unsigned_immediates},
    {"Vec*CmpFlg*VWZ", draw_wide_elements},
    {"Vec[SU]*Div*VVM", draw_quotients},
    {"Vec[SU]*While*SS", draw_near_numbers},
    {"VecU*CTerm*", draw_equal_numbers},
    {"Vec*TblVV", draw_indexes},
    {"Vec*Load*", draw_addresses},
    {"Vec*Store*", draw_addresses},
    {"Vec*FillSI", draw_addresses},
    {"Vec*SpillSI", draw_addresses},
    {"Vec*From[SU]?VM", draw_converted},
    {"Vec*From[HFD]VM", draw_converted},
    {"Vec*Extnd[HF]VM", draw_converted},
    {"Vec*Trunc[FD]VM", draw_converted},
    {"Vec*ScaleVVM", draw_scales},
    {"Vec[FD]*VVIX", draw_indexed_fp},
    {"Vec[FD]*VVVM", draw_multiply_add},
    {"VecF16*", draw_halves},
    {"VecF32*", draw_singles},
    {"VecD64*", draw_doubles},
};

static const value_rule *find_rule(const char *handler) {
    for (const value_rule &rule : value_rules)
        if (fnmatch(rule.rows, handler, 0) == 0)
            return &rule;
    return nullptr;
}

void draw_operands(const trial_input &in) {
    const unsigned width = element_bits(in.row.row->name);
    const uint8_t *other = in.state.emulated.z[bits(in.word, 4, 0)];
    for (const register_field &field : register_fields) {
        const unsigned number = bits(in.word, field.high, field.low);
        if (!field.is_in(in.row) || in.random.one_in(4))
            continue; // or the last state's again, with other operands
        if (field.is_predicate) {
            draw_predicate(in.state.p[number], width, in.random);
            continue;
        }
        draw_vector(in.state.emulated.z[number], other, width, in.random);
        other = in.state.emulated.z[number];
        if (number < 31)
            in.state.emulated.x[number] = draw_general(in.random);
    }
    draw_status(in.state, in.random);

    // Once for a row: searching the table costs more than the rest of a trial.
    static const sve::handler_row *row;
    static const value_rule *rule;
    if (row != in.row.row)
        row = in.row.row, rule = find_rule(row->name);
    if (rule)
        rule->draw(in);
}

} // namespace conformance
