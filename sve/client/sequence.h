#pragma once

// What is inserted for SVE instructions, in terms of the platform's instructions. X27 points to the cpu_state.

#include "sve/client/client.h"
#include "sve/core/cpu_state.h"

#include <cstddef>

namespace sve::client {

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

inline reg_id_t x_reg(unsigned number) {
    return static_cast<reg_id_t>(DR_REG_X0 + number);
}
inline reg_id_t q_reg(unsigned number) {
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

// All registers that stand in the state but X26 to X28, which X26 and X27 make way for.
inline void insert_hand_over(sequence &code) {
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

inline void insert_take_back(sequence &code) {
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

} // namespace sve::client
