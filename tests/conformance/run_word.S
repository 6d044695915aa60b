// Puts a machine_state into the registers, runs one instruction, and stores the registers in another.
//
//     void conformance_run(const machine_state *before, machine_state *after, const code_block *block)
//
// No register is free around the instruction: it may name any. So the last registers are loaded and the
// first one saved by the block that holds it (processor.cpp), with the value of X30 in memory near the block
// before it, and in TPIDR_EL0 behind it. From there until TPIDR_EL0 is back, nothing may need thread-local
// storage.

    .equ at_sp, 248
    .equ at_nzcv, 264
    .equ at_fpsr, 272
    .equ at_fpcr, 276
    .equ at_z, 288
    .equ insn_bytes, 8

    .bss
    .balign 16
own_sp: // and TPIDR_EL0
    .skip 16
after:
    .skip 8

    .macro each_z op
    .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
    \op z\n, [x0, #\n, mul vl]
    .endr
    .endm

    .macro each_p op
    .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15
    \op p\n, [x0, #\n, mul vl]
    .endr
    .endm

    // X0 goes on from the Z rows, over those of the unpacked predicates.
    .macro to_packed_predicates
    addvl x0, x0, #31
    addvl x0, x0, #18
    add x0, x0, #insn_bytes
    .endm

    // X2 to X29, from or to the state at `base`.
    .macro most_x op, base
    \op x2, x3, [\base, #16]
    \op x4, x5, [\base, #32]
    \op x6, x7, [\base, #48]
    \op x8, x9, [\base, #64]
    \op x10, x11, [\base, #80]
    \op x12, x13, [\base, #96]
    \op x14, x15, [\base, #112]
    \op x16, x17, [\base, #128]
    \op x18, x19, [\base, #144]
    \op x20, x21, [\base, #160]
    \op x22, x23, [\base, #176]
    \op x24, x25, [\base, #192]
    \op x26, x27, [\base, #208]
    \op x28, x29, [\base, #224]
    .endm

    // What a caller wants kept, from or to the stack.
    .macro kept_registers op
    \op x19, x20, [sp, #0]
    \op x21, x22, [sp, #16]
    \op x23, x24, [sp, #32]
    \op x25, x26, [sp, #48]
    \op x27, x28, [sp, #64]
    \op x29, x30, [sp, #80]
    \op d8, d9, [sp, #96]
    \op d10, d11, [sp, #112]
    \op d12, d13, [sp, #128]
    \op d14, d15, [sp, #144]
    .endm

    .text
    .balign 16
    .globl conformance_run
    .type conformance_run, %function
conformance_run:
    sub sp, sp, #176
    kept_registers stp
    mrs x3, fpcr
    mrs x4, fpsr
    stp x3, x4, [sp, #160]
    adrp x5, own_sp
    add x5, x5, :lo12:own_sp
    mov x3, sp
    mrs x4, tpidr_el0
    stp x3, x4, [x5]
    str x1, [x5, #after - own_sp]

    mov x30, x2
    mov x1, x0
    add x0, x0, #at_z
    each_z ldr
    to_packed_predicates
    ldr p0, [x0, #16, mul vl]
    wrffr p0.b
    each_p ldr
    ldr w2, [x1, #at_fpsr]
    ldr w3, [x1, #at_fpcr]
    msr fpsr, x2
    msr fpcr, x3
    ldr x2, [x1, #at_sp]
    ldr x3, [x1, #at_nzcv]
    mov sp, x2
    msr nzcv, x3
    most_x ldp, x1
    ldp x0, x1, [x1]
    br x30
    .size conformance_run, . - conformance_run

    // Where a block goes on, with the value of X30 in TPIDR_EL0.
    .balign 16
    .globl conformance_run_end
    .type conformance_run_end, %function
conformance_run_end:
    adrp x30, after
    ldr x30, [x30, :lo12:after]
    stp x0, x1, [x30]
    most_x stp, x30
    mrs x0, tpidr_el0
    str x0, [x30, #240]
    mov x0, sp
    mrs x1, nzcv
    str x0, [x30, #at_sp]
    str x1, [x30, #at_nzcv]
    mrs x0, fpsr
    mrs x1, fpcr
    str w0, [x30, #at_fpsr]
    str w1, [x30, #at_fpcr]
    add x0, x30, #at_z
    each_z str
    to_packed_predicates
    each_p str
    rdffr p0.b
    str p0, [x0, #16, mul vl]

    adrp x0, own_sp
    add x0, x0, :lo12:own_sp
    ldp x1, x2, [x0]
    mov sp, x1
    msr tpidr_el0, x2
    ldp x3, x4, [sp, #160]
    msr fpcr, x3
    msr fpsr, x4
    kept_registers ldp
    add sp, sp, #176
    ret
    .size conformance_run_end, . - conformance_run_end

    // What translated code calls to leave its instruction to the emulator: takes its frame down, notes the place
    // that it would return to, and goes on as behind any word.
    .globl conformance_left
    .type conformance_left, %function
conformance_left:
    str x30, [x27, #296 + 49 * SVE_VECTOR_BITS / 8] // thread_state's returns_to
    ldp x27, x30, [sp], #16
    msr tpidr_el0, x30
    b conformance_run_end
    .size conformance_left, . - conformance_left

    // The vector length in bytes.
    .globl conformance_vector_bytes
    .type conformance_vector_bytes, %function
conformance_vector_bytes:
    rdvl x0, #1
    ret
    .size conformance_vector_bytes, . - conformance_vector_bytes

    .section .note.GNU-stack, "", %progbits
