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

// Inserts encoded words as they are.
DR_EXPORT void dr_insert_words(instrlist_t *list, instr_t *where, const uint *words, uint count);

// The words that load a thread's field into an X register, as drmgr_insert_read_tls_field inserts them. Returns their
// number, at most 8.
DR_EXPORT uint dr_words_of_tls_field(int index, reg_id_t reg, uint *words);

// ---- Runs --------------------------------------------------------------------------------------

// Words of a replaced run of which one may fault, and the word to go on with then. Numbers of words from the start.
typedef struct {
    uint first, last /* behind it */, resume;
} dr_fault_range_t;

// Code for a run of instructions. Its words are position-independent among themselves, hold data too, and are entered at
// the first one, to which nothing branches back. A thread may go on in a copy of them at any time, so an address among
// them is nowhere but in the program counter, and where shared code keeps it: data among the words may be read through
// an older one.
typedef struct {
    const uint *words;
    uint word_count;
    uint exit; // the one word that leads back, wherever it stands: the platform fills it
    const dr_fault_range_t *faults;
    uint fault_count;
} dr_run_code_t;

// In a block event of the reason DR_BLOCK_AGAIN: puts the code in the place of the `count` adjacent application
// instructions from `first` on, all of them such as were left to traps. From its exit the program goes on behind the
// last one. Only the word of the first one is replaced: the others trap, and are left to that, where the program jumps to
// them. The arrays must stay valid until this returns. False, and all are left to traps, if there is no room: for
// more than 16 KiB, or within a branch of the first instruction.
DR_EXPORT bool dr_replace_run(void *drcontext, instrlist_t *list, instr_t *first, uint count,
                              const dr_run_code_t *code);

// Writes code that replaced runs share, once, in a block event. `fill` inserts it before `end`. It is entered by BLR X30
// and ends by RET X30, and keeps the return address at `return_offset` of what the thread's field `tls_index` points
// to: `fill` tells by the two functions below when it has inserted the store and the load. From the one to the other,
// calls included, the platform may change what is kept there at any moment, as a signal handler would: whoever moves it
// does so by one atomic addition. Returns the code's address.
DR_EXPORT byte *dr_write_shared_code(void (*fill)(void *drcontext, instrlist_t *list, instr_t *end),
                                     int tls_index, size_t return_offset);
// The instruction before `where` has stored X30. Before it nothing changes X30.
DR_EXPORT void dr_mark_return_saved(instrlist_t *list, instr_t *where);
// The instruction before `where` has loaded X30. Behind it nothing does.
DR_EXPORT void dr_mark_return_loaded(instrlist_t *list, instr_t *where);

#ifdef __cplusplus
}
#endif
