#pragma once

// Adjacent instructions as one piece of native code: a run. They share a frame, scratch registers, what is known of
// predicates, and one count. Instructions without a translation are handed over to the emulator, neighbours together.
//
//     entry    X27 and X30 to the stack, X27 = the thread's state, count, save the scratch registers
//     fast     the translations, which test predicates to be all true where they first need it
//     end      give back the scratch registers, X27 and X30, and the word that leads back to the program
//     slow     the translations from the first test on, for any predicates, and where they are entered: what only
//              they need as scratch registers is saved there
//     stubs    what leads to the emulator and back
//
// V registers are saved in the low ends of their own rows, and X registers in their own places of the cpu_state:
// nothing else is there while they are in the processor.

#include "sve/native/code.h"
#include "sve/core/translation.h"

#include <cstdint>
#include <span>

namespace sve::native {

struct run_instruction {
    uint32_t word;
    translation translate; // null: the emulator runs it
    uint64_t handler;      // what runs it there
};

// What is the same for all runs of a process.
struct run_environment {
    unsigned vector_bytes;
    features processor;
    // Makes X27 the address of the thread's state, using nothing else; where runs are counted, that of its counters, and the
    // word before those has the state's.
    std::span<const word_t> load_base;
    uint64_t hand_over; // the shared code: see hand_over_record
    bool counts;
};

// What stands behind the call of the shared hand-over, word by word, since code isn't aligned to eight bytes. The hand-over goes
// on behind the last of the instructions.
struct hand_over_record {
    uint32_t count;
    uint32_t pc[2]; // of the first one; the others follow it
    struct instruction {
        uint32_t handler[2];
        uint32_t word;
    };
    // `count` of them
};

// Of the words [first, last), one may fault, and the emulator runs its instruction at `resume`.
struct fault_range {
    unsigned first, last, resume;
};

class run {
public:
    // Makes the run of the instructions at `pc`, or of as many of them as fit, and returns their number. `index` is that of its
    // counter in the thread's array.
    unsigned make(const run_environment &environment, uint64_t pc,
                  std::span<const run_instruction> instructions, unsigned index);

    // What it is made of, until the next is made. The word at `exit` is to be replaced by what leads back.
    std::span<const word_t> words() const { return {words_, word_count_}; }
    unsigned exit() const { return exit_; }
    std::span<const fault_range> faults() const { return {faults_, fault_count_}; }
    // Of its instructions, those that are translated.
    unsigned translated() const { return translated_count_; }

    static constexpr unsigned most_instructions = 64;
    static constexpr unsigned most_words = 4096;

private:
    bool try_to_make(const run_environment &environment, uint64_t pc,
                     std::span<const run_instruction> instructions, unsigned index);
    void choose_scratch(std::span<const run_instruction> instructions);
    void write_version(code::section_number version, std::span<const run_instruction> instructions,
                       unsigned from);
    bool translate(const run_instruction &instruction);
    void write_entry(const run_environment &environment, unsigned index);
    void write_end();
    void write_stubs(const run_environment &environment, uint64_t pc,
                     std::span<const run_instruction> instructions);
    struct scratch {
        uint32_t v, x;
    };
    void save(const scratch &registers) { move_scratch(false, registers); }
    void give_back(const scratch &registers) { move_scratch(true, registers); }
    void move_scratch(bool load, const scratch &registers);
    scratch taken() const;
    bool link();

    // An emulator's turn in the run.
    struct stub {
        unsigned first, count; // instructions
        label from, to;
        code::section_number in;
    };
    struct range {
        code::section_number where;
        unsigned first, last;
        label resume;
    };

    code code_;
    bool is_translated_[most_instructions];
    label slow_entries_[most_instructions];
    bool has_slow_entry_[most_instructions];
    // What the versions take; the slow one, all that the fast one does, too.
    scratch fast_scratch_, slow_scratch_;
    stub stubs_[2 * most_instructions];
    unsigned stub_count_;
    range ranges_[2 * most_instructions];
    unsigned range_count_;
    label end_;

    word_t words_[most_words];
    unsigned word_count_ = 0;
    unsigned exit_ = 0;
    fault_range faults_[2 * most_instructions];
    unsigned fault_count_ = 0;
    unsigned translated_count_ = 0;
};

} // namespace sve::native
