#pragma once

// Operands that bite: edges of binades, ties, denormals, cancellation, NaNs with payloads.

#include "tests/conformance/random_numbers.h"
#include "tests/fplib/operation.h"

#include <vector>

namespace fp_comparison {

using conformance::random_numbers;

// The number of values that an operand of the kind can have, counting from 0; 0 stands for 2^64.
// Of the counts of fraction bits only 0 is counted.
uint64_t values_of_kind(char kind);

// Brings any bits into the range of the operation's operands.
operands restrict(const char *kinds, operands x);

// Operands for an operation. Where one makes more of another, it is chosen by it: next to it, its
// negative, at a distance that makes an alignment or a product hit the ends of the format.
operands draw_operands(const char *kinds, random_numbers &random);

// A control word: rounding mode and switches at random. Now and then flags are set already, and bits that the
// library must leave alone.
uint32_t draw_control(random_numbers &random);

// `count` halves, the edges of all binades and NaNs with payloads among them.
std::vector<h> dense_halves(unsigned count, random_numbers &random);

} // namespace fp_comparison
