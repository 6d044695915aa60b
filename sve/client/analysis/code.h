#pragma once

// Where native instructions have to clear the upper bytes of Z registers.
//
// On a processor with SVE an instruction that writes Vn clears Zn from byte 16 on. Where SVE is emulated, native code
// runs as it is, and the upper bytes are in memory that it knows nothing of. To clear them there costs a dozen
// instructions; nearly all native writes can do without, since no SVE instruction reads Zn before it is written
// again. So code is looked at in stretches: a function, or what lies around an instruction that was met.
//
//     reach      which words are instructions: those that direct branches lead to from an entry, or from behind a
//                call. Anything else may be data, and is never touched.
//     liveness   backward over these instructions, a bit for each register: whether an SVE instruction may read the
//                upper bytes that are there at this point. SVE instructions read those of their sources and
//                replace those of their destinations, native writes clear them, calls and returns may hand
//                Z0 to Z7 on, an indirect jump may lead to any instruction.
//     places     native writes of a register whose upper bytes are live behind them.
//
// Nothing here knows of a platform or reads memory: a stretch is a copy of words, and what other code does with
// registers is asked of a function.

#include "sve/client/analysis/a64_words.h"
#include "sve/client/analysis/sve_words.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace sve::analysis {

// Z0 to Z7: arguments and results of the procedure call standard.
inline constexpr uint32_t passed_registers = 0xff;
inline constexpr uint32_t all_registers = 0xffffffff;

// A native instruction whose upper bytes matter, and the V registers that it writes.
struct place {
    uintptr_t pc;
    uint32_t written;
    bool operator==(const place &) const = default;
};

// What a stretch has to know of other code. Masks of registers.
struct surroundings {
    // Those whose upper bytes may be read from a point outside on, the target of a call or of a jump, up to the return
    // from there. None if nothing is known of it: then a call is taken to read Z0 to Z7, a jump all.
    std::function<std::optional<uint32_t>(uintptr_t target)> read_at = [](uintptr_t) {
        return std::nullopt;
    };
    // Those that may be read behind a return.
    uint32_t read_by_caller = passed_registers;
    // Those that may be read where an indirect jump leads to, if that is outside.
    uint32_t read_outside = all_registers;
};

class code_stretch {
public:
    explicit code_stretch(const sve_words &sve) : sve_(sve) {}

    // Takes the words from `start` on in place of those before. Nothing is reached yet.
    void load(uintptr_t start, std::span<const uint32_t> words);

    uintptr_t start() const { return start_; }
    uintptr_t end() const { return start_ + 4 * words_.size(); }
    bool contains(uintptr_t pc) const { return pc >= start() && pc < end(); }

    // ---- Reach ----

    // Control comes to `pc` from elsewhere.
    void enter(uintptr_t pc);

    // What only indirect jumps lead to, if there are any, or the handlers of exceptions: the gaps between what has
    // been reached, where all of a piece looks like code and nothing looks like a load from it. To be called when
    // all entries are known. `has_handlers`: an unwinder may come to code that no instruction leads to.
    void enter_gaps(bool has_handlers);

    // The instruction at `pc` has run. It is followed in both directions: also instructions that can only lead to
    // what has been reached are taken for such.
    void enter_around(uintptr_t pc);

    // Whether control goes on, or comes from, just outside: not far, and not by a call.
    bool goes_beyond(uintptr_t distance) const;

    bool is_reached(uintptr_t pc) const { return contains(pc) && is(reached, index(pc)); }
    bool has_sve() const { return has_sve_; } // among what is reached
    // Adds the SVE instructions among what is reached, in ascending order.
    void add_sve(std::vector<uintptr_t> &pcs) const;

    // ---- Liveness ----

    void find_live(const surroundings &around);

    // The registers whose upper bytes may be read from an entry on that has been reached: all of them, and those that
    // are known to be, which is what its caller has to know. Not among the latter is what may be handed on to unknown
    // code, by an indirect call or behind the return.
    uint32_t live_at(uintptr_t pc) const { return registers_of(live_from(index(pc))); }
    uint32_t used_at(uintptr_t pc) const { return static_cast<uint32_t>(live_from(index(pc))); }

