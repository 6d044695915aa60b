#pragma once

// The platform's instruction lists. An instruction is one A64 word: an application instruction is
// known by the word alone, and what a client creates is encoded at once, since nothing of it
// depends on where it will stand. A list lives while one block is handled; its instructions come
// from one arena that is emptied with it.

#include "platform/include/dr_extensions.h"
#include "platform/src/a64.h"

#include <initializer_list>

struct _instr_t {
    instr_t *previous;
    instr_t *next;
    platform::a64::word_t word;
    platform::a64::word_t stands_for; // the application's word at its place
    bool application;                 // of the program, not inserted by a client
    bool copy;       // of the application instruction that it stands for: instr_clone's
    app_pc pc;       // the application instruction that it is, or stands for
    void *trap_data; // of an application instruction that is left to traps; else null
    bool begins_run; // an application instruction that has a trampoline for a run
};

struct _instrlist_t {
    instr_t *first;
    instr_t *last;
    app_pc pc; // the block's first address
    dr_block_reason_t reason;
    // Of shared code: the instructions that keep and load the return address.
    const instr_t *return_saved;
    const instr_t *return_loaded;
};

namespace platform {

// A block has at most this many application instructions; a longer run of straight code is taken in
// pieces.
inline constexpr unsigned max_block_instructions = 256;

// Starts a new list, and forgets all instructions made before. Under the patch lock.
instrlist_t start_list(app_pc pc, dr_block_reason_t reason);

// Adds the application instruction at `pc`, which is `word`, behind the others.
void append_application_instruction(instrlist_t *list, app_pc pc, a64::word_t word);

// An empty list beside the block's own, and its end.
struct list_with_end {
    instrlist_t list;
    instr_t *end;
};
list_with_end start_second_list();

// Inserts words of the platform's own before `where`, to stand for the same instruction.
void insert_words(instrlist_t *list, instr_t *where, std::initializer_list<a64::word_t> words);

// The number of an X register, 31 for SP. Stops the process for anything else.
unsigned x_number(reg_id_t reg);

} // namespace platform
