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

// Makes instructions and inserts them before the one that is replaced.
class sequence {
public:
    sequence(void *drcontext, instrlist_t *bb, instr_t *replaced, app_pc pc)
        : drcontext_(drcontext), bb_(bb), replaced_(replaced), pc_(pc) {}

    // to = from, either of which may be SP: an ORR with the zero register, the usual move, can't
    // name SP, so this is an add of 0.
    void move(reg_id_t to, reg_id_t from) { add(to, from, 0, 0); }
    // reg += distance, below 2^24.
    void advance(reg_id_t reg, size_t distance) {
        if (distance >> 12)
            add(reg, reg, distance >> 12, 12);
        if (distance & 0xfff)
            add(reg, reg, distance & 0xfff, 0);
    }
    void repeat_replaced() { insert(instr_clone(drcontext_, replaced_)); }
    void store(reg_id_t reg, size_t offset, opnd_size_t size) {
        insert(instr_create_1dst_1src(drcontext_, OP_str, in_state(offset, size),
                                      opnd_create_reg(reg)));
    }
    void load(reg_id_t reg, size_t offset, opnd_size_t size) {
        insert(instr_create_1dst_1src(drcontext_, OP_ldr, opnd_create_reg(reg),
                                      in_state(offset, size)));
    }
    void store_pair(reg_id_t reg1, reg_id_t reg2, size_t offset) {
        insert(instr_create_1dst_2src(drcontext_, OP_stp, in_state(offset, OPSZ_16),
                                      opnd_create_reg(reg1), opnd_create_reg(reg2)));
    }
    void load_pair(reg_id_t reg1, reg_id_t reg2, size_t offset) {
        insert(instr_create_2dst_1src(drcontext_, OP_ldp, opnd_create_reg(reg1),
                                      opnd_create_reg(reg2), in_state(offset, OPSZ_16)));
    }
    void read_system(reg_id_t reg, reg_id_t system) {
        insert(instr_create_1dst_1src(drcontext_, OP_mrs, opnd_create_reg(reg),
                                      opnd_create_reg(system)));
    }
    void write_system(reg_id_t system, reg_id_t reg) {
        insert(instr_create_1dst_1src(drcontext_, OP_msr, opnd_create_reg(system),
                                      opnd_create_reg(reg)));
    }

private:
    void add(reg_id_t to, reg_id_t from, size_t value, int shift) {
        const opnd_t lsl = opnd_add_flags(OPND_CREATE_INT(DR_SHIFT_LSL), DR_OPND_IS_SHIFT);
        insert(instr_create_1dst_4src(drcontext_, OP_add, opnd_create_reg(to),
                                      opnd_create_reg(from), OPND_CREATE_INT(value), lsl,
                                      OPND_CREATE_INT(shift)));
    }
    void insert(instr_t *instr) {
        instrlist_preinsert(bb_, replaced_, instr_set_translation(instr, pc_));
    }
    static opnd_t in_state(size_t offset, opnd_size_t size) {
        return opnd_create_base_disp(DR_REG_X27, DR_REG_NULL, 0, static_cast<int>(offset), size);
    }

    void *drcontext_;
    instrlist_t *bb_;
    instr_t *replaced_;
    app_pc pc_;
};

reg_id_t x_reg(unsigned number) {
    return static_cast<reg_id_t>(DR_REG_X0 + number);
}
reg_id_t q_reg(unsigned number) {
    return static_cast<reg_id_t>(DR_REG_Q0 + number);
}
// The W view of X26, through which 32-bit words of the state go.
constexpr reg_id_t w26 = DR_REG_W0 + 26;

constexpr size_t x_offset(unsigned number) {
    return offsetof(cpu_state, x) + number * 8;
}
constexpr size_t z_offset(unsigned number) {
    return offsetof(cpu_state, z) + number * sve_vector_bytes;
}

// X0 to X25 go in pairs; X26 to X28 go through spill slots, and X29, X30 are the last pair.
constexpr unsigned paired_end = 26;

void insert_hand_over(sequence &code) {
    code.move(DR_REG_X26, DR_REG_XSP);
    code.store(DR_REG_X26, offsetof(cpu_state, sp), OPSZ_8);
    for (unsigned i = 0; i < paired_end; i += 2)
        code.store_pair(x_reg(i), x_reg(i + 1), x_offset(i));
    code.store_pair(DR_REG_X29, DR_REG_X30, x_offset(29));
    for (unsigned i = 0; i < 32; i++)
        code.store(q_reg(i), z_offset(i), OPSZ_16);
    code.read_system(DR_REG_X26, DR_REG_NZCV);
    code.store(DR_REG_X26, offsetof(cpu_state, nzcv), OPSZ_8);
    code.read_system(DR_REG_X26, DR_REG_FPSR);
    code.store(w26, offsetof(cpu_state, fpsr), OPSZ_4);
    code.read_system(DR_REG_X26, DR_REG_FPCR);
    code.store(w26, offsetof(cpu_state, fpcr), OPSZ_4);
}

void insert_take_back(sequence &code) {
    code.load(w26, offsetof(cpu_state, fpcr), OPSZ_4);
    code.write_system(DR_REG_FPCR, DR_REG_X26);
    code.load(w26, offsetof(cpu_state, fpsr), OPSZ_4);
    code.write_system(DR_REG_FPSR, DR_REG_X26);
    code.load(DR_REG_X26, offsetof(cpu_state, nzcv), OPSZ_8);
    code.write_system(DR_REG_NZCV, DR_REG_X26);
    for (unsigned i = 0; i < 32; i++)
        code.load(q_reg(i), z_offset(i), OPSZ_16);
    for (unsigned i = 0; i < paired_end; i += 2)
        code.load_pair(x_reg(i), x_reg(i + 1), x_offset(i));
    code.load_pair(DR_REG_X29, DR_REG_X30, x_offset(29));
    code.load(DR_REG_X26, offsetof(cpu_state, sp), OPSZ_8);
    code.move(DR_REG_XSP, DR_REG_X26);
}

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
    instr_t *next;
    for (instr_t *instr = instrlist_first_app(bb); instr; instr = next) {
        next = instr_get_next_app(instr);
        unsigned int word;
        std::memcpy(&word, instr_get_raw_bits(instr), sizeof word);
        if (const aarch64_handler handler = find_handler(word)) {
            if (sve::counts_instructions && is_met)
                note_for_profile(dr_fragment_app_pc(tag), instr_get_app_pc(instr), word);
            if (!is_met || !dr_emulate_at_trap(instr, reinterpret_cast<void *>(handler)))
                replace(drcontext, bb, instr, word, handler);
            continue;
        }
        if (is_met)
            aarch64_instr_count++;
        if (const uint32_t written =
                clears_upper_bytes ? native_write_at(instr_get_app_pc(instr), word) : 0)
            replace_native_write(drcontext, bb, instr, written);
    }
    return DR_EMIT_DEFAULT;
}
