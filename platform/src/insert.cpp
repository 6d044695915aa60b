// Code that the platform inserts on the client's behalf. It runs in the middle of application code,
// where every register holds an application value, and must never read or write below SP: a signal
// handler may run between any two instructions.

#include "platform/include/dr_extensions.h"
#include "platform/include/drmgr.h"
#include "platform/src/ir.h"
#include "platform/src/message.h"
#include "platform/src/thread.h"
#include "platform/src/traps.h"

#include <algorithm>
#include <cstdarg>

using namespace platform;

extern "C" void sve_platform_call(); // call.S

namespace {

// The thread's area, as generated code reaches it: at TPIDR_EL0 + base, and behind that with a load's or store's
// offset, or an ADD's, which is the shortest. Where the area is near enough, base is 0.
int64_t area_base() {
    const int64_t distance = distance_from_thread_pointer(&dr_thread_area);
    if (distance >= 0 && distance >> 12 == 0)
        return 0;
    if (distance < 0 || distance >> 24 != 0)
        refuse(125, "the program has too much thread-local storage");
    return distance >> 12 << 12;
}
static_assert(sizeof(dr_thread_area_t) < 4096, "a load's offset reaches 32 KiB");
unsigned area_offset(const void *in_area) {
    return static_cast<unsigned>(distance_from_thread_pointer(in_area) - area_base());
}

// Words that are put together before they go anywhere.
struct few_words {
    a64::word_t words[8];
    unsigned count = 0;
    void add(a64::word_t word) { words[count++] = word; }
};
// reg = TPIDR_EL0 + base
void add_area_base(few_words &to, unsigned reg) {
    to.add(a64::mrs(reg, a64::tpidr_el0));
    if (const int64_t base = area_base())
        to.add(a64::add(reg, reg, static_cast<unsigned>(base >> 12), true));
}
// A thread without state traps, gets it, and finds the field in the register.
void add_need_of_state(few_words &to, unsigned loaded, int index) {
    to.add(a64::cbnz(loaded, 8));
    to.add(trap_for_thread_state(loaded, static_cast<unsigned>(index)));
}
unsigned field_offset(int index) {
    return area_offset(&dr_thread_area.tls_field[index]);
}

void insert(instrlist_t *list, instr_t *where, const few_words &code) {
    dr_insert_words(list, where, code.words, code.count);
}
void insert_area_base(instrlist_t *list, instr_t *where, unsigned reg) {
    few_words code;
    add_area_base(code, reg);
    insert(list, where, code);
}

const void *slot_address(void *drcontext, dr_spill_slot_t slot) {
    return &static_cast<dr_thread_area_t *>(drcontext)->spill_slot[slot];
}

// The register that dr_save_reg borrows to reach the area when it stores `stored`.
unsigned borrowed_for(unsigned stored) {
    return stored == 0 ? 1 : 0;
}

// The instruction that gives a borrowed register back, if it stands just before `where`. What comes
// next before `where` may go before it, and finds the area's base still in the register.
instr_t *end_of_loan(const instr_t *where, unsigned borrowed) {
    instr_t *const previous = where->previous;
    const bool is_end = previous && !previous->application && previous->pc == where->pc &&
                        previous->word == a64::pop(borrowed);
    return is_end ? previous : nullptr;
}

} // namespace

void dr_save_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                 dr_spill_slot_t slot) {
    const unsigned stored = x_number(reg);
    const unsigned base = borrowed_for(stored); // no register is free
    const void *address = slot_address(drcontext, slot);
    if (instr_t *end = end_of_loan(where, base)) {
        insert_words(list, end, {a64::str(stored, base, area_offset(address))});
        return;
    }
    insert_words(list, where, {a64::push(base)});
    insert_area_base(list, where, base);
    insert_words(list, where, {a64::str(stored, base, area_offset(address)), a64::pop(base)});
}

