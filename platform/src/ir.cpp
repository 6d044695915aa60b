#include "platform/src/ir.h"

#include "platform/src/message.h"

#include <sys/mman.h>

using namespace platform;

// ---- Where instructions are kept ---------------------------------------------------------------

namespace {

// Room for blocks of replaced instructions only, each by a sequence of several hundred.
constexpr size_t arena_instructions = size_t{max_block_instructions} * 512;
instr_t *arena;
size_t arena_used;

instr_t *make_instr(a64::word_t word, bool application, app_pc pc, a64::word_t stands_for = 0) {
    if (arena_used == arena_instructions)
        refuse(125, "a client inserts too many instructions into one block");
    instr_t *instr = &arena[arena_used++];
    *instr = {nullptr, nullptr, word, stands_for, application, false, pc, nullptr, false};
    return instr;
}

} // namespace

instrlist_t platform::start_list(app_pc pc, dr_block_reason_t reason) {
    if (!arena) {
        void *mapping = mmap(nullptr, arena_instructions * sizeof(instr_t), PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapping == MAP_FAILED)
            refuse(125, "no memory to translate a block");
        arena = static_cast<instr_t *>(mapping);
    }
    arena_used = 0;
    return {nullptr, nullptr, pc, reason, nullptr, nullptr};
}

list_with_end platform::start_second_list() {
    list_with_end result = {};
    append_application_instruction(&result.list, nullptr, 0);
    result.end = result.list.first;
    return result;
}

// ---- Lists -------------------------------------------------------------------------------------

static void link_before(instrlist_t *list, instr_t *where, instr_t *instr) {
    instr->next = where;
    instr->previous = where ? where->previous : list->last;
    (instr->previous ? instr->previous->next : list->first) = instr;
    (where ? where->previous : list->last) = instr;
}

void platform::append_application_instruction(instrlist_t *list, app_pc pc, a64::word_t word) {
    link_before(list, nullptr, make_instr(word, true, pc, word));
}

void platform::insert_words(instrlist_t *list, instr_t *where,
                            std::initializer_list<a64::word_t> words) {
    for (const a64::word_t word : words)
        link_before(list, where, make_instr(word, false, where->pc, where->stands_for));
}

void dr_insert_words(instrlist_t *list, instr_t *where, const uint *words, uint count) {
    for (uint i = 0; i < count; i++)
        insert_words(list, where, {words[i]});
}

void dr_mark_return_saved(instrlist_t *list, instr_t *where) {
    list->return_saved = where->previous;
}
void dr_mark_return_loaded(instrlist_t *list, instr_t *where) {
    list->return_loaded = where->previous;
}

void instrlist_preinsert(instrlist_t *list, instr_t *where, instr_t *instr) {
    instr->pc = where->pc;
    instr->stands_for = where->stands_for;
    link_before(list, where, instr);
}

void instrlist_remove(instrlist_t *list, instr_t *instr) {
    (instr->previous ? instr->previous->next : list->first) = instr->next;
    (instr->next ? instr->next->previous : list->last) = instr->previous;
}

// The arena is emptied with the block.
void instr_destroy(void *, instr_t *) {}

static instr_t *next_application(instr_t *instr) {
    while (instr && !instr->application)
        instr = instr->next;
    return instr;
}

instr_t *instrlist_first_app(instrlist_t *list) {
    return next_application(list->first);
}
instr_t *instr_get_next_app(instr_t *instr) {
    return next_application(instr->next);
}

app_pc dr_fragment_app_pc(void *tag) {
    return static_cast<instrlist_t *>(tag)->pc;
}
dr_block_reason_t dr_fragment_reason(void *tag) {
    return static_cast<instrlist_t *>(tag)->reason;
}
bool dr_emulate_at_trap(instr_t *instr, void *data) {
    instr->trap_data = data;
    return true;
}
byte *instr_get_raw_bits(instr_t *instr) {
    // Not those at its place, where a branch may stand by now.
    return instr->application ? reinterpret_cast<byte *>(&instr->word) : nullptr;
}
app_pc instr_get_app_pc(instr_t *instr) {
    return instr->pc;
}
instr_t *instr_set_translation(instr_t *instr, app_pc pc) {
    instr->pc = pc;
    return instr;
}

instr_t *instr_clone(void *, instr_t *instr) {
    const a64::word_t word = instr->word;
    const bool place_matters = a64::depends_on_place(word) && !a64::is_vector_literal_load(word);
    if (!instr->application || place_matters || a64::is_in_sve_space(word))
        refuse(125, "a client asks for a copy of 0x%08x, which can't run elsewhere", word);
    instr_t *copy = make_instr(word, false, instr->pc);
    copy->copy = true;
    return copy;
}

// ---- Operands ----------------------------------------------------------------------------------

