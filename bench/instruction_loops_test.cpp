// The families and routes that instructions.def names are those of the handlers that the decoder finds.
#include "bench/instruction_loops.h"
#include "sve/core/families.h"
#include "sve/core/sve_utils.h"
#include "tests/unit/instruction_rows.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace {

using namespace sve;

const std::map<std::string, const handler_rows *> families = {
    {"integer/arithmetic", &integer_arithmetic_rows},
    {"integer/logic", &integer_logic_rows},
    {"integer/reductions", &integer_reduction_rows},
    {"integer/saturating", &integer_saturating_rows},
    {"integer/shifts", &integer_shift_rows},
    {"predicate/logic", &predicate_logic_rows},
    {"predicate/compares", &integer_compare_rows},
    {"predicate/counts", &element_count_rows},
    {"predicate/index", &index_rows},
    {"predicate/generation", &predicate_generation_rows},
    {"predicate/breaks", &predicate_break_rows},
    {"predicate/permutes", &predicate_permute_rows},
    {"permute/broadcast", &broadcast_rows},
    {"permute/reorder", &reorder_rows},
    {"permute/extraction", &extraction_rows},
    {"memory/contiguous", &contiguous_rows},
    {"memory/structures", &structure_rows},
    {"memory/gathers", &gather_rows},
    {"memory/first_fault", &first_fault_rows},
    {"fp/arithmetic", &fp_arithmetic_rows},
    {"fp/compares", &fp_compare_rows},
    {"fp/reductions", &fp_reduction_rows},
    {"fp/conversions", &fp_conversion_rows},
    {"fp/multiply_add", &multiply_add_rows},
    {"fp/estimates", &estimate_rows},
};

std::span<const instruction_loop> measured() {
    return std::span(instruction_loops, instruction_loop_count).subspan(1);
}

std::string route_of(const instruction_row &row) {
    return row.route == "reference" ? "reference" : "direct";
}

TEST(InstructionLoops, FamiliesAndRoutesAreThoseOfTheHandlers) {
    for (const instruction_loop &loop : measured()) {
        SCOPED_TRACE(loop.text);
        const instruction_row *published = nullptr;
        for (const instruction_row &row : instruction_rows())
            if ((*loop.word & row.mask) == row.value)
                published = &row;
        ASSERT_TRUE(published);
        EXPECT_EQ(loop.route, route_of(*published));
        std::string found;
        for (const auto &[name, rows] : families)
            for (const handler_row &row : *rows)
                if (row.name == published->handler && row.handler == is_sve(*loop.word))
                    found = name;
        EXPECT_EQ(loop.family, found);
    }
}

TEST(InstructionLoops, EveryRouteOfEveryFamilyIsMeasured) {
    std::map<std::string, std::string> route_of_handler;
    for (const instruction_row &row : instruction_rows())
        route_of_handler[row.handler] = route_of(row);
    std::set<std::pair<std::string, std::string>> wanted, found;
    for (const auto &[name, rows] : families)
        for (const handler_row &row : *rows)
            wanted.emplace(name, route_of_handler.at(row.name));
    for (const instruction_loop &loop : measured())
        found.emplace(loop.family, loop.route);
    EXPECT_EQ(found, wanted);
    EXPECT_EQ(families.size(), handler_families().size());
}

} // namespace
