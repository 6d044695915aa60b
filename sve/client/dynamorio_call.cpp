// For an installed DynamoRIO, what only the built-in platform has. Neither built nor run yet.

#include "sve/client/dynamorio_call.h"

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

bool dr_fragment_is_asked_for(void *) {
    return false;
}

// Code is never changed where it is.
uint dr_application_word(const byte *pc) {
    uint word;
    std::memcpy(&word, pc, sizeof word);
    return word;
}

module_data_t *dr_lookup_code_module(const byte *pc) {
    return dr_lookup_module(const_cast<byte *>(pc));
}
