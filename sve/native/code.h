#pragma once

// The vocabulary of translations. A translation writes native instructions that do an instruction's work on the
// registers of the running thread:
//
//     the general registers, SP, NZCV, FPCR and FPSR are the program's own, in their places
//     chunk 0 of Zn, its low 16 bytes, is in Vn; the other chunks are in the row of the thread's cpu_state
//     Pn and FFR are rows of the cpu_state, a byte of 0 or 1 for each bit
//
// so a lane-wise form is its native counterpart, once for each chunk:
//
//     void native_add_zzz(code &c, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
//         lanes(c, sized(a64::v::add, zd.size), zd, zn, zm);
//     }
//
// What a translation may change: the registers that its instruction writes, and scratch registers that it asks for.
// NZCV only if the instruction sets flags, FPSR only if it raises exceptions. It may be made twice, for two versions of
// a run: see all_true. Nothing here knows a platform, nor a vector length but by asking.

#include "sve/core/cpu_state.h" // the records of operands
#include "sve/native/a64.h"
#include "sve/native/layout.h"

#include <cstddef>
#include <cstdint>

namespace sve::native {

// What the processor has beyond the least.
struct features {
    bool half_precision; // arithmetic on half-precision lanes
    bool complex;        // FCADD and FCMLA
};

// A place in the code.
struct label {
    uint16_t number;
};

class code {
public:
    // ---- Geometry ---------------------------------------------------------------------------------
    const layout &state() const { return layout_; }
    unsigned vector_bytes() const { return layout_.vector_bytes; }
    unsigned chunks() const { return layout_.chunks(); }
    unsigned elements(unsigned size) const { return vector_bytes() >> size; }
    const features &processor() const { return features_; }

    // ---- Words ------------------------------------------------------------------------------------
    // Writes an instruction: a constant of a64.h and its registers.
    template <class... Register>
    void put(word_t word, Register... number) {
        if constexpr (sizeof...(number) == 0)
            append(word);
        else
            append(word | operands(number...));
    }
    // No translation of this word: the emulator runs it. Whatever has been written for it is dropped.
    void decline() { declined_ = true; }

    // ---- Branches ---------------------------------------------------------------------------------
    label new_label();
    void bind(label here);
    void b(label to);
    void b(a64::condition condition, label to);
    // On an X register, or with `word` its low half
    void cbz(unsigned x, label to) { compare_branch(0xb4000000, x, to); }
    void cbnz(unsigned x, label to) { compare_branch(0xb5000000, x, to); }
    void tbz(unsigned x, unsigned bit, label to) { test_branch(0x36000000, x, bit, to); }
    void tbnz(unsigned x, unsigned bit, label to) { test_branch(0x37000000, x, bit, to); }

    // ---- Scratch registers ------------------------------------------------------------------------
    // One that no instruction of the run names, until the end of the instruction or of the chunk.
    unsigned v();
    unsigned x();
    // The first of so many V registers that follow each other, as lists of tables do; no_list if there are none.
    static constexpr unsigned no_list = 32;
    unsigned v_list(unsigned count);
    // f(i) for each chunk i. Scratch registers taken in f are free again behind it.
    template <class F>
    void for_each_chunk(F &&f) {
        for (unsigned i = 0; i < chunks(); i++)
            scope([&] { f(i); });
    }
    template <class F>
    void scope(F &&f) {
        const uint32_t v_free = v_free_, x_free = x_free_;
        f();
        v_free_ = v_free;
        x_free_ = x_free;
    }

    // ---- Z registers ------------------------------------------------------------------------------
    // The V register that holds chunk i of Zn: Vn itself, or a scratch register that it has been loaded into.
    unsigned load_z(unsigned number, unsigned i);
    // The V register in which to make chunk i: Vn itself, or a scratch register. If Vn, it may be a source, too: several
    // instructions that write it must have read their sources before.
    unsigned target_z(unsigned number, unsigned i);
    // Makes it chunk i.
    void store_z(unsigned number, unsigned i, unsigned v);
    // The whole register in its row, chunk 0 included; and chunk 0 back from there.
    void spill_z(unsigned number) { store_v(number, layout_.z(number)); }
    void fill_z(unsigned number) { load_v(number, layout_.z(number)); }

    // ---- Predicates -------------------------------------------------------------------------------
    // Chunk i of the row: 16 bytes of 0 or 1 in a scratch register.
    unsigned load_p(unsigned number, unsigned i);
    void store_p(unsigned number, unsigned i, unsigned v);
    // All ones in the lanes of a size code that are active, in a scratch register.
    unsigned mask(unsigned pg, unsigned size, unsigned i);
    // Whether all lanes are known to be active here. In the fast version of a run they are tested to be, once, unless
    // another answer is likely; where the test fails the run goes on in its slow version from this instruction on, so the
    // test has to come before anything is changed. In that one, and for predicates that the run itself has made, the
    // answer is mostly no, and the translation must be right for all predicates, or leave.
    bool all_true(unsigned pg, unsigned size);
    // The same without a test, for instructions whose predicates mostly aren't.
    bool is_known_all_true(unsigned pg, unsigned size) const { return full_[pg] <= size; }
    // Every instruction that writes Pn says so. `likely_full`: it makes predicates that mostly are all true.
    void writes_p(unsigned number, bool likely_full);
    // Of an instruction that makes all lanes of a size active.
    void knows_all_true(unsigned number, unsigned size) {
        full_[number] = static_cast<uint8_t>(size);
        note_full(number, size);
    }
    // Code that notes for other runs what is known of a predicate at its end: that all lanes of a size are active, or
    // nothing, which is noted at the end of an instruction unless it does so itself. Behind all that may leave.
    static constexpr unsigned not_full = 4;
    void note_full(unsigned number, unsigned size);