void dr_restore_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                    dr_spill_slot_t slot) {
    const unsigned loaded = x_number(reg);
    insert_area_base(list, where, loaded);
    insert_words(list, where,
                 {a64::ldr(loaded, loaded, area_offset(slot_address(drcontext, slot)))});
}

reg_id_t dr_get_stolen_reg() {
    return DR_REG_X28;
}

bool dr_insert_get_stolen_reg_value(void *, instrlist_t *list, instr_t *where, reg_id_t reg) {
    const unsigned to = x_number(reg);
    instr_t *const end = end_of_loan(where, borrowed_for(to));
    insert_words(list, end ? end : where, {a64::mov(to, x_number(DR_REG_X28))});
    return true;
}

bool dr_insert_set_stolen_reg_value(void *, instrlist_t *list, instr_t *where, reg_id_t reg) {
    insert_words(list, where, {a64::mov(x_number(DR_REG_X28), x_number(reg))});
    return true;
}

uint dr_words_of_tls_field(int index, reg_id_t reg, uint *words) {
    const unsigned loaded = x_number(reg);
    few_words code;
    add_area_base(code, loaded);
    code.add(a64::ldr(loaded, loaded, field_offset(index)));
    add_need_of_state(code, loaded, index);
    std::copy_n(code.words, code.count, words);
    return code.count;
}

bool drmgr_insert_read_tls_field(void *, int index, instrlist_t *list, instr_t *where,
                                 reg_id_t reg) {
    const unsigned loaded = x_number(reg);
    const unsigned base = borrowed_for(loaded);
    few_words code;
    if (instr_t *end = end_of_loan(where, base)) {
        insert_words(list, end, {a64::ldr(loaded, base, field_offset(index))});
        add_need_of_state(code, loaded, index);
    } else {
        code.count = dr_words_of_tls_field(index, reg, code.words);
    }
    insert(list, where, code);
    return true;
}

void dr_insert_call_ovrin(void *, instrlist_t *list, instr_t *where, app_pc, void *callee,
                          uint num_args, ...) {
    if (num_args > 8)
        refuse(125, "a client asks for a call with %u arguments", num_args);
    // Registers and their values: the arguments, and what call.S expects.
    unsigned reg[8 + 2];
    uint64_t value[8 + 2];
    unsigned count = 0;
    const auto set = [&](unsigned number, uint64_t content) {
        reg[count] = number;
        value[count++] = content;
    };
    std::va_list arguments;
    va_start(arguments, num_args);
    for (unsigned i = 0; i < num_args; i++) {
        const opnd_t argument = va_arg(arguments, opnd_t);
        if (argument.kind != DR_OPND_IMMED)
            refuse(125, "a client asks for a call with an argument that is no immediate");
        set(i, static_cast<uint64_t>(argument.value));
    }
    va_end(arguments);
    set(9, reinterpret_cast<uint64_t>(callee));
    set(16, reinterpret_cast<uint64_t>(&sve_platform_call));

    // The values stand in the code, which loads them in pairs and jumps over them: an address needs
    // three instructions as an immediate.
    constexpr unsigned base = 17, area = 21;
    insert_area_base(list, where, area);
    insert_words(list, where, {a64::add(area, area, area_offset(&dr_thread_area))});
    const unsigned loads = (count + 1) / 2;
    insert_words(list, where, {a64::adr(base, 4 * static_cast<int>(loads + 2))});
    unsigned i = 0;
    for (; i + 1 < count; i += 2)
        insert_words(
            list, where,
            {a64::load_store_pair(true, reg[i], reg[i + 1], base, static_cast<int>(8 * i))});
    if (i < count)
        insert_words(list, where, {a64::ldr(reg[i], base, 8 * i)});
    insert_words(list, where, {a64::b(4 + 8 * int64_t{count})});
    for (i = 0; i < count; i++)
        insert_words(
            list, where,
            {static_cast<a64::word_t>(value[i]), static_cast<a64::word_t>(value[i] >> 32)});
    insert_words(list, where, {a64::blr(16)});
}
