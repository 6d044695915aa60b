#pragma once

// What clients get from the built-in platform alone. An installed DynamoRIO has none of it: sve/client/dynamorio_call.cpp
// tells what stands there instead.

#include "dr_api.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Modules -----------------------------------------------------------------------------------

// dr_lookup_module, but also for the program's libraries that are emulated, of which that says none.
DR_EXPORT module_data_t *dr_lookup_code_module(const byte *pc);

// ---- Blocks ------------------------------------------------------------------------------------

// Asks for more, in a block event, once: when its own block has been written, and before the program
// goes on, the events get a block of the one instruction at each of these addresses, which ascend.
// An instruction that has been replaced already is left out. The array stays valid until the last of
// those events has returned. None of them asks again. Returns whether the program may have run code
// natively that no event got: always, here.
DR_EXPORT bool dr_translate_also(const app_pc *pcs, size_t count);

// Why an event got a block.
typedef enum {
    DR_BLOCK_MET, // the program has come to it
    DR_BLOCK_AGAIN, // it has been met, its instructions were left to traps, and are due to be replaced
    DR_BLOCK_ASKED_FOR // by dr_translate_also; the program need not have come there
} dr_block_reason_t;
DR_EXPORT dr_block_reason_t dr_fragment_reason(void *tag);

// The program's own words from an address on, whatever this platform has put there; 0, which is no instruction, where
// there are none. In a block event.
DR_EXPORT void dr_application_words(const byte *pc, uint *words, size_t count);
// Whether what stands for an instruction that was replaced is still in place. It isn't where the
// program has put other code there meanwhile; where nothing can be put into text, nothing is out of
// place. In a block event.
DR_EXPORT bool dr_is_translated(const byte *pc);

// In a block that has been met: leaves an application instruction that the processor doesn't know where it is. The
// trap event executes it, each time, with `data`, which must not be NULL. Code that traps repeatedly comes to the
// block events again, and only then it may be replaced. Returns whether all that is so: always, here.
DR_EXPORT bool dr_emulate_at_trap(instr_t *instr, void *data);

// ---- Traps -------------------------------------------------------------------------------------

// An instruction that was left to traps.
typedef struct {
    app_pc pc;
    uint word;
    void *data; // dr_emulate_at_trap's
} dr_trapped_instr_t;

// A thread's registers where it has trapped.
typedef struct {
    reg_t x[31];
    reg_t sp;
    reg_t nzcv; // as the system register: bits 31:28
    uint fpsr;
    uint fpcr;
    byte q[32][16] __attribute__((aligned(16)));
} dr_registers_t;

// Executes the `count` instructions, which follow each other in the program, on the registers. On the
// platform stack of the thread that has trapped, all signals blocked but those that emulation needs; the
// platform holds no lock. The application's FPCR and FPSR need not be in force.
typedef void (*dr_trap_event_t)(void *drcontext, dr_registers_t *registers,
                                const dr_trapped_instr_t *instrs, uint count);
// There is room for one.
DR_EXPORT bool dr_register_trap_event(dr_trap_event_t func);

// ---- Inserted code -----------------------------------------------------------------------------

// Code that calls `callee` with `num_args` immediate operands as arguments, on the thread's
// platform stack. No application register survives it but SP: the sequence around it hands them
// over.
DR_EXPORT void dr_insert_call_ovrin(void *drcontext, instrlist_t *list, instr_t *where, app_pc pc,
                                    void *callee, uint num_args, ...);

#ifdef __cplusplus
}
#endif
