#pragma once

// What the built-in platform's headers declare and an installed DynamoRIO's don't.

#include "dr_api.h"

// Code that calls `callee` with `num_args` immediate operands, three of them, as arguments, on the thread's
// platform stack.
extern "C" void dr_insert_call_ovrin(void *drcontext, instrlist_t *list, instr_t *where, app_pc pc,
                                     void *callee, uint num_args, ...);
