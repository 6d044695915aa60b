#pragma once

// Events and per-thread fields. Functions that return bool return true on success.

#include "dr_api.h"

#ifdef __cplusplus
extern "C" {
#endif

DR_API bool drmgr_init(void);
DR_API void drmgr_exit(void);

// Run on the thread concerned, on its platform stack. A thread that never runs emulated code has
// none.
DR_API bool drmgr_register_thread_init_event(void (*func)(void *drcontext));
DR_API bool drmgr_register_thread_exit_event(void (*func)(void *drcontext));

typedef dr_emit_flags_t (*drmgr_xform_cb_t)(void *drcontext, void *tag, instrlist_t *bb,
                                            bool for_trace, bool translating);
typedef struct {
    size_t struct_size;
    const char *name;
    const char *before;
    const char *after;
    int priority;
} drmgr_priority_t;

// `func` sees each block before it is rewritten. Events run in the order of registration;
// `priority` must be NULL.
DR_API bool drmgr_register_bb_app2app_event(drmgr_xform_cb_t func, drmgr_priority_t *priority);
DR_API bool drmgr_unregister_bb_app2app_event(drmgr_xform_cb_t func);

// A new pointer field in every thread, NULL at first. Returns its index, -1 if there is none left.
DR_API int drmgr_register_tls_field(void);

static inline bool drmgr_set_tls_field(void *drcontext, int index, void *value) {
    ((dr_thread_area_t *)drcontext)->tls_field[index] = value;
    return true;
}
static inline void *drmgr_get_tls_field(void *drcontext, int index) {
    return ((dr_thread_area_t *)drcontext)->tls_field[index];
}

// Code before `where` that loads the running thread's field into the X register `reg`. A thread
// that has not met emulated code before gets its init event first, so the field is then what that
// stored.
DR_API bool drmgr_insert_read_tls_field(void *drcontext, int index, instrlist_t *list,
                                        instr_t *where, reg_id_t reg);

#ifdef __cplusplus
}
#endif
