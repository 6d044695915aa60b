#include "sve/native/run.h"

#include "sve/core/bits.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace sve::native {

namespace {

// Of LD2 to LD4 and ST2 to ST4 the registers, which follow each other.
unsigned structure_members(uint32_t word) {
    const unsigned group = bits(word, 31, 25), form = bits(word, 15, 13);
    const bool is_load = group == 0x52 && form >= 6;
    const bool is_store = group == 0x72 && (form == 3 || (form == 7 && bits(word, 20, 20)));
    return is_load || is_store ? bits(word, 22, 21) + 1 : 1;
}

// The registers whose numbers may stand in the word, those of V and X registers alike: wherever an
// SVE instruction has a field for one.
uint32_t named_registers(uint32_t word) {
    uint32_t named = 1u << bits(word, 4, 0) | 1u << bits(word, 9, 5) | 1u << bits(word, 20, 16);
    named |= 1u << bits(word, 19, 16) | 1u << bits(word, 18, 16); // indexed forms
    for (unsigned i = 1; i < structure_members(word); i++)
        named |= 1u << (bits(word, 4, 0) + i) % 32;
    return named;
}

// Whether the words from the first on set the flags anew before somebody sees those that the first one sets: before an
// instruction that reads them, one that may fault, or the end.
bool are_flags_lost(std::span<const run_instruction> instructions) {
    const auto is = [](uint32_t word, uint32_t mask, uint32_t value) {
        return (word & mask) == value;
    };
    for (const run_instruction &next : instructions.subspan(1)) {
        const uint32_t word = next.word;
        const bool is_memory = word >> 31, is_cterm = is(word, 0xffa0fc0f, 0x25a02000);
        if (is_memory || is_cterm)
            return false;
        const bool is_compare =
                       is(word, 0xff000000, 0x24000000) || is(word, 0xff204000, 0x25000000),
                   is_ptest = is(word, 0xffffc21f, 0x2550c000),
                   is_while = is(word, 0xff20e000, 0x25200000);
        if (is_compare || is_ptest || is_while)
            return true;
    }
    return false;
}

constexpr unsigned least_v = 12, least_x = 8;

} // namespace

// ---- Which and how many -------------------------------------------------------------------------

unsigned run::make(const run_environment &environment, uint64_t pc,
                   std::span<const run_instruction> instructions, unsigned index) {
    uint32_t named = 1u << code::base | 1u << xzr;
    size_t count = 0;
    while (count < instructions.size() && count < most_instructions) {
        const uint32_t all = named | named_registers(instructions[count].word);
        if (count && (32 - std::popcount(all) < static_cast<int>(least_v)))
            break;
        named = all;
        count++;
    }
    while (!try_to_make(environment, pc, instructions.first(count), index)) {
        if (count == 1)
            return 0;
        count = (count + 1) / 2;
    }
    return static_cast<unsigned>(count);
}

void run::choose_scratch(std::span<const run_instruction> instructions) {
    uint32_t named = 0;
    for (const run_instruction &instruction : instructions)
        named |= named_registers(instruction.word);
    code_.v_pool_ = ~named;
    // X30 is always free, and X27 never; 31 is none.
    code_.x_pool_ = (~named & ~(1u << code::base) & ~(1u << xzr)) | 1u << code::link;
}

bool run::try_to_make(const run_environment &environment, uint64_t pc,
                      std::span<const run_instruction> instructions, unsigned index) {
    code_.layout_ = {environment.vector_bytes};
    code_.features_ = environment.processor;
    for (code::section &section : code_.sections_)
        section.count = 0;
    code_.label_count_ = code_.use_count_ = code_.literal_count_ = 0;
    code_.overflow_ = code_.uses_state_ = false;
    code_.v_taken_ = code_.x_taken_ = 0;
    code_.likely_partial_ = 0;
    stub_count_ = range_count_ = translated_count_ = 0;
    choose_scratch(instructions);
    end_ = code_.new_label();

    write_version(code::fast, instructions, 0);
    fast_scratch_ = slow_scratch_ = taken();
    const bool *const first_slow =
        std::find(has_slow_entry_, has_slow_entry_ + instructions.size(), true);
    if (first_slow != has_slow_entry_ + instructions.size())
        write_version(code::slow, instructions,
                      static_cast<unsigned>(first_slow - has_slow_entry_));
    write_stubs(environment, pc, instructions);
    write_end();
    write_entry(environment, index);
    return !code_.overflow_ && link();
}

