#pragma once

// The built-in platform's own statement of the instrumentation interface, as far as the client uses
// it: names, types and meanings are those of DynamoRIO's public headers at interface version 602,
// so that the client compiles against either. What only this platform does is said where it is
// declared.
//
// Nothing here throws. Functions that make or change instructions, and the events that may call
// them, run inside a signal handler, under the platform's lock, on the platform's stack of the
// thread: they take no memory from the application's heap.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#define DYNAMORIO_API

#define DR_EXPORT __attribute__((visibility("default")))
#define DR_API __attribute__((visibility("default")))
#define LINK_ONCE __attribute__((weak))

#ifdef __cplusplus
extern "C" {
#endif

// The interface version that a client was compiled for; the platform reads it from the client.
#ifndef SVE_PLATFORM_ITSELF
DR_EXPORT LINK_ONCE int _USES_DR_VERSION_ = 602;
#endif

typedef unsigned int uint;
typedef unsigned short ushort;
typedef unsigned char byte;
typedef unsigned long int uint64;
typedef long int int64;
typedef byte *app_pc;
typedef uint64 reg_t;
typedef reg_t ptr_uint_t;
typedef int64 ptr_int_t;
typedef int file_t;
typedef uint client_id_t;
typedef ushort reg_id_t;
typedef byte opnd_size_t;

// The client's entry. argv[0] is the client library's path, its options start at 1.
DR_EXPORT void dr_client_main(client_id_t id, int argc, const char *argv[]);

// ---- The process -------------------------------------------------------------------------------

#define INVALID_FILE (-1)
#define STDERR our_stderr
DR_API extern file_t our_stderr;

// Name and contact that the platform's diagnostics show. True on success.
DR_API bool dr_set_client_name(const char *name, const char *report_URL);

// The platform's log. This platform keeps none.
DR_API void dr_log(void *drcontext, uint mask, uint level, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

// Writes formatted text, at most 2 KiB of it, without buffering. Returns the bytes written, or -1.
DR_API ssize_t dr_fprintf(file_t file, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

// Ends the process at once, with status 255 and without exit events.
DR_API void dr_abort(void) __attribute__((noreturn));

// `func` runs once at the end of the process, before the static destructors of the library that
// registers it: `library` is that library's __dso_handle, which the public function adds.
DR_API void dr_register_exit_event_of(void (*func)(void), void *library);
extern void *__dso_handle __attribute__((visibility("hidden")));
static inline void dr_register_exit_event(void (*func)(void)) {
    dr_register_exit_event_of(func, &__dso_handle);
}

// ---- Modules -----------------------------------------------------------------------------------

typedef struct _module_names_t {
    const char *module_name;
    const char *file_name;
    uint64 inode;
} module_names_t;

typedef struct _module_data_t {
    app_pc start; // lowest address
    app_pc end;   // behind the highest
    module_names_t names;
    char *full_path;
} module_data_t;

// The executable; the module that holds an address, or NULL if none does (generated code). Both
// give a copy that the caller frees, or NULL when memory runs out.
DR_API module_data_t *dr_get_main_module(void);
DR_API module_data_t *dr_lookup_module(byte *pc);
DR_API void dr_free_module_data(module_data_t *data);

// The mapping that holds an address: where it starts, how long it is, and, on this platform, nothing of its
// protection. False if none does. Each pointer may be NULL. In a block event.
DR_API bool dr_query_memory(const byte *pc, byte **base_pc, size_t *size, uint *prot);

// ---- Threads -----------------------------------------------------------------------------------

typedef enum {
    SPILL_SLOT_1,
    SPILL_SLOT_2,
    SPILL_SLOT_3,
    SPILL_SLOT_4,
    SPILL_SLOT_MAX = SPILL_SLOT_4
} dr_spill_slot_t;

enum { DR_TLS_FIELD_COUNT = 8 };

// What the platform keeps for each thread, where generated code reaches it at a fixed distance from
// TPIDR_EL0. Clients reach it through the functions below, which are inline because they run on
// every emulated instruction. A thread's drcontext is the address of its area.
typedef struct {
    reg_t spill_slot[SPILL_SLOT_MAX + 1];
    void *tls_field[DR_TLS_FIELD_COUNT]; // NULL until the client sets them
    byte *stack_top;                     // of the platform stack; NULL until the thread needs it
    byte *stack_base;
    reg_t returns_to; // where the call of the client returns to, while one lasts
    uint pending;     // something waits until the program goes on: it is let in then
    bool announced;   // the thread init events have run
} dr_thread_area_t;

#ifdef __cplusplus
#define DR_THREAD_LOCAL __thread
#else
#define DR_THREAD_LOCAL _Thread_local
#endif
DR_API extern DR_THREAD_LOCAL dr_thread_area_t dr_thread_area
    __attribute__((tls_model("initial-exec")));

static inline void *dr_get_current_drcontext(void) {
    return &dr_thread_area;
}

// The thread's spill slots, in which rewritten code keeps application registers. Only in a function
// that rewritten code calls.
static inline reg_t dr_read_saved_reg(void *drcontext, dr_spill_slot_t slot) {
    return ((dr_thread_area_t *)drcontext)->spill_slot[slot];
}
static inline void dr_write_saved_reg(void *drcontext, dr_spill_slot_t slot, reg_t value) {
    ((dr_thread_area_t *)drcontext)->spill_slot[slot] = value;
}

// Memory of the thread's own, not cleared, from mappings of the platform's. NULL when there is no
// more. `size` of the free must be that of the allocation.
DR_API void *dr_thread_alloc(void *drcontext, size_t size);
DR_API void dr_thread_free(void *drcontext, void *mem, size_t size);

// ---- Operands ----------------------------------------------------------------------------------

// clang-format off
enum {
    DR_REG_NULL, DR_REG_INVALID,
    DR_REG_X0, DR_REG_X1, DR_REG_X2, DR_REG_X3, DR_REG_X4, DR_REG_X5, DR_REG_X6, DR_REG_X7,
    DR_REG_X8, DR_REG_X9, DR_REG_X10, DR_REG_X11, DR_REG_X12, DR_REG_X13, DR_REG_X14, DR_REG_X15,
    DR_REG_X16, DR_REG_X17, DR_REG_X18, DR_REG_X19, DR_REG_X20, DR_REG_X21, DR_REG_X22, DR_REG_X23,
    DR_REG_X24, DR_REG_X25, DR_REG_X26, DR_REG_X27, DR_REG_X28, DR_REG_X29, DR_REG_X30,
    DR_REG_XSP, DR_REG_XZR,
    DR_REG_W0, DR_REG_W30 = DR_REG_W0 + 30, DR_REG_WSP, DR_REG_WZR,
    DR_REG_Q0, DR_REG_Q31 = DR_REG_Q0 + 31,
    DR_REG_NZCV, DR_REG_FPCR, DR_REG_FPSR,
    DR_REG_SP = DR_REG_XSP,
};
// Sizes are names, not byte counts.
enum { OPSZ_NA, OPSZ_0, OPSZ_1, OPSZ_2, OPSZ_4, OPSZ_8, OPSZ_16, OPSZ_32, OPSZ_PTR = OPSZ_8 };
// clang-format on

typedef enum { DR_OPND_DEFAULT = 0, DR_OPND_IS_SHIFT = 0x08 } dr_opnd_flags_t;
enum { DR_SHIFT_LSL };

typedef enum { DR_OPND_REG, DR_OPND_IMMED, DR_OPND_BASE_DISP } dr_opnd_kind_t;

// An operand, passed by value: a register, an immediate, or memory at a base register and an
// offset.
typedef struct {
    byte kind;        // dr_opnd_kind_t
    opnd_size_t size; // what is transferred in total, for memory
    reg_id_t reg;     // the register, or the base
    int flags;        // dr_opnd_flags_t
    int64 value;      // the immediate, or the offset in bytes
} opnd_t;

DR_API opnd_t opnd_create_reg(reg_id_t reg);
DR_API opnd_t opnd_create_immed_int(ptr_int_t value, opnd_size_t size);
// `index` must be DR_REG_NULL and `scale` 0: the other forms are not needed here.
DR_API opnd_t opnd_create_base_disp(reg_id_t base, reg_id_t index, int scale, int disp,
                                    opnd_size_t size);
DR_API opnd_t opnd_add_flags(opnd_t opnd, dr_opnd_flags_t flags);
DR_API reg_id_t opnd_get_reg(opnd_t opnd);
DR_API opnd_size_t opnd_get_size(opnd_t opnd);

#define OPND_CREATE_INT(value) opnd_create_immed_int((ptr_int_t)(value), OPSZ_4)

// ---- Instructions ------------------------------------------------------------------------------

// OP_xx is an application instruction that is known by its word alone; all of them are, here.
enum { OP_xx, OP_add, OP_ldr, OP_str, OP_ldp, OP_stp, OP_mrs, OP_msr };

typedef struct _instr_t instr_t;
typedef struct _instrlist_t instrlist_t;

typedef enum {
    DR_EMIT_DEFAULT = 0,
} dr_emit_flags_t;

// The application address of the block that an event got.
DR_API app_pc dr_fragment_app_pc(void *tag);

// The application instructions of a block, in order; NULL at the end.
DR_API instr_t *instrlist_first_app(instrlist_t *list);
DR_API instr_t *instr_get_next_app(instr_t *instr);

// Where the application instruction's own four bytes can be read, and its address.
DR_API byte *instr_get_raw_bits(instr_t *instr);
DR_API app_pc instr_get_app_pc(instr_t *instr);

// Marks an instruction as standing for the application instruction at `pc`. Returns `instr`.
DR_API instr_t *instr_set_translation(instr_t *instr, app_pc pc);

// A copy of an application instruction that a processor without SVE runs, and that does the same
// anywhere, or loads an S, D or Q register from a distance to itself. On this platform it may be
// inserted once, as the first of what replaces that instruction; no call may be behind it.
DR_API instr_t *instr_clone(void *drcontext, instr_t *instr);

// New instructions, destinations before sources. What has no encoding here stops the process with a
// message when the block is written out.
DR_API instr_t *instr_create_1dst_1src(void *drcontext, int opcode, opnd_t dst, opnd_t src);
DR_API instr_t *instr_create_1dst_2src(void *drcontext, int opcode, opnd_t dst, opnd_t src1,
                                       opnd_t src2);
DR_API instr_t *instr_create_2dst_1src(void *drcontext, int opcode, opnd_t dst1, opnd_t dst2,
                                       opnd_t src);
DR_API instr_t *instr_create_1dst_4src(void *drcontext, int opcode, opnd_t dst, opnd_t src1,
                                       opnd_t src2, opnd_t src3, opnd_t src4);

// On this platform code may be inserted only before an instruction that is then removed.
DR_API void instrlist_preinsert(instrlist_t *list, instr_t *where, instr_t *instr);
DR_API void instrlist_remove(instrlist_t *list, instr_t *instr);
DR_API void instr_destroy(void *drcontext, instr_t *instr);

// ---- Inserted code -----------------------------------------------------------------------------

// This platform steals no register. It names X28 because clients ask, and takes X28 itself for the
// application's value.
DR_API reg_id_t dr_get_stolen_reg(void);
DR_API bool dr_insert_get_stolen_reg_value(void *drcontext, instrlist_t *list, instr_t *where,
                                           reg_id_t reg);
DR_API bool dr_insert_set_stolen_reg_value(void *drcontext, instrlist_t *list, instr_t *where,
                                           reg_id_t reg);

// Code that stores an X register in a spill slot, or loads it from there.
DR_API void dr_save_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                        dr_spill_slot_t slot);
DR_API void dr_restore_reg(void *drcontext, instrlist_t *list, instr_t *where, reg_id_t reg,
                           dr_spill_slot_t slot);

#ifdef __cplusplus
}
#endif
