// Text that is guarded against branches that don't land where they should stays so when it is
// rewritten. Built with branch target identification, and without the C library's start-up files, which
// are not.
#include "emulated_work.h"

#include <csetjmp>
#include <csignal>
#include <cstring>
#include <sys/auxv.h>

extern "C" [[gnu::visibility("hidden")]] void no_landing(void);
asm(R"(
    .text
    .globl _start
_start:
    hint #34 // bti c
    mov x29, #0
    mov x30, #0
    mov x5, x0
    ldr x1, [sp]
    add x2, sp, #8
    mov x6, sp
    adrp x0, main
    add x0, x0, :lo12:main
    mov x3, #0
    mov x4, #0
    bl __libc_start_main
    bl abort

no_landing:
    nop
    ret
)");

static sigjmp_buf back;

// Whether a branch to a place that is none to land raises SIGILL.
[[gnu::noinline]] static bool is_guarded() {
    void (*volatile target)() = no_landing;
    if (sigsetjmp(back, 1) != 0)
        return true;
    target();
    return false;
}

int main() {
    signal(SIGILL, [](int) { siglongjmp(back, 1); });
    constexpr unsigned long hwcap2_bti = 1 << 17;
    const bool processor_guards = getauxval(AT_HWCAP2) & hwcap2_bti;
    EXPECT(is_guarded() == processor_guards);
    for (uint32_t i = 0; i < 5; i++)
        EXPECT_WORK(i, 5);
    EXPECT(is_guarded() == processor_guards);
    printf("%s\n", processor_guards ? "guarded" : "no guard here");
    return verdict("guarded");
}