    // Adds the places, in ascending order.
    void add_places(std::vector<place> &places) const;

    // Direct calls and jumps that leave the stretch, and what is read behind them: where a jump leads to, behind a
    // call, its return.
    struct exit {
        uintptr_t target;
        bool call;
        uint32_t live_behind;
    };
    size_t exits() const { return exits_.size(); }
    template <class F>
    void for_each_exit(F &&visit) const {
        for (const uint32_t i : exits_) {
            const control way = control_of(words_[i]);
            const bool call = way.kind == flow::call;
            visit(exit{pc_of(i + int64_t{way.distance}), call,
                       call ? registers_of(live_from(i + size_t{1})) : 0});
        }
    }

    // The registers to clear where an SVE instruction is met for the first time, and no native write has been
    // rewritten yet: those that were written natively on the way from an entry to `pc`, without an SVE instruction
    // in between. Where they were written on one of several ways only, those stay that may hold what the entry's
    // caller handed over.
    uint32_t written_before(uintptr_t pc) const;

private:
    // What is known of a word.
    enum property : uint8_t {
        reached = 1,
        is_entry = 2,
        begins_block = 4, // also: a branch leads here
        is_data = 8,      // loads that have been reached read it
    };
    bool is(property p, size_t i) const { return properties_[i] & p; }
    void set(property p, size_t i) { properties_[i] = static_cast<uint8_t>(properties_[i] | p); }

    // Words that run one after the other, up to one that can go elsewhere. Live registers are kept apart by who may read
    // them: in bits 31:0 code that is known, in bits 63:32 the caller behind a return, and unknown code.
    struct block {
        uint32_t first, last; // indices, both included
        flow kind;            // of the last word
        int32_t next, target; // blocks that control can go on to, -1 for none
        uint32_t reads = 0;   // upper bytes read before the block replaces them
        uint32_t writes = 0;  // replaced
        uint32_t inner = 0;   // read anywhere in it
        uint32_t native = 0;  // replaced by native writes
        uint64_t read_by_last = 0;
        uint64_t live = 0; // at its beginning
    };
    static uint32_t registers_of(uint64_t live) { return static_cast<uint32_t>(live | live >> 32); }
    static uint64_t in_both(uint32_t registers) { return uint64_t{registers} << 32 | registers; }

    // What a word does to upper bytes.
    struct effect {
        uint32_t reads, writes;
        bool is_sve;
    };

    size_t index(uintptr_t pc) const { return (pc - start_) / 4; }
    uintptr_t pc_of(int64_t i) const { return start_ + static_cast<uintptr_t>(i * 4); }
    bool is_inside(int64_t i) const { return i >= 0 && i < static_cast<int64_t>(words_.size()); }

    void follow(size_t from);
    bool go_on_behind(size_t i);
    bool mark_data();
    bool looks_like_code(size_t i) const;
    std::vector<bool> data_of_any_word() const;
    void find_blocks();
    const block *block_at(size_t i) const;
    uint64_t live_from(size_t i) const {
        const block *b = block_at(i);
        return b ? b->live : 0;
    }
    uint64_t live_behind(const block &b) const {
        return (b.next >= 0 ? blocks_[static_cast<size_t>(b.next)].live : 0) |
               (b.target >= 0 ? blocks_[static_cast<size_t>(b.target)].live : 0) | b.read_by_last;
    }

    const sve_words &sve_;
    uintptr_t start_ = 0;
    std::vector<uint32_t> words_;
    std::vector<uint8_t> properties_;
    std::vector<effect> effects_;    // of words that have been reached and may have one
    std::vector<block> blocks_;      // ascending
    std::vector<uint32_t> block_of_; // the number of the block that a word begins, if one does
    std::vector<uint32_t> exits_;    // indices of calls, and of jumps to the outside
    std::vector<uint32_t> entries_;  // where control comes from elsewhere
    std::vector<uint32_t> to_follow_;
    std::vector<uint32_t> literals_; // loads that have been reached
    bool has_sve_ = false;
    bool has_indirect_jump_ = false;
};

} // namespace sve::analysis
