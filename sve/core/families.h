#pragma once

// The instruction families. Only sve_utils.cpp, which gathers their rows, knows all of them.

#include "sve/core/handler_row.h"

// One line a family: its name, as users see it, and its rows.
#define SVE_FAMILIES(FAMILY)                                                                       \
    FAMILY("integer arithmetic", integer_arithmetic_rows)                                          \
    FAMILY("integer logic", integer_logic_rows)                                                    \
    FAMILY("integer reductions", integer_reduction_rows)                                           \
    FAMILY("saturating arithmetic", integer_saturating_rows)                                       \
    FAMILY("shifts", integer_shift_rows)                                                           \
    FAMILY("predicate logic", predicate_logic_rows)                                                \
    FAMILY("integer compares", integer_compare_rows)                                               \
    FAMILY("element counts", element_count_rows)                                                   \
    FAMILY("index vectors", index_rows)                                                            \
    FAMILY("predicate generation", predicate_generation_rows)                                      \
    FAMILY("predicate breaks", predicate_break_rows)                                               \
    FAMILY("predicate permutes", predicate_permute_rows)                                           \
    FAMILY("broadcasts", broadcast_rows)                                                           \
    FAMILY("reordering", reorder_rows)                                                             \
    FAMILY("extraction", extraction_rows)                                                          \
    FAMILY("contiguous loads and stores", contiguous_rows)                                         \
    FAMILY("structure loads and stores", structure_rows)                                           \
    FAMILY("gathers, scatters, prefetches", gather_rows)                                           \
    FAMILY("first-fault and non-fault loads", first_fault_rows)                                    \
    FAMILY("floating-point arithmetic", fp_arithmetic_rows)                                        \
    FAMILY("floating-point compares", fp_compare_rows)                                             \
    FAMILY("floating-point reductions", fp_reduction_rows)                                         \
    FAMILY("conversions", fp_conversion_rows)                                                      \
    FAMILY("fused multiply-add", multiply_add_rows)                                                \
    FAMILY("estimates", estimate_rows)

namespace sve {

#define FAMILY(name, rows) extern const handler_rows rows;
SVE_FAMILIES(FAMILY)
#undef FAMILY

} // namespace sve
