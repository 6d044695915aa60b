#pragma once

// Register reservation: the client starts and stops it, and asks for nothing.

#include "dr_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { DRREG_SUCCESS, DRREG_ERROR } drreg_status_t;

typedef struct {
    size_t struct_size;
    uint num_spill_slots;
    bool conservative;
    bool (*error_callback)(drreg_status_t);
    bool do_not_sum_slots;
} drreg_options_t;

DR_API drreg_status_t drreg_init(drreg_options_t *options);
DR_API drreg_status_t drreg_exit(void);

#ifdef __cplusplus
}
#endif
