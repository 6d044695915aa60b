#pragma once

// The registers of a signal's context.

#include "platform/src/message.h"

#include <asm/sigcontext.h>
#include <ucontext.h>

namespace platform {

inline fpsimd_context *floating_point_of(mcontext_t &machine) {
    auto *record = reinterpret_cast<_aarch64_ctx *>(machine.__reserved);
    while (record->magic && record->magic != FPSIMD_MAGIC)
        record = reinterpret_cast<_aarch64_ctx *>(reinterpret_cast<char *>(record) + record->size);
    if (!record->magic)
        refuse(125, "a signal's context has no floating-point registers");
    return reinterpret_cast<fpsimd_context *>(record);
}

} // namespace platform
