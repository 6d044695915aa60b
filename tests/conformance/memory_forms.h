#pragma once

// What a load or store accesses, from its handler's name, its word and the registers: for values that bite,
// and for models of the loads that a processor is not asked for.

#include "tests/conformance/generate.h"

#include <optional>
#include <string_view>

namespace conformance {

struct memory_form {
    enum class kind { load, store, first_fault, non_fault } kind;
    unsigned element;   // bytes of an element in the register
    unsigned memory;    // and in memory
    unsigned members;   // registers of a structure
    bool is_signed;     // loaded elements are sign-extended
    bool has_predicate; // LDR and STR have none
    bool is_contiguous;
    unsigned elements;      // that the predicate governs
    std::string_view shape; // the end of the handler's name

    // The form of a handler's name; none of prefetches, and of what is no load or store.
    static std::optional<memory_form> of(const char *handler);

    uint64_t address(uint32_t word, const cpu_state &state, unsigned e) const;
    // In the packed predicate.
    bool is_active(uint32_t word, const machine_state &state, unsigned e) const;
    // Whether all of the element's bytes are in the arena.
    bool is_accessible(uint32_t word, const cpu_state &state, unsigned e) const;

    // Bytes that the memory elements of a vector take, if they follow each other.
    unsigned footprint() const { return elements * memory * members; }
};

// Puts the addresses in and around the arena, and makes elements inactive that would fault.
void draw_addresses(const trial_input &input);

// The state behind a first-fault or non-fault load, as the emulator decides what the architecture leaves open.
void load_speculatively(const char *handler, uint32_t word, machine_state &state);

// The state behind a first-fault load of a processor that started with FFR all true, and stopped early as the
// architecture lets it: completed to what the emulator decides.
void complete_load(const char *handler, uint32_t word, const machine_state &before,
                   machine_state &state);

} // namespace conformance
