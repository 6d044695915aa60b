#pragma once

// What the client has registered, and the platform raises.

#include "platform/include/dr_extensions.h"
#include "platform/include/drmgr.h"

namespace platform {

void raise_thread_init(void *drcontext);
void raise_thread_exit(void *drcontext);
void raise_block(void *drcontext, instrlist_t *list);
void raise_trap(void *drcontext, dr_registers_t *registers, const dr_trapped_instr_t *instrs,
                uint count);

void raise_exit_events();

} // namespace platform
