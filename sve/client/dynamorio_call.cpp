// The call of the emulator for an installed DynamoRIO, whose interface has none that leaves the saving of
// registers to the client: a clean call, which saves them once more. Neither built nor run yet.

#include "sve/client/dynamorio_call.h"

#include <cstdarg>

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
