// Routines that put a machine_state into the registers, run one instruction, and put the registers back into
// the state; its layout is in machine_state.h. The state's address and the routine's own SP wait in memory
// meanwhile, since no register is left to hold them.

    .arch_extension sve

    .bss
    .balign 16
state:
    .skip 8
own_sp:
    .skip 8

    .altmacro
    .macro pair op, kind, n, m, base, offset
    \op\()p \kind\()\n, \kind\()\m, [\base, #\offset]
    .endm
    .macro pairs op, kind, first, end, base, offset, size
    .set n, \first
    .rept (\end - \first) / 2
    pair \op, \kind, %n, %n+1, \base, %\offset+(n-\first)*\size
    .set n, n + 2
    .endr
    .endm

// All registers but X0, X1 and SP, from or to the state at X0.
    .macro most_registers op
    pairs \op, x, 2, 30, x0, 16, 8
    \op\()r x30, [x0, #240]
    pairs \op, q, 0, 32, x0, 288, 16
    .endm

// What a caller wants kept, from or to the stack.
    .macro kept_registers op
    pairs \op, x, 19, 31, sp, 0, 8
    pairs \op, d, 8, 16, sp, 96, 8
    .endm

    .text
    .macro routine name, instruction:vararg
    .balign 16
    .globl \name, \name\()_instruction
    .type \name, %function
\name:
    sub sp, sp, #176
    kept_registers st
    mrs x1, fpcr
    str x1, [sp, #160]
    adrp x2, state
    add x2, x2, :lo12:state
    mov x3, sp
    stp x0, x3, [x2]

    ldp x1, x2, [x0, #248] // SP, NZCV
    mov sp, x1
    msr nzcv, x2
    ldp x1, x2, [x0, #264]
    msr fpcr, x1
    msr fpsr, x2
    most_registers ld
    ldp x0, x1, [x0]
\name\()_instruction:
    \instruction
    stp x0, x1, [sp, #-16]!
    adrp x0, state
    ldr x0, [x0, :lo12:state]
    most_registers st
    ldp x2, x3, [sp], #16
    stp x2, x3, [x0]
    mov x1, sp
    mrs x2, nzcv
    stp x1, x2, [x0, #248]
    mrs x1, fpcr
    mrs x2, fpsr
    stp x1, x2, [x0, #264]

    adrp x1, own_sp
    ldr x1, [x1, :lo12:own_sp]
    mov sp, x1
    ldr x1, [sp, #160]
    msr fpcr, x1
    kept_registers ld
    add sp, sp, #176
    ret
    .size \name, . - \name
    .endm

    routine run_nop, nop
    .irp n, 0, 3, 31
    routine run_add_z\n, add z\n\().b, z\n\().b, #1
    .endr
    .irp n, 26, 27, 28, 29, 30
    routine run_addvl_x\n, addvl x\n, x9, #1
    .endr
    routine run_addvl_sp, addvl sp, sp, #1
    routine run_invert, .inst 0x25fffffe
    routine run_fail, .inst 0x25ffffff

    routine run_movi, movi v3.4s, #7
    routine run_add, add v31.4s, v1.4s, v2.4s
    routine run_insert, ins v4.s[1], w3
    routine run_scalar, fmov s5, w6
    routine run_round, fdiv d0, d1, d2
    routine run_post, ldr q2, [x5], #32
    routine run_pre_x27, ldr q9, [x27, #16]!
    routine run_pre_sp, ldr d8, [sp, #-16]!
    routine run_pair_sp, ldp q10, q11, [sp], #32
    routine run_from_x0, ldr h12, [x0]
    routine run_two, ld2r {v13.8h, v14.8h}, [x5]
    routine run_four, ld4 {v30.16b, v31.16b, v0.16b, v1.16b}, [x5], #64
    .balign 16
    .word 0x01020304, 0x05060708
1:  .quad 0x1112131415161718, 0x191a1b1c1d1e1f20
    routine run_literal_s, ldr s16, 1b
    routine run_literal_d, ldr d17, 1b - 4
    routine run_literal_q, ldr q18, 1f
    .balign 16
1:  .quad 0x2122232425262728, 0x292a2b2c2d2e2f30

    .section .note.GNU-stack, "", %progbits
