#pragma once

// What the client's files share: the platform's headers, the statics of a run, the assertion.

#include "dr_api.h"
#include "drmgr.h"
#include "platform/include/dr_extensions.h"

#include "sve/core/export.h"
#include "sve/core/handler.h"

// Data of the application's main module, owned by the client from its start to event_exit. Null if
// the platform knows none.
SVE_EXPORT extern module_data_t *exe;

namespace sve::client {

// Load address of the main module; 0 if there is none.
extern app_pc exe_start;

// Index of the client's field in each thread's storage: the address of the thread's cpu_state.
extern int tls_idx;

// Instructions that run natively, in their place or as part of what replaces them, of the blocks
// that the program has come to. Counted at translation, not execution.
extern uint64_t aarch64_instr_count;

// Whether native writes of V registers clear the upper bytes of Z registers, as on a processor with SVE. The client's
// options decide:
//
//     -clear_upper_bytes yes   or no, which is so without the option
extern bool clears_upper_bytes;

// Says that a handler has not emulated an instruction.
void say_not_emulated(unsigned int word, const void *pc);

// Ends the process with a message on the platform's error handle.
[[noreturn]] inline void assertion_failure(int line, const char *condition) {
    dr_fprintf(STDERR, "ASSERT FAILURE: %s:%d: %s (%s)\n", "sve/client/sve_client", line, condition,
               "");
    dr_abort();
}

} // namespace sve::client

// The basic-block event: replaces the SVE instructions of the main module, and of code in no
// module, by calls of emulate_instruction, or leaves them to traps at first, where the platform does that. All others
// are counted and stay, but for those that native_write_at names.
dr_emit_flags_t event_instruction_change(void *drcontext, void *tag, instrlist_t *bb,
                                         bool for_trace, bool translating);

// What rewritten code calls: runs one instruction on the calling thread's cpu_state, in which the
// code has stored all application registers but X26 to X28; those are in spill slots 1 to 3, and go
// back there. The application's FPCR and FPSR are in force.
void emulate_instruction(unsigned int word, unsigned char *pc, aarch64_handler handler);

// The trap event: runs instructions, whose data are their handlers, on the calling thread's cpu_state, between taking
// the registers and giving them back.
void event_trap(void *drcontext, dr_registers_t *registers, const dr_trapped_instr_t *instrs,
                uint count);
