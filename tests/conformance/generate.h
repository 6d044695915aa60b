#pragma once

// Words and states that bite. A family whose operands need more than the general values has a line in the
// table of value rules (generate.cpp).

#include "sve/core/handler_row.h"
#include "tests/conformance/processor.h"
#include "tests/conformance/random_numbers.h"

namespace conformance {

// A row with its encoding: the words whose bits at `mask` are `value`.
struct tested_row {
    const sve::handler_row *row;
    uint32_t mask;
    uint32_t value;
    bool uses_memory; // if not, the arena is closed

    // Whether bits high to low of the word are free.
    bool is_free(unsigned high, unsigned low) const { return sve::bits(mask, high, low) == 0; }
};

// A field that may name an operand of the word: a Z or X register, or a predicate.
struct register_field {
    unsigned high, low;
    bool is_predicate;

    bool is_in(const tested_row &row) const {
        return row.is_free(high, low) && !(is_predicate && row.is_free(high + 1, high + 1));
    }
};
inline constexpr register_field register_fields[] = {
    {4, 0, false}, {9, 5, false},  {20, 16, false}, {3, 0, true},
    {8, 5, true},  {12, 10, true}, {13, 10, true},  {19, 16, true},
};

// Width of the elements, as the handler's name tells it; 0 if it does not.
unsigned element_bits(const char *handler);

// A word of the row. The same register in several fields, and the ends of each field, come often.
uint32_t draw_word(const tested_row &row, random_numbers &random);

// All registers.
void draw_registers(machine_state &state, random_numbers &random);

// The registers that may be operands of the word, flags, and FFR. Then the row's value rule has its turn.
struct trial_input {
    const tested_row &row;
    uint32_t word;
    machine_state &state;
    random_numbers &random;
};
void draw_operands(const trial_input &input);

} // namespace conformance
