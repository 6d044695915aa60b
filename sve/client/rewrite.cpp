// From SVE instructions to calls of the emulator. Each one is replaced by a fixed sequence: hand
// all application registers to the thread's cpu_state, call emulate_instruction, take all registers
// back.
//
// X27 points to the cpu_state and X26 is the scratch register. They and X28, which the platform may
// keep for itself, go through three spill slots; emulate_instruction moves them between the slots
// and the state. The state's address is read from the running thread's storage, so that threads may
// share code.
//
// A native instruction that has to clear the upper bytes of Z rows is replaced by itself and stores
// into the cpu_state.
#include "platform/include/dr_extensions.h"
#include "sve/client/client.h"
#include "sve/client/profile.h"
#include "sve/client/runs.h"
#include "sve/client/sequence.h"
#include "sve/client/upper_bytes.h"

#include "sve/core/bits.h"
#include "sve/core/short_mutex.h"
#include "sve/core/sve_utils.h"

#include "sve/core/cpu_state.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <mutex>

using namespace sve::client;

namespace {

void replace(void *drcontext, instrlist_t *bb, instr_t *instr, unsigned int word,
             aarch64_handler handler) {
    if (dr_get_stolen_reg() != DR_REG_X28)
        assertion_failure(__LINE__, "dr_get_stolen_reg() == DR_REG_X28");
    const app_pc pc = instr_get_app_pc(instr);
    sequence code(drcontext, bb, instr, pc);

    dr_save_reg(drcontext, bb, instr, DR_REG_X26, SPILL_SLOT_1);
    dr_save_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_2);
    dr_insert_get_stolen_reg_value(drcontext, bb, instr, DR_REG_X27);
    dr_save_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_3);
    drmgr_insert_read_tls_field(drcontext, tls_idx, bb, instr, DR_REG_X27);
    insert_hand_over(code);

    dr_insert_call_ovrin(drcontext, bb, instr, pc, reinterpret_cast<void *>(&emulate_instruction),
                         3, opnd_create_immed_int(word, OPSZ_4),
                         opnd_create_immed_int(reinterpret_cast<ptr_int_t>(pc), OPSZ_8),
                         opnd_create_immed_int(reinterpret_cast<ptr_int_t>(handler), OPSZ_8));

    drmgr_insert_read_tls_field(drcontext, tls_idx, bb, instr, DR_REG_X27);
    insert_take_back(code);
    dr_restore_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_3);
    dr_insert_set_stolen_reg_value(drcontext, bb, instr, DR_REG_X27);
    dr_restore_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_2);
    dr_restore_reg(drcontext, bb, instr, DR_REG_X26, SPILL_SLOT_1);

    instrlist_remove(bb, instr);
    instr_destroy(drcontext, instr);
}

// `written` has the instruction's destinations, as native_write_at tells them.
void replace_native_write(void *drcontext, instrlist_t *bb, instr_t *instr, uint32_t written) {
    sequence code(drcontext, bb, instr, instr_get_app_pc(instr));
    code.repeat_replaced();
    dr_save_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_1);
    drmgr_insert_read_tls_field(drcontext, tls_idx, bb, instr, DR_REG_X27);
    constexpr size_t longest_offset = 504; // of a pair
    size_t reached = 0;                    // in the state, by X27
    for (unsigned i = 0; i < 32; i++) {
        if (!(written >> i & 1))
            continue;
        const size_t upper_bytes = z_offset(i) + sve_chunk_bytes, end = z_offset(i + 1);
        if (end - reached > longest_offset) {
            code.advance(DR_REG_X27, upper_bytes - reached);
            reached = upper_bytes;
        }
        for (size_t at = upper_bytes; at < end; at += sve_chunk_bytes)
            code.store_pair(DR_REG_XZR, DR_REG_XZR, at - reached);
    }
    dr_restore_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_1);

    instrlist_remove(bb, instr);
    instr_destroy(drcontext, instr);
}

// is_sve, which asks dozens of maps, for words that come again and again: most are of no SVE instruction, and programs have
// the others in many places.
aarch64_handler find_handler(unsigned int word) {
    if (sve::bits(word, 28, 25) != 0b0010) // the group that all SVE instructions are in
        return nullptr;
    struct answer {
        unsigned int word;
        aarch64_handler handler;
    };
    static answer answers[1024]; // the last one of each number
    static sve::short_mutex answers_mutex;
    const std::lock_guard lock(answers_mutex);
    answer &known = answers[(word ^ word >> 10 ^ word >> 20) % std::size(answers)];
    if (known.word != word)
        known = {word, is_sve(word)};
    return known.handler;
}

// True for code of the main module and code in no module. Other modules' code stays as it is.
bool is_emulated_code(app_pc pc) {
    module_data_t *module = dr_lookup_module(pc);
    if (!module)
        return true;
    const bool is_main = module->start == exe_start;
    dr_free_module_data(module);
    return is_main;
}

} // namespace

dr_emit_flags_t event_instruction_change(void *drcontext, void *tag, instrlist_t *bb, bool, bool) {
    // Nothing is asked for, and nothing comes again, but instructions of code that is emulated.
    const dr_block_reason_t reason = dr_fragment_reason(tag);
    const bool is_met = reason == DR_BLOCK_MET;
    if (is_met && !is_emulated_code(dr_fragment_app_pc(tag)))
        return DR_EMIT_DEFAULT;
    if (clears_upper_bytes && is_met)
        find_native_writes(drcontext, dr_fragment_app_pc(tag));
    // Those that are to be replaced by runs: adjacent ones.
    sve_instr adjacent[64];
    size_t adjacent_count = 0;
    const auto replace_adjacent = [&] {
        replace_by_runs(drcontext, bb, {adjacent, adjacent_count});
        adjacent_count = 0;
    };
    instr_t *next;
    for (instr_t *instr = instrlist_first_app(bb); instr; instr = next) {
        next = instr_get_next_app(instr);
        unsigned int word;
        std::memcpy(&word, instr_get_raw_bits(instr), sizeof word);
        if (const aarch64_handler handler = find_handler(word)) {
            if (sve::counts_instructions && is_met)
                note_for_profile(dr_fragment_app_pc(tag), instr_get_app_pc(instr), word);
            if (is_met && dr_emulate_at_trap(instr, reinterpret_cast<void *>(handler)))
                continue;
            if (!translates) {
                replace(drcontext, bb, instr, word, handler);
                continue;
            }
            adjacent[adjacent_count++] = {instr, word, handler};
            if (adjacent_count == std::size(adjacent))
                replace_adjacent();
            continue;
        }
        replace_adjacent();
        if (is_met)
            aarch64_instr_count++;
        if (const uint32_t written =
                clears_upper_bytes ? native_write_at(instr_get_app_pc(instr), word) : 0)
            replace_native_write(drcontext, bb, instr, written);
    }
    replace_adjacent();
    return DR_EMIT_DEFAULT;
}
