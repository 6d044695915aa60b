#pragma once

// What the built-in platform's headers declare and an installed DynamoRIO's don't.

#include "dr_api.h"

#include <stddef.h>

// Code that calls `callee` with `num_args` immediate operands, three of them, as arguments, on the thread's
// platform stack.
extern "C" void dr_insert_call_ovrin(void *drcontext, instrlist_t *list, instr_t *where, app_pc pc,
                                     void *callee, uint num_args, ...);

// Asks for blocks of the one instruction at each of these addresses. Nothing needs to be done where every block comes
// to the event by itself. Returns whether the program may have run code natively that no event got.
extern "C" bool dr_translate_also(const app_pc *pcs, size_t count);
// Whether an event got its block because of that.
extern "C" bool dr_fragment_is_asked_for(void *tag);

// The program's own word at an address, whatever the platform has put there.
extern "C" uint dr_application_word(const byte *pc);

// Whether what stands for an instruction that was replaced is still in place.
extern "C" bool dr_is_translated(const byte *pc);

// The module that holds an address, also where the platform says of a library that is emulated that it is none.
extern "C" module_data_t *dr_lookup_code_module(const byte *pc);
