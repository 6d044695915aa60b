// For an installed DynamoRIO, what only the built-in platform has. Neither built nor run yet.

#include "platform/include/dr_extensions.h"

#include <cstdarg>
#include <cstring>

// Its interface has no call that leaves the saving of registers to the client: this one saves them once more.
void dr_insert_call_ovrin(void *drcontext, instrlist_t *list, instr_t *where, app_pc, void *callee,
                          uint num_args, ...) {
    DR_ASSERT(num_args == 3);
    va_list arguments;
    va_start(arguments, num_args);
    const opnd_t word = va_arg(arguments, opnd_t);
    const opnd_t pc = va_arg(arguments, opnd_t);
    const opnd_t handler = va_arg(arguments, opnd_t);
    va_end(arguments);
    dr_insert_clean_call(drcontext, list, where, callee, false, 3, word, pc, handler);
}

bool dr_translate_also(const app_pc *, size_t) {
    return false;
}

bool dr_is_translated(const byte *) {
    return true;
}

dr_block_reason_t dr_fragment_reason(void *) {
    return DR_BLOCK_MET;
}

// Code is translated before it runs.
bool dr_emulate_at_trap(instr_t *, void *) {
    return false;
}
bool dr_register_trap_event(dr_trap_event_t) {
    return false;
}

// Code is never changed where it is.
void dr_application_words(const byte *pc, uint *words, size_t count) {
    std::memcpy(words, pc, count * sizeof *words);
}

module_data_t *dr_lookup_code_module(const byte *pc) {
    return dr_lookup_module(const_cast<byte *>(pc));
}
