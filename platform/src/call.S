// Calls onto the platform stack. Each thread has one; dr_api.h's dr_thread_area_t says where its top is.

// Places in dr_thread_area_t, asserted in thread.cpp.
#define STACK_TOP 96
#define RETURNS_TO 112

    .text

// void sve_platform_switch_stack(void (*function)(void *), void *argument, void *stack_top)
//
// Calls function(argument) with SP at stack_top. An ordinary function otherwise.
    .globl sve_platform_switch_stack
    .hidden sve_platform_switch_stack
    .type sve_platform_switch_stack, %function
    .balign 16
sve_platform_switch_stack:
    .cfi_startproc
    stp x29, x30, [sp, #-16]!
    .cfi_def_cfa_offset 16
    .cfi_offset 29, -16
    .cfi_offset 30, -8
    mov x29, sp
    .cfi_def_cfa_register 29
    mov x9, x0
    mov x0, x1
    mov sp, x2
    blr x9
    mov sp, x29
    .cfi_def_cfa_register 31
    ldp x29, x30, [sp], #16
    .cfi_def_cfa_offset 0
    .cfi_restore 29
    .cfi_restore 30
    ret
    .cfi_endproc
    .size sve_platform_switch_stack, . - sve_platform_switch_stack

// Where the code of replaced instructions calls from: x9 is the function, x0 to x7 are its arguments,
// x21 is the address of dr_thread_area. Every application register has been handed over by then, so nothing
// has to be kept but SP, which x19 keeps, and the return address. That is in the thread's area from the first label
// to the second, where a signal moves it, and in x30 before and behind (detour.cpp).
    .globl sve_platform_call, sve_platform_call_saved, sve_platform_call_loaded, sve_platform_call_end
    .hidden sve_platform_call, sve_platform_call_saved, sve_platform_call_loaded, sve_platform_call_end
    .type sve_platform_call, %function
    .balign 16
sve_platform_call:
    .cfi_startproc
    .cfi_undefined 30 // the caller is no function: a backtrace ends here
    str x30, [x21, #RETURNS_TO]
sve_platform_call_saved:
    ldr x10, [x21, #STACK_TOP]
    mov x19, sp
    mov sp, x10
    blr x9
    mov sp, x19
    ldr x30, [x21, #RETURNS_TO]
sve_platform_call_loaded:
    ret
sve_platform_call_end:
    .cfi_endproc
    .size sve_platform_call, . - sve_platform_call

// bool sve_platform_read_words(uintptr_t pc, uint32_t *words, size_t count), of which there is one at least, and
// bool sve_platform_exchange_word(uintptr_t pc, uint32_t former, uint32_t word)
//
// Accesses of the program's text. Up to the label behind the last of them a fault makes the function return 0
// (text.cpp), so it uses no stack, and x30 stays what it is. The written word is one that every processor sees: the
// caches' lines are no shorter than a word, wherever they are.
    .globl sve_platform_text_access, sve_platform_text_access_end
    .hidden sve_platform_text_access, sve_platform_text_access_end
    .globl sve_platform_read_words, sve_platform_exchange_word
    .hidden sve_platform_read_words, sve_platform_exchange_word
    .type sve_platform_read_words, %function
    .type sve_platform_exchange_word, %function
    .balign 16
sve_platform_text_access:
sve_platform_read_words:
    .cfi_startproc
1:  ldr w3, [x0], #4
    str w3, [x1], #4
    subs x2, x2, #1
    b.ne 1b
    mov w0, #1
    ret
    .cfi_endproc
    .size sve_platform_read_words, . - sve_platform_read_words
sve_platform_exchange_word:
    .cfi_startproc
1:  ldaxr w3, [x0]
    cmp w3, w1
    b.ne 2f
    stlxr w4, w2, [x0]
    cbnz w4, 1b
    dc cvau, x0
    dsb ish
    ic ivau, x0
    dsb ish
    isb
    mov w0, #1
    ret
2:  clrex
    mov w0, #0
    ret
    .cfi_endproc
    .size sve_platform_exchange_word, . - sve_platform_exchange_word
sve_platform_text_access_end:

    .section .note.GNU-stack, "", %progbits