// ---- The sections -------------------------------------------------------------------------------

// False, and nothing written, if the emulator has to run it.
bool run::translate(const run_instruction &instruction) {
    if (!instruction.translate)
        return false;
    code::section &to = code_.sections_[code_.current_];
    const unsigned words = to.count, labels = code_.label_count_, uses = code_.use_count_,
                   literals = code_.literal_count_;
    const uint32_t v_taken = code_.v_taken_, x_taken = code_.x_taken_;
    instruction.translate(code_, instruction.word);
    for (unsigned n = 0; n < 16; n++)
        if (code_.to_note_ >> n & 1)
            code_.note_full(n, code::not_full);
    if (!code_.declined_)
        return true;
    to.count = words;
    code_.label_count_ = labels;
    code_.use_count_ = uses;
    code_.literal_count_ = literals;
    code_.v_taken_ = v_taken;
    code_.x_taken_ = x_taken;
    code_.leaves_ = code_.goes_slow_ = false;
    code_.forget_predicates(); // a test of one may be among what is dropped
    return false;
}

void run::write_version(code::section_number version, std::span<const run_instruction> instructions,
                        unsigned from) {
    code_.current_ = version;
    code_.forget_predicates();
    code_.likely_partial_ = 0;
    const bool is_fast = version == code::fast;
    bool was_handed_over = false;
    label bodies[most_instructions];
    for (unsigned i = from; i < instructions.size(); i++) {
        if (!is_fast && has_slow_entry_[i]) {
            bodies[i] = code_.new_label();
            code_.bind(bodies[i]);
            code_.forget_predicates(); // others come in here
            was_handed_over = false;
        }
        code_.begin_instruction();
        const unsigned first = code_.sections_[version].count;
        code_.needs_flags_ = !are_flags_lost(instructions.subspan(i));
        const bool is_translated = (is_fast || is_translated_[i]) && translate(instructions[i]);
        if (is_fast) {
            is_translated_[i] = is_translated;
            translated_count_ += is_translated;
            has_slow_entry_[i] = code_.goes_slow_;
            slow_entries_[i] = code_.slow_;
        }
        if (is_translated) {
            if (code_.leaves_) {
                const label back = code_.new_label();
                code_.bind(back);
                stubs_[stub_count_++] = {i, 1, code_.leave_, back, version};
                ranges_[range_count_++] = {version, first, code_.sections_[version].count,
                                           code_.leave_};
            }
            was_handed_over = false;
            continue;
        }
        if (was_handed_over) {
            stubs_[stub_count_ - 1].count++;
            continue;
        }
        const label there = code_.new_label(), back = code_.new_label();
        code_.b(there);
        code_.bind(back);
        stubs_[stub_count_++] = {i, 1, there, back, version};
        code_.forget_predicates();
        was_handed_over = true;
    }
    if (is_fast)
        return;
    slow_scratch_ = taken();
    const scratch own = {slow_scratch_.v & ~fast_scratch_.v, slow_scratch_.x & ~fast_scratch_.x};
    give_back(own);
    code_.b(end_);
    for (unsigned i = from; i < instructions.size(); i++)
        if (has_slow_entry_[i]) {
            code_.bind(slow_entries_[i]);
            save(own);
            code_.b(bodies[i]);
        }
}

run::scratch run::taken() const {
    return {code_.v_taken_, code_.x_taken_ & ~(1u << code::link)};
}

void run::move_scratch(bool load, const scratch &registers) {
    for (unsigned n = 0; n < 32; n++)
        if (registers.v >> n & 1)
            code_.put_in_state(a64::load_store_v(load, 16, n, code::base, code_.layout_.z(n)));
    for (unsigned n = 0; n < 31; n++) {
        if (!(registers.x >> n & 1))
            continue;
        const unsigned offset = code_.layout_.x(n);
        if (registers.x >> (n + 1) & 1) {
            code_.put_in_state(
                a64::load_store_pair(load, n, n + 1, code::base, static_cast<int>(offset)));
            n++;
        } else {
            code_.put_in_state(a64::load_store(load, 8, n, code::base, offset));
        }
    }
}

