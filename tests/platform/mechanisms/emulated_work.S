// Work that comes out wrong if an emulated instruction, or anything that happens between two of them, changes
// a register that it shouldn't. See emulated_work.h.
    .arch_extension sve
    .text

    .macro function name
    .globl \name
    .type \name, %function
    .balign 16
\name:
    .endm

// uint64_t emulated_work(uint32_t seed, uint64_t rounds)
    function emulated_work
    .cfi_startproc
    stp x26, x27, [sp, #-32]!
    .cfi_def_cfa_offset 32
    str x28, [sp, #16]
    mov x9, #3
    mov x10, #0
    ptrue p0.s
    whilelt p1.s, x10, x9
    index z0.s, w0, #7
    dup z1.s, w0
    dup z2.s, w0
    mov x26, x0
    mov x27, #1
    mov x28, #2
    movi v5.4s, #9 // stays the register's only part that is not zero
1:
    add z0.s, z0.s, z1.s
    add x26, x26, #5
    add z0.s, p1/m, z0.s, z2.s
    add x27, x27, x26
    subs x1, x1, #1
    add z2.s, z2.s, #1
    add x28, x28, x27
    b.ne 1b // flags from before an emulated instruction
    uaddv d3, p0, z0.s
    fmov x0, d3
    uaddv d3, p1, z2.s
    fmov x2, d3
    add x0, x0, x2, lsl #20
    addv s5, v5.4s
    fmov w2, s5
    add x0, x0, x2
    eor x0, x0, x28, lsl #8
    ldr x28, [sp, #16]
    ldp x26, x27, [sp], #32
    .cfi_def_cfa_offset 0
    ret
    .cfi_endproc
    .size emulated_work, . - emulated_work

// void emulated_disturbance(void)
    function emulated_disturbance
    .cfi_startproc
    stp d8, d9, [sp, #-64]!
    .cfi_def_cfa_offset 64
    stp d10, d11, [sp, #16]
    stp d12, d13, [sp, #32]
    stp d14, d15, [sp, #48]
    .irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    dup z\n\().b, #-\n-1
    .endr
    .irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
    pfalse p\n\().b
    .endr
    ldp d10, d11, [sp, #16]
    ldp d12, d13, [sp, #32]
    ldp d14, d15, [sp, #48]
    ldp d8, d9, [sp], #64
    .cfi_def_cfa_offset 0
    ret
    .cfi_endproc
    .size emulated_disturbance, . - emulated_disturbance

// uint64_t emulated_lanes(void)
    function emulated_lanes
    cntw x0
    ret
    .size emulated_lanes, . - emulated_lanes

    // Nothing here is the target of an indirect branch, so a guarded program may have it (code_guarded).
    .section .note.gnu.property, "a", %note
    .balign 8
    .word 4, 16, 5
    .asciz "GNU"
    .word 0xc0000000, 4, 1, 0

    .section .note.GNU-stack, "", %progbits
