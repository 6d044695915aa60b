#pragma once

// From an instruction word to its handler, and the statistics of what ran.

#include "sve/core/decode_maps.h"
#include "sve/core/export.h"
#include "sve/core/handler.h"
#include "sve/core/handler_row.h"
#include "sve/core/mapped_arena.h"
#include "sve/core/page_size.h"
#include "sve/core/short_mutex.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <span>
#include <utility>

// The handler of an instruction word, or null if the word is none of the SVE instructions known
// here.
SVE_EXPORT aarch64_handler is_sve(unsigned int word);

namespace sve {
// Whether this build counts what it emulates: the two entries, execute_sve_instruction and
// emulate_instruction, then call update_sve_stats. SVE_COUNTS_INSTRUCTIONS is 0 where it doesn't.
#ifdef SVE_COUNTS_INSTRUCTIONS
inline constexpr bool counts_instructions = SVE_COUNTS_INSTRUCTIONS;
#else
inline constexpr bool counts_instructions = true;
#endif
} // namespace sve

// Runs the instruction at `state->pc` under the state's own FPCR and FPSR, counts it and advances
// pc by 4. Returns AARCH64_DECODE_UNIMPLEMENTED for a word that is_sve doesn't know, and what the
// handler returned if that isn't AARCH64_DECODE_OK: pc stays then, and nothing is counted. The
// entry for a driver that steps through an instruction stream without rewriting it.
SVE_EXPORT aarch64_decode_rc execute_sve_instruction(cpu_state *state);

// Counts one emulated instruction, in total and for its address.
SVE_EXPORT void update_sve_stats(unsigned int *pc, unsigned int word);
// The same for so many executions of it.
void update_sve_stats(unsigned int *pc, unsigned int word, uint64_t executions);

// Prints address, word and count of every instruction that has run to the standard error stream, in
// ascending address order. Must not run while a thread is emulating.
SVE_EXPORT void dump_sve_stats();

// Forgets all addresses. Must not run while a thread is emulating.
void clear_sve_stats();

// Instructions emulated so far. Written under icounts_mutex only.
SVE_EXPORT extern std::atomic<uint64_t> sve_instr_count;

// For each instruction address that has run: its word at its first run, and how often it ran. Rows
// come and go only through the functions above, which have an index of them.
using icount_row = std::pair<const unsigned int, std::atomic<uint64_t>>;
namespace sve {
extern mapped_arena icounts_memory;
}
extern std::map<
    unsigned int *, icount_row, std::less<>,
    sve::mapped_allocator<std::pair<unsigned int *const, icount_row>, sve::icounts_memory>>
    icounts;
SVE_EXPORT extern sve::short_mutex icounts_mutex; // guards icounts

namespace sve {

std::span<const handler_family> handler_families();

// The family and the row that is_sve finds for an instruction word; nulls for a word that it doesn't know, or
// knows by a handler that no family has.
struct found_row {
    const handler_family *family;
    const handler_row *row;
};
found_row find_row(unsigned int word);

// Called by the static initialiser at its end, if it is linked: the shared library has it, and takes
// the fault signals there. Linking the core alone takes nobody's signals.
[[gnu::weak]] void library_loaded();

} // namespace sve