void run::write_stubs(const run_environment &environment, uint64_t pc,
                      std::span<const run_instruction> instructions) {
    code_.current_ = code::stubs;
    const auto put_address = [this](uint64_t address) {
        code_.put(static_cast<word_t>(address));
        code_.put(static_cast<word_t>(address >> 32));
    };
    const label hand_over = code_.new_label();
    for (unsigned i = 0; i < stub_count_; i++) {
        const stub &turn = stubs_[i];
        const scratch &registers = turn.in == code::fast ? fast_scratch_ : slow_scratch_;
        code_.bind(turn.from);
        give_back(registers);
        code_.use(hand_over, code::field::bits_19);
        code_.put(0x58000000 | code::link); // ldr x30, literal
        code_.put(a64::blr | code::link << 5);
        code_.put(turn.count);
        put_address(pc + 4 * turn.first);
        for (const run_instruction &instruction : instructions.subspan(turn.first, turn.count)) {
            put_address(instruction.handler);
            code_.put(instruction.word);
        }
        save(registers);
        code_.b(turn.to);
    }
    if (stub_count_) {
        code_.uses_state_ = true;
        code_.bind(hand_over);
        put_address(environment.hand_over);
    }
    for (unsigned i = 0; i < code_.literal_count_; i++) {
        code_.bind(code_.literals_[i].at);
        put_address(code_.literals_[i].low);
        put_address(code_.literals_[i].high);
    }
}

void run::write_end() {
    code_.current_ = code::end;
    code_.bind(end_);
    give_back(fast_scratch_);
    code_.put(0xa8c17bfb); // ldp x27, x30, [sp], #16
    code_.put(0xd4200000); // the way back
}

void run::write_entry(const run_environment &environment, unsigned index) {
    code_.current_ = code::entry;
    code_.put(0xa9bf7bfb); // stp x27, x30, [sp, #-16]!
    const bool needs_state = code_.uses_state_ || fast_scratch_.v || fast_scratch_.x;
    if (environment.counts || needs_state)
        for (const word_t word : environment.load_base)
            code_.put(word);
    if (environment.counts) {
        constexpr unsigned counter_bytes = 8, reach = 4096 * counter_bytes;
        const unsigned offset = index * counter_bytes, far = offset / reach * (reach >> 12) << 10;
        const word_t shifted = a64::immediate_shifted | far;
        if (far)
            code_.put(a64::add_immediate | shifted, code::base, code::base);
        code_.put(a64::load_store(true, 8, code::link, code::base, offset % reach));
        code_.put(a64::add_immediate | 1 << 10, code::link, code::link);
        code_.put(a64::load_store(false, 8, code::link, code::base, offset % reach));
        if (far && needs_state)
            code_.put(a64::sub_immediate | shifted, code::base, code::base);
        if (needs_state)
            code_.put(0xf85f8000, code::base, code::base); // ldur x27, [x27, #-8]
    }
    save(fast_scratch_);
}

// ---- One piece ----------------------------------------------------------------------------------

bool run::link() {
    unsigned start[code::section_count];
    unsigned at = 0;
    for (unsigned i = 0; i < code::section_count; i++) {
        start[i] = at;
        at += code_.sections_[i].count;
    }
    if (at > most_words)
        return false;
    word_count_ = at;
    for (unsigned i = 0; i < code::section_count; i++)
        std::memcpy(words_ + start[i], code_.sections_[i].words,
                    code_.sections_[i].count * sizeof(word_t));
    const auto place = [&](label of) {
        const code::label_place &bound = code_.labels_[of.number];
        return start[bound.where] + bound.word;
    };
    for (unsigned i = 0; i < code_.use_count_; i++) {
        const code::label_use &use = code_.uses_[i];
        const unsigned from = start[use.where] + use.word;
        const word_t distance = place(use.to) - from;
        words_[from] |= use.kind == code::field::bits_26   ? distance & 0x3ffffff
                        : use.kind == code::field::bits_19 ? (distance & 0x7ffff) << 5
                                                           : (distance & 0x3fff) << 5;
    }
    exit_ = start[code::end] + code_.sections_[code::end].count - 1;
    fault_count_ = range_count_;
    for (unsigned i = 0; i < range_count_; i++) {
        const range &from = ranges_[i];
        faults_[i] = {start[from.where] + from.first, start[from.where] + from.last,
                      place(from.resume)};
    }
    return true;
}

} // namespace sve::native
