// Code that the platform inserts on the client's behalf. It runs in the middle of application code,
// where every register holds an application value, and must never read or write below SP: a signal
// handler may run between any two instructions.

#include "platform/include/drmgr.h"
#include "platform/src/ir.h"
#include "platform/src/message.h"
#include "platform/src/thread.h"
#include "platform/src/traps.h"

#include <cstdarg>

using namespace platform;

extern "C" void sve_platform_call(); // call.S

namespace {

// Emits `reg = TPIDR_EL0` and, where the thread's area is too far from it for a load's offset, adds
// the high part of the distance. Returns the offset that remains.
unsigned insert_area_base(instrlist_t *list, instr_t *where, unsigned reg, const void *in_area) {
    const int64_t distance = distance_from_thread_pointer(in_area);
    insert_words(list, where, {a64::mrs(reg, a64::tpidr_el0)});
    if (a64::fits_unsigned_offset(distance, 8))
        return static_cast<unsigned>(distance);
    if (distance < 0 || distance >> 24 != 0)
        refuse(125, "the program has too much thread-local storage");
    insert_words(list, where, {a64::add(reg, reg, static_cast<unsigned>(distance >> 12), true)});
    return static_cast<unsigned>(distance & 0xfff);
}

const void *slot_address(void *drcontext, dr_spill_slot_t slot) {
    return &static_cast<dr_thread_area_t *>(drcontext)->spill_slot[slot];
}

// Emits reg = value.
void insert_immediate(instrlist_t *list, instr_t *where, unsigned reg, uint64_t value) {
    insert_words(list, where, {a64::movz(reg, static_cast<uint16_t>(value), 0)});
    for (unsigned shift = 16; shift < 64; shift += 16)
        if (const auto part = static_cast<uint16_t>(value >> shift); part != 0)
            insert_words(list, where, {a64::movk(reg, part, shift)});
}

} // namespace

void dr_save_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                 dr_spill_slot_t slot) {
    const unsigned stored = x_number(reg);
    const unsigned base = stored == 0 ? 1 : 0; // no register is free: borrow one
    insert_words(list, where, {a64::push(base)});
    const unsigned offset = insert_area_base(list, where, base, slot_address(drcontext, slot));
    insert_words(list, where, {a64::str(stored, base, offset), a64::pop(base)});
}

void dr_restore_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                    dr_spill_slot_t slot) {
    const unsigned loaded = x_number(reg);
    const unsigned offset = insert_area_base(list, where, loaded, slot_address(drcontext, slot));
    insert_words(list, where, {a64::ldr(loaded, loaded, offset)});
}

reg_id_t dr_get_stolen_reg() {
    return DR_REG_X28;
}

bool dr_insert_get_stolen_reg_value(void *, instrlist_t *list, instr_t *where, reg_id_t reg) {
    insert_words(list, where, {a64::mov(x_number(reg), x_number(DR_REG_X28))});
    return true;
}

bool dr_insert_set_stolen_reg_value(void *, instrlist_t *list, instr_t *where, reg_id_t reg) {
    insert_words(list, where, {a64::mov(x_number(DR_REG_X28), x_number(reg))});
    return true;
}

bool drmgr_insert_read_tls_field(void *drcontext, int index, instrlist_t *list, instr_t *where,
                                 reg_id_t reg) {
    const unsigned loaded = x_number(reg);
    const unsigned offset = insert_area_base(
        list, where, loaded, &static_cast<dr_thread_area_t *>(drcontext)->tls_field[index]);
    // A thread without state traps, gets it, and finds the field in the register.
    insert_words(list, where,
                 {a64::ldr(loaded, loaded, offset), a64::cbnz(loaded, 8),
                  trap_for_thread_state(loaded, static_cast<unsigned>(index))});
    return true;
}

void dr_insert_call_ovrin(void *, instrlist_t *list, instr_t *where, app_pc, void *callee,
                          uint num_args, ...) {
    if (num_args > 8)
        refuse(125, "a client asks for a call with %u arguments", num_args);
    std::va_list arguments;
    va_start(arguments, num_args);
    for (unsigned i = 0; i < num_args; i++) {
        const opnd_t argument = va_arg(arguments, opnd_t);
        if (argument.kind != DR_OPND_IMMED)
            refuse(125, "a client asks for a call with an argument that is no immediate");
        insert_immediate(list, where, i, static_cast<uint64_t>(argument.value));
    }
    va_end(arguments);
    insert_immediate(list, where, 9, reinterpret_cast<uint64_t>(callee));
    insert_immediate(list, where, 16, reinterpret_cast<uint64_t>(&sve_platform_call));
    insert_words(list, where, {a64::blr(16)});
}
