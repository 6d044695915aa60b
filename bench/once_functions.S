// 4,000 functions of five SVE instructions each, as a compiler makes them of small loops and of the ends of long ones:
//
//     void function(int32_t *from, int32_t *to, uint64_t index, uint64_t end)
//
// Each begins at a multiple of 64 bytes from once_functions. Element values are integers: what floating-point
// instructions get of them are numbers, so that nothing becomes NaN.
    .arch_extension sve
    .text

    .macro begin
    .p2align 6
    .cfi_startproc
    .endm

    .macro functions z
    begin // one vector of a loop
    whilelo p0.s, x2, x3
    ld1w {z\z\().s}, p0/z, [x0, x2, lsl #2]
    add z\z\().s, z\z\().s, #\z + 1
    st1w {z\z\().s}, p0, [x1, x2, lsl #2]
    incw x2
    ret
    .cfi_endproc

    begin // floating point
    ptrue p0.s
    ld1w {z\z\().s}, p0/z, [x0]
    scvtf z\z\().s, p0/m, z\z\().s
    fadd z\z\().s, z\z\().s, z\z\().s
    st1w {z\z\().s}, p0, [x1]
    ret
    .cfi_endproc

    begin // addresses by native instructions
    cntw x9
    sub x10, x3, x9
    whilelo p1.s, x2, x10
    add x11, x0, x2, lsl #2
    add x12, x1, x2, lsl #2
    ld1w {z\z\().s}, p1/z, [x11]
    mul z\z\().s, p1/m, z\z\().s, z\z\().s
    st1w {z\z\().s}, p1, [x12]
    ret
    .cfi_endproc

    begin // absolute values
    ptrue p0.b
    ld1w {z\z\().s}, p0/z, [x0]
    cmplt p1.s, p0/z, z\z\().s, #0
    neg z\z\().s, p1/m, z\z\().s
    st1w {z\z\().s}, p1, [x1]
    ret
    .cfi_endproc

    begin // a sum, which a native instruction stores
    ptrue p0.s
    ld1w {z\z\().s}, p0/z, [x0]
    scvtf z\z\().s, p0/m, z\z\().s
    fmul z\z\().s, z\z\().s, z\z\().s
    faddv s\z, p0, z\z\().s
    str s\z, [x1, x2, lsl #2]
    ret
    .cfi_endproc

    begin // permutes
    ptrue p0.s
    ld1w {z\z\().s}, p0/z, [x0]
    rev z31.s, z\z\().s
    zip1 z\z\().s, z\z\().s, z31.s
    st1w {z\z\().s}, p0, [x1]
    ret
    .cfi_endproc

    begin // a vector that may have no elements
    whilelo p0.s, x2, x3
    b.none 1f
    index z\z\().s, w2, #1
    ld1w {z31.s}, p0/z, [x0, z\z\().s, uxtw #2]
    eor z\z\().d, z\z\().d, z31.d
    st1w {z\z\().s}, p0, [x1]
1:  ret
    .cfi_endproc

    begin // an addition to memory that two native instructions point at
    add x10, x0, #32
    ptrue p0.s
    ld1w {z\z\().s}, p0/z, [x10]
    add x9, x1, #16
    ld1w {z31.s}, p0/z, [x9]
    sub z\z\().s, z\z\().s, z31.s
    st1w {z\z\().s}, p0, [x9]
    ret
    .cfi_endproc
    .endm

    .p2align 6
    .globl once_functions
    .type once_functions, %function
once_functions:
    .rept 125
    .irp z, 0, 3, 7, 20
    functions \z
    .endr
    .endr

    .section .note.GNU-stack, "", %progbits