    // Whether somebody may see the flags that the instruction sets; if not, it need not set them.
    bool needs_flags() const { return needs_flags_; }

    // ---- General registers ------------------------------------------------------------------------
    // The register that holds the program's Xn, perhaps a scratch one. 31 is XZR; in the second SP, in a scratch register.
    unsigned read_x(unsigned number);
    unsigned read_x_or_sp(unsigned number);
    // The register in which to make the program's Xn, which may be one of the sources; and what makes it Xn. For 31 a scratch
    // register and nothing.
    unsigned target_x(unsigned number);
    void store_x(unsigned number, unsigned x);
    // The same for the program's SP. Takes scratch registers.
    void store_sp(unsigned x);
    // x = value
    void set_x(unsigned x, uint64_t value);

    // ---- Memory -----------------------------------------------------------------------------------
    // In the thread's state: loads and stores of scratch registers.
    void load_v(unsigned v, unsigned offset) {
        put_in_state(a64::load_store_v(true, 16, v, base, offset));
    }
    void store_v(unsigned v, unsigned offset) {
        put_in_state(a64::load_store_v(false, 16, v, base, offset));
    }
    void load_x(unsigned x, unsigned offset) {
        put_in_state(a64::load_store(true, 8, x, base, offset));
    }
    void store_x_in_state(unsigned x, unsigned offset) {
        put_in_state(a64::load_store(false, 8, x, base, offset));
    }
    // A scratch X register with the address of an offset of the state.
    unsigned address_in_state(unsigned offset);
    // A scratch V register with these bytes, the low ones first.
    unsigned constant(uint64_t low, uint64_t high);

    // Where the emulator runs this instruction instead, with all as it was before it. Also where an access of the
    // program's memory that faults goes on, so whoever accesses memory asks for it, and changes nothing that its
    // instruction reads before the last access.
    label leave();

private:
    friend class run;
    static constexpr unsigned base = 27; // the thread's state
    static constexpr unsigned link = 30; // the first scratch X register

    enum section_number : uint8_t { entry, fast, end, slow, stubs, section_count };
    static constexpr unsigned longest_section = 3072;
    static constexpr unsigned most_labels = 512, most_uses = 1024;
    struct section {
        word_t words[longest_section];
        unsigned count;
    };
    struct label_place {
        section_number where;
        bool bound;
        uint16_t word;
    };
    enum class field : uint8_t { bits_26, bits_19, bits_14 };
    struct label_use {
        section_number where;
        field kind;
        uint16_t word;
        label to;
    };

    void append(word_t word);
    void put_in_state(word_t word) {
        uses_state_ = true;
        append(word);
    }
    void use(label to, field kind);
    void compare_branch(word_t word, unsigned x, label to) {
        use(to, field::bits_19);
        append(word | x);
    }
    void test_branch(word_t word, unsigned x, unsigned bit, label to) {
        use(to, field::bits_14);
        append(word | bit >> 5 << 31 | (bit & 31) << 19 | x);
    }
    void forget_predicates();
    void begin_instruction();
    label slow_entry();

    layout layout_{};
    features features_{};

    section sections_[section_count];
    section_number current_ = fast;
    label_place labels_[most_labels];
    unsigned label_count_ = 0;
    label_use uses_[most_uses];
    unsigned use_count_ = 0;
    bool overflow_ = false;
    struct literal {
        label at;
        uint64_t low, high;
    };
    static constexpr unsigned most_literals = 64;
    literal literals_[most_literals];
    unsigned literal_count_ = 0;

    uint32_t v_pool_ = 0, x_pool_ = 0;   // registers that may be scratch ones
    uint32_t v_free_ = 0, x_free_ = 0;   // of them, those that are not taken just now
    uint32_t v_taken_ = 0, x_taken_ = 0; // that some instruction of the run has taken
    bool uses_state_ = false;            // beyond counting

    uint8_t full_[16] = {}; // the smallest size code at which all lanes are known to be active
    uint16_t likely_partial_ = 0; // written in this run
    uint16_t to_note_ = 0;        // predicates that the instruction has written, and not noted
    bool needs_flags_ = true;
    bool declined_ = false;
    bool leaves_ = false;
    label leave_{};
    bool goes_slow_ = false;
    label slow_{};
};

} // namespace sve::native