opnd_t opnd_create_reg(reg_id_t reg) {
    const opnd_size_t size = reg >= DR_REG_Q0 && reg <= DR_REG_Q31   ? OPSZ_16
                             : reg >= DR_REG_W0 && reg <= DR_REG_WZR ? OPSZ_4
                                                                     : OPSZ_8;
    return {DR_OPND_REG, size, reg, DR_OPND_DEFAULT, 0};
}
opnd_t opnd_create_immed_int(ptr_int_t value, opnd_size_t size) {
    return {DR_OPND_IMMED, size, DR_REG_NULL, DR_OPND_DEFAULT, value};
}
opnd_t opnd_create_base_disp(reg_id_t base, reg_id_t index, int scale, int disp, opnd_size_t size) {
    if (index != DR_REG_NULL || scale != 0)
        refuse(125, "a client asks for a memory operand with an index");
    return {DR_OPND_BASE_DISP, size, base, DR_OPND_DEFAULT, disp};
}
opnd_t opnd_add_flags(opnd_t opnd, dr_opnd_flags_t flags) {
    opnd.flags |= flags;
    return opnd;
}
reg_id_t opnd_get_reg(opnd_t opnd) {
    return opnd.reg;
}
opnd_size_t opnd_get_size(opnd_t opnd) {
    return opnd.size;
}

unsigned platform::x_number(reg_id_t reg) {
    if (reg < DR_REG_X0 || reg > DR_REG_XSP)
        refuse(125, "a client names register %u where an X register must stand", reg);
    return reg - DR_REG_X0;
}

// ---- Encoding ----------------------------------------------------------------------------------

namespace {

[[noreturn]] void no_encoding(int opcode) {
    refuse(125, "a client asks for an instruction that has no encoding here (opcode %d)", opcode);
}

// The system register of an MRS or MSR operand.
a64::word_t system_register(int opcode, opnd_t opnd) {
    switch (opnd.reg) {
    case DR_REG_NZCV:
        return a64::nzcv;
    case DR_REG_FPCR:
        return a64::fpcr;
    case DR_REG_FPSR:
        return a64::fpsr;
    default:
        no_encoding(opcode);
    }
}

a64::word_t encode_load_store(int opcode, opnd_t reg, opnd_t memory) {
    const unsigned bytes = reg.size == OPSZ_16 ? 16 : reg.size == OPSZ_4 ? 4 : 8;
    const unsigned number = bytes == 16  ? reg.reg - DR_REG_Q0
                            : bytes == 4 ? reg.reg - DR_REG_W0
                                         : x_number(reg.reg);
    if (reg.kind != DR_OPND_REG || memory.kind != DR_OPND_BASE_DISP || number > 31 ||
        reg.reg == DR_REG_XSP || reg.size != memory.size ||
        !a64::fits_unsigned_offset(memory.value, bytes))
        no_encoding(opcode);
    return a64::load_store(opcode == OP_ldr, bytes, number, x_number(memory.reg),
                           static_cast<unsigned>(memory.value));
}

// One of the two that a pair transfers: 31 is XZR there.
unsigned pair_number(int opcode, opnd_t opnd) {
    if (opnd.reg == DR_REG_XSP)
        no_encoding(opcode);
    return opnd.reg == DR_REG_XZR ? a64::xzr : x_number(opnd.reg);
}

a64::word_t encode_pair(int opcode, opnd_t reg1, opnd_t reg2, opnd_t memory) {
    if (memory.kind != DR_OPND_BASE_DISP || memory.size != OPSZ_16 ||
        !a64::fits_pair_offset(memory.value))
        no_encoding(opcode);
    return a64::load_store_pair(opcode == OP_ldp, pair_number(opcode, reg1),
                                pair_number(opcode, reg2), x_number(memory.reg),
                                static_cast<int>(memory.value));
}

} // namespace

instr_t *instr_create_1dst_1src(void *, int opcode, opnd_t dst, opnd_t src) {
    a64::word_t word;
    switch (opcode) {
    case OP_ldr:
        word = encode_load_store(opcode, dst, src);
        break;
    case OP_str:
        word = encode_load_store(opcode, src, dst);
        break;
    case OP_mrs:
        word = a64::mrs(x_number(dst.reg), system_register(opcode, src));
        break;
    case OP_msr:
        word = a64::msr(system_register(opcode, dst), x_number(src.reg));
        break;
    default:
        no_encoding(opcode);
    }
    return make_instr(word, false, nullptr);
}

instr_t *instr_create_1dst_2src(void *, int opcode, opnd_t dst, opnd_t src1, opnd_t src2) {
    if (opcode != OP_stp)
        no_encoding(opcode);
    return make_instr(encode_pair(opcode, src1, src2, dst), false, nullptr);
}

instr_t *instr_create_2dst_1src(void *, int opcode, opnd_t dst1, opnd_t dst2, opnd_t src) {
    if (opcode != OP_ldp)
        no_encoding(opcode);
    return make_instr(encode_pair(opcode, dst1, dst2, src), false, nullptr);
}

// add dst, src1, #src2, with src3 naming the shift LSL and src4 its amount.
instr_t *instr_create_1dst_4src(void *, int opcode, opnd_t dst, opnd_t src1, opnd_t src2,
                                opnd_t src3, opnd_t src4) {
    const bool shift_named = src3.value == DR_SHIFT_LSL && (src3.flags & DR_OPND_IS_SHIFT);
    if (opcode != OP_add || src2.kind != DR_OPND_IMMED || src2.value < 0 || src2.value > 4095 ||
        !shift_named || (src4.value != 0 && src4.value != 12))
        no_encoding(opcode);
    return make_instr(a64::add(x_number(dst.reg), x_number(src1.reg),
                               static_cast<unsigned>(src2.value), src4.value == 12),
                      false, nullptr);
}
