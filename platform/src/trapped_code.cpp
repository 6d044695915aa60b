#include "platform/src/trapped_code.h"

#include "platform/src/code_map.h"
#include "platform/src/context.h"
#include "platform/src/counters.h"
#include "platform/src/events.h"
#include "platform/src/ir.h"
#include "platform/src/message.h"
#include "platform/src/rewrite.h"
#include "platform/src/sites.h"
#include "platform/src/text.h"
#include "platform/src/thread.h"
#include "platform/src/trampolines.h"
#include "platform/src/traps.h"

#include <algorithm>
#include <cstring>
#include <pthread.h>
#include <sys/mman.h>

namespace platform {

namespace {

// Guards all below, the sites, the trampolines, what is known of the map, and the instruction lists. Taken with
// signals blocked only.
pthread_mutex_t patch_lock = PTHREAD_MUTEX_INITIALIZER;

// Around the block that is being handled.
code_mapping handled;

// ---- Blocks -------------------------------------------------------------------------------------

// Whether `word`, which stands at `pc`, is left to traps.
bool is_met(const site *at, a64::word_t word) {
    return at && at->data && at->word == word && at->mapping == handled.number;
}

// Whether a block can't go on with the instruction at `pc`, which is `word`: it has been in another
// one, or is none. A native instruction may be in any number of blocks.
bool ends_before(uintptr_t pc, a64::word_t word, dr_block_reason_t reason) {
    if (traps_by_itself(word)) {
        const bool is_known = is_met(sites.find(pc), word);
        return word != read_word(pc) || is_known == (reason == DR_BLOCK_MET);
    }
    const bool is_diverted =
        a64::is_b(word) && in_trampolines(pc + static_cast<uintptr_t>(a64::b_distance(word)));
    return a64::is_undefined(word) || is_diverted;
}

// The block from `pc` on: to the first branch or exception-generating instruction, which belongs to
// it, or up to an undefined word, a trapping site that is in a block already, or the end of the mapping.
instrlist_t make_block(uintptr_t pc, dr_block_reason_t reason) {
    instrlist_t list = start_list(reinterpret_cast<app_pc>(pc), reason);
    for (unsigned i = 0; i < max_block_instructions && pc + 4 <= handled.end; i++, pc += 4) {
        const a64::word_t word = application_word(pc);
        if (ends_before(pc, word, reason))
            break;
        append_application_instruction(&list, reinterpret_cast<app_pc>(pc), word);
        if (a64::ends_block(word))
            break;
    }
    return list;
}

// ---- Blocks that clients ask for ----------------------------------------------------------------

// By dr_translate_also, in the event of a block.
struct {
    const app_pc *pcs;
    size_t count;
} asked_for;

// Hands over the instructions [first, last), which lie in one mapping.
void translate_run(const app_pc *first, const app_pc *last) {
    const auto start = reinterpret_cast<uintptr_t>(*first);
    const writable_text text(start, reinterpret_cast<uintptr_t>(last[-1]), find_protection(start));
    for (; first != last; first++) {
        const auto pc = reinterpret_cast<uintptr_t>(*first);
        const a64::word_t word = application_word(pc);
        if (word != read_word(pc)) // it has been replaced already
            continue;
        instrlist_t list = start_list(*first, DR_BLOCK_ASKED_FOR);
        append_application_instruction(&list, *first, word);
        raise_block(&dr_thread_area, &list);
        write_sites(list, bool(text));
    }
}

void translate_what_is_asked_for() {
    const app_pc *const end = asked_for.pcs + asked_for.count;
    for (const app_pc *last, *first = asked_for.pcs; first != end; first = last) {
        const code_mapping *around = find_code(reinterpret_cast<uintptr_t>(*first));
        last = first + 1;
        while (around && last != end && around->contains(reinterpret_cast<uintptr_t>(*last)))
            last++;
        if (around && (around->protection & PROT_READ))
            translate_run(first, last);
    }
    asked_for = {};
}

// ---- The three steps ----------------------------------------------------------------------------

void note_site(const instr_t &instr) {
    site *at = sites.need(reinterpret_cast<uintptr_t>(instr.pc));
    if (!at)
        refuse(125, "no memory to note the instruction at %p", static_cast<void *>(instr.pc));
    if (at->word != instr.word)
        at->is_written = false;
    at->word = at->text = instr.word;
    at->data = instr.trap_data;
    at->mapping = handled.number;
    at->traps = 0;
    at->stays = false;
}

// Returns whether `word` was at `pc`.
bool meet_block(uintptr_t pc, a64::word_t word) {
    look_up_known_code(true);
    instrlist_t list = make_block(pc, DR_BLOCK_MET);
    const bool was_there = list.first && list.first->word == word;
    raise_block(&dr_thread_area, &list);
    const instr_t *first_written = nullptr, *last_written = nullptr;
    for (const instr_t *instr = list.first; instr; instr = instr->next)
        if (instr->trap_data) {
            note_site(*instr);
        } else if (!instr->application) {
            last_written = instr;
            first_written = first_written ? first_written : instr;
        }
    if (first_written) {
        const writable_text text(reinterpret_cast<uintptr_t>(first_written->pc),
                                 reinterpret_cast<uintptr_t>(last_written->pc),
                                 find_protection(pc));
        write_sites(list, bool(text));
    }
    translate_what_is_asked_for();
    look_up_known_code(false);
    return was_there;
}

// The instructions to be executed for one trap.
struct run {
    dr_trapped_instr_t instrs[max_block_instructions];
    unsigned count = 0;
};

void take_run(uintptr_t pc, run &taken) {
    for (; taken.count < max_block_instructions && pc + 4 <= handled.end; pc += 4) {
        const a64::word_t word = read_word(pc);
        const site *at = traps_by_itself(word) ? sites.find(pc) : nullptr;
        if (!is_met(at, word))
            break;
        taken.instrs[taken.count++] = {reinterpret_cast<app_pc>(pc), word, at->data};
    }
}

void execute_run(mcontext_t &machine, const run &taken) {
    fpsimd_context &fp = *floating_point_of(machine);
    constexpr uint64_t flags = 0xf0000000, branch_type = 0xc00;
    dr_registers_t registers;
    std::memcpy(registers.x, machine.regs, sizeof registers.x);
    registers.sp = machine.sp;
    registers.nzcv = machine.pstate & flags;
    registers.fpsr = fp.fpsr;
    registers.fpcr = fp.fpcr;
    std::memcpy(registers.q, fp.vregs, sizeof registers.q);

    raise_trap(&dr_thread_area, &registers, taken.instrs, taken.count);
    count(counters.executed_at_traps, taken.count);

    std::memcpy(machine.regs, registers.x, sizeof registers.x);
    machine.sp = registers.sp;
    machine.pstate = (machine.pstate & ~(flags | branch_type)) | registers.nzcv;
    fp.fpsr = registers.fpsr;
    fp.fpcr = registers.fpcr;
    std::memcpy(fp.vregs, registers.q, sizeof registers.q);
    machine.pc = reinterpret_cast<uint64_t>(taken.instrs[taken.count - 1].pc) + 4;
}

// Until then a block costs less if it is executed at each trap. Those of its page that have trapped nearly as often are
// rewritten with it, under one change of protection.
unsigned traps_till_rewritten = 8, traps_till_due = 6;

// The due blocks of the page of `pc`.
void rewrite_page(uintptr_t pc) {
    const uintptr_t page = pc & ~(page_bytes() - 1);
    const uintptr_t end = std::min(page + page_bytes(), handled.end);
    const auto find_due = [end](uintptr_t from) {
        return find_word(from, end, [](uintptr_t at_pc, a64::word_t word) {
            const site *at = traps_by_itself(word) ? sites.find(at_pc) : nullptr;
            return is_met(at, word) && at->traps >= traps_till_due && !at->stays;
        });
    };
    const uintptr_t first = find_due(std::max(page, handled.start));
    uintptr_t last = first;
    for (uintptr_t next = first; next != end; next = find_due(next + 4))
        last = next;
    const instrlist_t last_block = make_block(last, DR_BLOCK_AGAIN);
    if (!last_block.last) // written over meanwhile
        return;

    look_up_known_code(true);
    const writable_text text(first, reinterpret_cast<uintptr_t>(last_block.last->pc),
                             find_protection(first));
    // What a block takes in is no longer due by itself.
    for (uintptr_t next = first; next != end; next = find_due(next + 4)) {
        instrlist_t list = make_block(next, DR_BLOCK_AGAIN);
        raise_block(&dr_thread_area, &list);
        write_sites(list, bool(text));
        count(counters.blocks_rewritten, bool(text));
    }
    look_up_known_code(false);
}

// ---- Traps --------------------------------------------------------------------------------------

// Where the thread has last been sent back to an instruction, and how often one after the other.
__thread struct {
    uintptr_t pc;
    unsigned times;
} fetched_again;

// For a word that is none of those that clients replace, or is there no more. Another thread may have put another one there
// since the trap: what the processor makes of it shows when it is fetched again. False if it has been, so often that it
// can't be by accident.
bool go_on_natively(mcontext_t &machine, a64::word_t word) {
    const site *at = word == trap_to_trampoline ? sites.find(machine.pc) : nullptr;
    if (at && at->text == word) {
        machine.pc = reinterpret_cast<uintptr_t>(at->way->code());
        return true;
    }
    constexpr unsigned enough = 16;
    if (fetched_again.pc != machine.pc)
        fetched_again = {machine.pc, 0};
    if (fetched_again.times < enough) {
        fetched_again.times++;
        return true;
    }
    fetched_again = {};
    return false;
}

// Does what has to be done under the lock. False if no client knows the instruction.
bool prepare(mcontext_t &machine, run &taken) {
    const uintptr_t pc = machine.pc;
    const a64::word_t word = read_word(pc);
    if (!traps_by_itself(word))
        return go_on_natively(machine, word);
    const code_mapping *around = find_code(pc);
    if (!around)
        return false;
    handled = *around;
    if (!is_met(sites.find(pc), word) && !meet_block(pc, word))
        return go_on_natively(machine, word);
    site *at = sites.find(pc);
    if (!is_met(at, word))
        return false;
    at->text = word; // what was put there may be gone: the file's page is back
    if (at->traps < traps_till_rewritten)
        at->traps++;
    if (at->traps == traps_till_rewritten && traps_till_rewritten && !at->stays) {
        rewrite_page(pc);
        if (read_word(pc) != word)
            return true;
    }
    take_run(pc, taken);
    return true;
}

} // namespace

void lock_patching() {
    pthread_mutex_lock(&patch_lock);
}
void unlock_patching() {
    pthread_mutex_unlock(&patch_lock);
}

void rewrite_after(unsigned traps) {
    traps_till_rewritten = traps;
    traps_till_due = traps - traps / 4;
}

bool handle_trapped_instruction(mcontext_t &machine) {
    run taken;
    pthread_mutex_lock(&patch_lock);
    const bool is_known = prepare(machine, taken);
    pthread_mutex_unlock(&patch_lock);
    if (taken.count)
        execute_run(machine, taken);
    return is_known;
}

bool exchange_text(uintptr_t pc, a64::word_t word, a64::word_t &former) {
    const writable_text text(pc, pc, find_protection(pc));
    if (!text)
        return false;
    former = read_word(pc);
    return exchange_word(pc, former, word);
}

} // namespace platform

// ---- What clients see --------------------------------------------------------------------------

using namespace platform;

bool dr_translate_also(const app_pc *pcs, size_t count) {
    if (asked_for.count)
        refuse(125, "a client asks twice in one event for further blocks");
    asked_for = {pcs, count};
    return true;
}

bool dr_is_translated(const byte *pc) {
    const auto address = reinterpret_cast<uintptr_t>(pc);
    return natives_are_kept() || read_word(address) != application_word(address);
}

bool dr_query_memory(const byte *pc, byte **base_pc, size_t *size, uint *) {
    const code_mapping *around = find_code(reinterpret_cast<uintptr_t>(pc));
    if (!around)
        return false;
    if (base_pc)
        *base_pc = reinterpret_cast<byte *>(around->start);
    if (size)
        *size = around->end - around->start;
    return true;
}

void dr_application_words(const byte *pc, uint *words, size_t count) {
    auto address = reinterpret_cast<uintptr_t>(pc);
    if (!read_words(address, words, count)) {
        for (size_t i = 0; i < count; i++)
            words[i] = application_word(address + 4 * i);
        return;
    }
    for (size_t i = 0; i < count; i++, address += 4)
        words[i] = application_word(address, words[i]);
}
