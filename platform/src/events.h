#pragma once

// What the client has registered, and the platform raises.

#include "platform/include/drmgr.h"

namespace platform {

void raise_thread_init(void *drcontext);
void raise_thread_exit(void *drcontext);
void raise_block(void *drcontext, instrlist_t *list);

// Runs the exit events, on the platform stack, unless that has been done.
void raise_exit();

} // namespace platform
