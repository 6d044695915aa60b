// Native instructions that write V registers, each between SVE instructions that see what became of the rest of the
// Z register, in the surroundings that a program can have for them. Every case is a function
//
//     void case(uint8_t *out, const uint8_t *fill, const uint8_t *data, uint64_t value, uint64_t index, uint64_t way)
//
// which stores the registers that the kind writes, and the one behind them, at `out`, where there is room for 15
// vectors. `fill` has five vectors without a zero byte, `data` is the middle of a buffer, `index` is 0 to 7, `way`
// 0 or 1. Tables of the cases are at the end.
    .arch_extension sve
    .text

// ---- Kinds ----------------------------------------------------------------------------------------
// write_KIND a, b, c, d: writes Va, and further ones if there is a count_KIND. X9 and up, the flags and V20 to V22
// and V6, which are sources, are free to use.

    .macro pool_words
    .word 0x2f00e400 // movi d0, #0
    .word 0x4ea11c20 // mov v0.16b, v1.16b
    .word 0xfd400040 // ldr d0, [x2]
    .word 0x6f00e401 // movi v1.2d, #0
    .endm

    // Moves of immediates and registers.
    .macro write_movi_d a, b, c, d
    movi d\a, #0
    .endm
    .macro write_movi_2d a, b, c, d
    movi v\a\().2d, #0
    .endm
    .macro write_movi_16b a, b, c, d
    movi v\a\().16b, #7
    .endm
    .macro write_mvni_4s a, b, c, d
    mvni v\a\().4s, #5, msl #8
    .endm
    .macro write_orr_immediate a, b, c, d
    orr v\a\().8h, #0x81
    .endm
    .macro write_bic_immediate a, b, c, d
    bic v\a\().2s, #0xf0
    .endm
    .macro write_fmov_immediate a, b, c, d
    fmov d\a, #1.0
    .endm
    .macro write_fmov_immediates a, b, c, d
    fmov v\a\().4s, #-2.5
    .endm
    .macro write_fmov_d a, b, c, d
    fmov d\a, d20
    .endm
    .macro write_fmov_from_w a, b, c, d
    fmov s\a, w3
    .endm
    .macro write_fmov_from_x a, b, c, d
    fmov d\a, x3
    .endm
    .macro write_fmov_from_zero a, b, c, d
    fmov d\a, xzr
    .endm
    .macro write_fmov_upper_half a, b, c, d
    fmov v\a\().d[1], x3
    .endm
    .macro write_mov_v a, b, c, d
    mov v\a\().16b, v20.16b
    .endm
    .macro write_mov_self a, b, c, d
    mov v\a\().16b, v\a\().16b
    .endm
    .macro write_dup_element a, b, c, d
    dup v\a\().4s, v20.s[1]
    .endm
    .macro write_dup_scalar a, b, c, d
    mov d\a, v20.d[1]
    .endm
    .macro write_dup_general a, b, c, d
    dup v\a\().8h, w3
    .endm
    .macro write_ins_element a, b, c, d
    mov v\a\().h[5], v20.h[2]
    .endm
    .macro write_ins_general a, b, c, d
    mov v\a\().s[3], w3
    .endm

    // Loads.
    .macro write_ldr_b a, b, c, d
    ldr b\a, [x2, #33]
    .endm
    .macro write_ldr_h a, b, c, d
    ldr h\a, [x2, #34]
    .endm
    .macro write_ldr_s a, b, c, d
    ldr s\a, [x2, #36]
    .endm
    .macro write_ldr_d a, b, c, d
    ldr d\a, [x2, #40]
    .endm
    .macro write_ldr_q a, b, c, d
    ldr q\a, [x2, #48]
    .endm
    .macro write_ldur_b a, b, c, d
    ldur b\a, [x2, #-1]
    .endm
    .macro write_ldur_h a, b, c, d
    ldur h\a, [x2, #-3]
    .endm
    .macro write_ldur_s a, b, c, d
    ldur s\a, [x2, #-5]
    .endm
    .macro write_ldur_d a, b, c, d
    ldur d\a, [x2, #-11]
    .endm
    .macro write_ldur_q a, b, c, d
    ldur q\a, [x2, #-17]
    .endm
    .macro write_post_index_b a, b, c, d
    mov x9, x2
    ldr b\a, [x9], #1
    .endm
    .macro write_post_index_h a, b, c, d
    mov x9, x2
    ldr h\a, [x9], #2
    .endm
    .macro write_post_index_s a, b, c, d
    mov x9, x2
    ldr s\a, [x9], #4
    .endm
    .macro write_post_index_d a, b, c, d
    mov x9, x2
    ldr d\a, [x9], #8
    .endm
    .macro write_post_index_q a, b, c, d
    mov x9, x2
    ldr q\a, [x9], #16
    .endm
    .macro write_pre_index_b a, b, c, d
    mov x9, x2
    ldr b\a, [x9, #-1]!
    .endm
    .macro write_pre_index_h a, b, c, d
    mov x9, x2
    ldr h\a, [x9, #-2]!
    .endm
    .macro write_pre_index_s a, b, c, d
    mov x9, x2
    ldr s\a, [x9, #-4]!
    .endm
    .macro write_pre_index_d a, b, c, d
    mov x9, x2
    ldr d\a, [x9, #-8]!
    .endm
    .macro write_pre_index_q a, b, c, d
    mov x9, x2
    ldr q\a, [x9, #-16]!
    .endm
    .macro write_register_offset_b a, b, c, d
    ldr b\a, [x2, x4]
    .endm
    .macro write_register_offset_h a, b, c, d
    ldr h\a, [x2, x4, lsl #1]
    .endm
    .macro write_register_offset_s a, b, c, d
    ldr s\a, [x2, w4, uxtw #2]
    .endm
    .macro write_register_offset_d a, b, c, d
    ldr d\a, [x2, w4, sxtw #3]
    .endm
    .macro write_register_offset_q a, b, c, d
    ldr q\a, [x2, x4, lsl #4]
    .endm
    .macro write_ldp_s a, b, c, d
    ldp s\a, s\b, [x2, #8]
    .endm
    .set count_ldp_s, 2
    .macro write_ldp_d a, b, c, d
    ldp d\a, d\b, [x2, #16]
    .endm
    .set count_ldp_d, 2
    .macro write_ldp_q a, b, c, d
    ldp q\a, q\b, [x2, #-32]
    .endm
    .set count_ldp_q, 2
    .macro write_ldp_post_index a, b, c, d
    mov x9, x2
    ldp q\a, q\b, [x9], #32
    .endm
    .set count_ldp_post_index, 2
    .macro write_ldp_pre_index a, b, c, d
    mov x9, x2
    ldp d\a, d\b, [x9, #-16]!
    .endm
    .set count_ldp_pre_index, 2
    .macro write_ldnp_d a, b, c, d
    ldnp d\a, d\b, [x2]
    .endm
    .set count_ldnp_d, 2
    .macro write_ldnp_q a, b, c, d
    ldnp q\a, q\b, [x2, #16]
    .endm
    .set count_ldnp_q, 2
    .macro write_ld1_one a, b, c, d
    ld1 { v\a\().8h }, [x2]
    .endm
    .macro write_ld1_two a, b, c, d
    ld1 { v\a\().2d, v\b\().2d }, [x2]
    .endm
    .set count_ld1_two, 2
    .macro write_ld1_three a, b, c, d
    ld1 { v\a\().8b, v\b\().8b, v\c\().8b }, [x2]
    .endm
    .set count_ld1_three, 3
    .macro write_ld1_four a, b, c, d
    ld1 { v\a\().4s, v\b\().4s, v\c\().4s, v\d\().4s }, [x2]
    .endm
    .set count_ld1_four, 4
    .macro write_ld1_post_index a, b, c, d
    mov x9, x2
    ld1 { v\a\().16b, v\b\().16b, v\c\().16b, v\d\().16b }, [x9], x4
    .endm
    .set count_ld1_post_index, 4
    .macro write_ld2 a, b, c, d
    ld2 { v\a\().8h, v\b\().8h }, [x2]
    .endm
    .set count_ld2, 2
    .macro write_ld3 a, b, c, d
    ld3 { v\a\().4s, v\b\().4s, v\c\().4s }, [x2]
    .endm
    .set count_ld3, 3
    .macro write_ld4 a, b, c, d
    ld4 { v\a\().2d, v\b\().2d, v\c\().2d, v\d\().2d }, [x2]
    .endm
    .set count_ld4, 4
    .macro write_ld4_post_index a, b, c, d
    mov x9, x2
    ld4 { v\a\().8b, v\b\().8b, v\c\().8b, v\d\().8b }, [x9], #32
    .endm
    .set count_ld4_post_index, 4
    .macro write_ld1r a, b, c, d
    ld1r { v\a\().8b }, [x2]
    .endm
    .macro write_ld2r a, b, c, d
    ld2r { v\a\().4s, v\b\().4s }, [x2]
    .endm
    .set count_ld2r, 2
    .macro write_ld4r a, b, c, d
    ld4r { v\a\().1d, v\b\().1d, v\c\().1d, v\d\().1d }, [x2]
    .endm
    .set count_ld4r, 4

    // Literals, behind the function (with a pool_KIND), before its end, and in between. The data look like native
    // writes.
    .macro write_literal_s a, b, c, d
    ldr s\a, 77f
    .endm
    .macro write_literal_d a, b, c, d
    ldr d\a, 77f
    .endm
    .macro write_literal_q a, b, c, d
    ldr q\a, 77f
    .endm
    .macro write_literal_inside a, b, c, d
    ldr q\a, 78f
    .endm
    .macro write_literal_between a, b, c, d
    ldr q\a, 71f
    b 72f
71:
    pool_words
72:
    .endm
    .macro write_literal_by_x a, b, c, d
    adr x9, 77f
    ldp x9, x10, [x9]
    fmov d\a, x9
    mov v\a\().d[1], x10
    .endm

    .set pool_literal_s, 1
    .set pool_literal_d, 1
    .set pool_literal_q, 1
    .set pool_literal_by_x, 1

    // Scalar floating point.
    .macro write_scvtf a, b, c, d
    scvtf d\a, x3
    .endm
    .macro write_scvtf_fixed a, b, c, d
    scvtf s\a, w3, #5
    .endm
    .macro write_ucvtf_scalar a, b, c, d
    ucvtf d\a, d20
    .endm
    .macro write_fcvt a, b, c, d
    fcvt d\a, s20
    .endm
    .macro write_fcvtzs_scalar a, b, c, d
    fcvtzs d\a, d20
    .endm
    .macro write_fadd a, b, c, d
    fadd d\a, d20, d21
    .endm
    .macro write_fmul a, b, c, d
    fmul s\a, s20, s21
    .endm
    .macro write_fsqrt a, b, c, d
    fsqrt d\a, d20
    .endm
    .macro write_frintz a, b, c, d
    frintz s\a, s20
    .endm
    .macro write_fmadd a, b, c, d
    fmadd s\a, s20, s21, s22
    .endm
    .macro write_fnmsub a, b, c, d
    fnmsub d\a, d20, d21, d22
    .endm
    .macro write_fcsel a, b, c, d
    cmp x4, #4
    fcsel d\a, d20, d21, lo
    .endm

    // Advanced SIMD.
    .macro write_add_vector a, b, c, d
    add v\a\().4s, v20.4s, v21.4s
    .endm
    .macro write_add_scalar a, b, c, d
    add d\a, d20, d21
    .endm
    .macro write_mla a, b, c, d
    mla v\a\().8h, v20.8h, v21.8h
    .endm
    .macro write_mul_element a, b, c, d
    mul v\a\().4s, v20.4s, v21.s[2]
    .endm
    .macro write_cmhi a, b, c, d
    cmhi v\a\().16b, v20.16b, v21.16b
    .endm
    .macro write_bsl a, b, c, d
    bsl v\a\().16b, v20.16b, v21.16b
    .endm
    .macro write_sqadd a, b, c, d
    sqadd v\a\().8b, v20.8b, v21.8b
    .endm
    .macro write_fadd_vector a, b, c, d
    fadd v\a\().2d, v20.2d, v21.2d
    .endm
    .macro write_fmla a, b, c, d
    fmla v\a\().4s, v20.4s, v21.4s
    .endm
    .macro write_scvtf_vector a, b, c, d
    scvtf v\a\().4s, v20.4s
    .endm
    .macro write_fcvtn a, b, c, d
    fcvtn v\a\().2s, v20.2d
    .endm
    .macro write_fcvtn2 a, b, c, d
    fcvtn2 v\a\().4s, v20.2d
    .endm
    .macro write_xtn a, b, c, d
    xtn v\a\().8b, v20.8h
    .endm
    .macro write_xtn2 a, b, c, d
    xtn2 v\a\().16b, v20.8h
    .endm
    .macro write_tbl a, b, c, d
    tbl v\a\().16b, { v20.16b }, v21.16b
    .endm
    .macro write_tbx a, b, c, d
    tbx v\a\().8b, { v20.16b, v21.16b }, v22.8b
    .endm
    .macro write_ext a, b, c, d
    ext v\a\().16b, v20.16b, v21.16b, #5
    .endm
    .macro write_zip1 a, b, c, d
    zip1 v\a\().8h, v20.8h, v21.8h
    .endm
    .macro write_uzp2 a, b, c, d
    uzp2 v\a\().16b, v20.16b, v21.16b
    .endm
    .macro write_trn1 a, b, c, d
    trn1 v\a\().2d, v20.2d, v21.2d
    .endm
    .macro write_rev16 a, b, c, d
    rev16 v\a\().16b, v20.16b
    .endm
    .macro write_cnt a, b, c, d
    cnt v\a\().16b, v20.16b
    .endm
    .macro write_shl a, b, c, d
    shl v\a\().4s, v20.4s, #3
    .endm
    .macro write_sli a, b, c, d
    sli v\a\().2d, v20.2d, #9
    .endm
    .macro write_ssra a, b, c, d
    ssra v\a\().8h, v20.8h, #2
    .endm
    .macro write_shrn a, b, c, d
    shrn v\a\().4h, v20.4s, #4
    .endm
    .macro write_sqshrn2 a, b, c, d
    sqshrn2 v\a\().8h, v20.4s, #4
    .endm
    .macro write_addv a, b, c, d
    addv s\a, v20.4s
    .endm
    .macro write_uaddlv a, b, c, d
    uaddlv h\a, v20.16b
    .endm
    .macro write_smaxv a, b, c, d
    smaxv b\a, v20.16b
    .endm
    .macro write_fmaxv a, b, c, d
    fmaxv s\a, v20.4s
    .endm
    .macro write_addp_scalar a, b, c, d
    addp d\a, v20.2d
    .endm
    .macro write_faddp_scalar a, b, c, d
    faddp s\a, v20.2s
    .endm

    .macro each_kind surrounding, table
    .irp kind, movi_d, movi_2d, movi_16b, mvni_4s, orr_immediate, bic_immediate, fmov_immediate
    \surrounding \table, \kind
    .endr
    .irp kind, fmov_immediates, fmov_d, fmov_from_w, fmov_from_x, fmov_from_zero
    \surrounding \table, \kind
    .endr
    .irp kind, fmov_upper_half, mov_v, mov_self, dup_element, dup_scalar, dup_general
    \surrounding \table, \kind
    .endr
    .irp kind, ins_element, ins_general
    \surrounding \table, \kind
    .endr
    .irp kind, ldr_b, ldr_h, ldr_s, ldr_d, ldr_q, ldur_b, ldur_h, ldur_s, ldur_d, ldur_q
    \surrounding \table, \kind
    .endr
    .irp kind, post_index_b, post_index_h, post_index_s, post_index_d, post_index_q
    \surrounding \table, \kind
    .endr
    .irp kind, pre_index_b, pre_index_h, pre_index_s, pre_index_d, pre_index_q
    \surrounding \table, \kind
    .endr
    .irp kind, register_offset_b, register_offset_h, register_offset_s, register_offset_d
    \surrounding \table, \kind
    .endr
    .irp kind, register_offset_q, ldp_s, ldp_d, ldp_q, ldp_post_index, ldp_pre_index, ldnp_d
    \surrounding \table, \kind
    .endr
    .irp kind, ldnp_q, ld1_one, ld1_two, ld1_three, ld1_four, ld1_post_index, ld2, ld3, ld4
    \surrounding \table, \kind
    .endr
    .irp kind, ld4_post_index, ld1r, ld2r, ld4r
    \surrounding \table, \kind
    .endr
    .irp kind, literal_s, literal_d, literal_q, literal_inside, literal_between, literal_by_x
    \surrounding \table, \kind
    .endr
    .irp kind, scvtf, scvtf_fixed, ucvtf_scalar, fcvt, fcvtzs_scalar, fadd, fmul, fsqrt, frintz
    \surrounding \table, \kind
    .endr
    .irp kind, fmadd, fnmsub, fcsel
    \surrounding \table, \kind
    .endr
    .irp kind, add_vector, add_scalar, mla, mul_element, cmhi, bsl, sqadd, fadd_vector, fmla
    \surrounding \table, \kind
    .endr
    .irp kind, scvtf_vector, fcvtn, fcvtn2, xtn, xtn2, tbl, tbx, ext, zip1, uzp2, trn1, rev16
    \surrounding \table, \kind
    .endr
    .irp kind, cnt, shl, sli, ssra, shrn, sqshrn2, addv, uaddlv, smaxv, fmaxv, addp_scalar
    \surrounding \table, \kind
    .endr
    .irp kind, faddp_scalar
    \surrounding \table, \kind
    .endr
    .endm

    // Kinds of which a processor emulator is known to leave the rest of the register as it was.
    .macro write_ld1_lane a, b, c, d
    ld1 { v\a\().s }[2], [x2]
    .endm
    .macro write_ld2_lane a, b, c, d
    ld2 { v\a\().b, v\b\().b }[7], [x2]
    .endm
    .set count_ld2_lane, 2
    .macro write_ld3_lane a, b, c, d
    mov x9, x2
    ld3 { v\a\().h, v\b\().h, v\c\().h }[5], [x9], x4
    .endm
    .set count_ld3_lane, 3
    .macro write_ld4_lane a, b, c, d
    ld4 { v\a\().d, v\b\().d, v\c\().d, v\d\().d }[1], [x2]
    .endm
    .set count_ld4_lane, 4
    .macro write_rev64 a, b, c, d
    rev64 v\a\().4s, v20.4s
    .endm
    .macro write_rev32 a, b, c, d
    rev32 v\a\().4h, v20.4h
    .endm
    .macro write_sshll a, b, c, d
    sshll v\a\().4s, v20.4h, #3
    .endm
    .macro write_ushll2 a, b, c, d
    ushll2 v\a\().2d, v20.4s, #9
    .endm
    .macro write_shll a, b, c, d
    shll v\a\().8h, v20.8b, #8
    .endm
    .macro write_saddl a, b, c, d
    saddl v\a\().8h, v20.8b, v21.8b
    .endm
    .macro write_uabal a, b, c, d
    uabal v\a\().4s, v20.4h, v21.4h
    .endm
    .macro write_smull2 a, b, c, d
    smull2 v\a\().2d, v20.4s, v21.4s
    .endm
    .macro write_umlal_element a, b, c, d
    umlal v\a\().4s, v20.4h, v6.h[3]
    .endm
    .macro write_sqdmull_element a, b, c, d
    sqdmull s\a, h20, v6.h[1]
    .endm
    .macro write_uaddlp a, b, c, d
    uaddlp v\a\().4h, v20.8b
    .endm
    .macro write_sadalp a, b, c, d
    sadalp v\a\().2d, v20.4s
    .endm
    .macro write_addp_d a, b, c, d
    addp v\a\().2d, v20.2d, v21.2d
    .endm
    .macro write_faddp_d a, b, c, d
    faddp v\a\().2d, v20.2d, v21.2d
    .endm
    .macro write_fcvtl a, b, c, d
    fcvtl v\a\().2d, v20.2s
    .endm

    .macro each_checked_kind surrounding, table
    .irp kind, ld1_lane, ld2_lane, ld3_lane, ld4_lane, rev64, rev32, sshll, ushll2, shll, saddl
    \surrounding \table, \kind
    .endr
    .irp kind, uabal, smull2, umlal_element, sqdmull_element, uaddlp, sadalp, addp_d, faddp_d
    \surrounding \table, \kind
    .endr
    .irp kind, fcvtl
    \surrounding \table, \kind
    .endr
    .endm

// ---- Pieces of functions --------------------------------------------------------------------------

    .macro begin table, surrounding, kind
    .type \table\()_\surrounding\()_\kind, %function
    .balign 4
\table\()_\surrounding\()_\kind:
    .cfi_startproc
    .endm

    .macro end table, surrounding, kind
    .ifc \kind, literal_inside
78:
    pool_words
    .endif
    .cfi_endproc
    .size \table\()_\surrounding\()_\kind, . - \table\()_\surrounding\()_\kind
    .ifdef pool_\kind
77:
    pool_words
    .endif
    .endm

    // Begins a function that is in the table, a checked one with its reference beside it.
    .macro case table, surrounding, kind
    .ifnc \table, reference
    .pushsection .rodata
.Lname_\table\()_\surrounding\()_\kind:
    .asciz "\surrounding \kind"
    .popsection
    .pushsection .data.rel.ro.\table, "aw"
    .quad .Lname_\table\()_\surrounding\()_\kind, \table\()_\surrounding\()_\kind
    .ifc \table, checked
    .quad reference_\surrounding\()_\kind
    .else
    .quad 0
    .endif
    .popsection
    .endif
    begin \table, \surrounding, \kind
    .endm

    .macro enter
    stp x29, x30, [sp, #-16]!
    .cfi_def_cfa_offset 16
    .cfi_offset 29, -16
    .cfi_offset 30, -8
    .endm

    .macro leave
    ldp x29, x30, [sp], #16
    .cfi_restore 29
    .cfi_restore 30
    .cfi_def_cfa_offset 0
    .endm

    .macro count_registers kind
    .set count, 1
    .ifdef count_\kind
    .set count, count_\kind
    .endif
    .endm

    // Loads or stores the registers that the kind writes, and the next one.
    .macro each_register op, base, kind, a, b, c, d, e
    count_registers \kind
    \op z\a, [\base]
    \op z\b, [\base, #1, mul vl]
    .if count >= 2
    \op z\c, [\base, #2, mul vl]
    .endif
    .if count >= 3
    \op z\d, [\base, #3, mul vl]
    .endif
    .if count >= 4
    \op z\e, [\base, #4, mul vl]
    .endif
    .endm

    .macro fill kind, registers:vararg
    each_register ldr, x1, \kind, \registers
    .endm
    .macro store kind, registers:vararg
    each_register str, x0, \kind, \registers
    .endm

    .macro sources
    ldp q20, q21, [x2]
    ldr q22, [x2, #32]
    ldr q6, [x2, #48]
    .endm

    // A reference writes without being believed: it clears the rest by SVE instructions.
    .macro write table, kind, a, b, c, d, e
    write_\kind \a, \b, \c, \d
    .ifc \table, reference
    count_registers \kind
    ptrue p7.b, vl16
    ptrue p6.b
    bic p6.b, p6/z, p6.b, p7.b
    mov z\a\().b, p6/m, #0
    .if count >= 2
    mov z\b\().b, p6/m, #0
    .endif
    .if count >= 3
    mov z\c\().b, p6/m, #0
    .endif
    .if count >= 4
    mov z\d\().b, p6/m, #0
    .endif
    .endif
    .endm

// ---- Surroundings ---------------------------------------------------------------------------------

    .macro plain_of table, surrounding, kind, registers:vararg
    case \table, \surrounding, \kind
    sources
    fill \kind, \registers
    write \table, \kind, \registers
    store \kind, \registers
    ret
    end \table, \surrounding, \kind
    .endm

    .macro plain table, kind
    plain_of \table, plain, \kind, 0, 1, 2, 3, 4
    .endm
    .macro plain_around table, kind
    plain_of \table, plain_around, \kind, 30, 31, 0, 1, 2
    .endm

    // In registers whose lower halves belong to the caller.
    .macro kept_for_caller table, kind
    case \table, kept_for_caller, \kind
    stp d8, d9, [sp, #-48]!
    .cfi_def_cfa_offset 48
    stp d10, d11, [sp, #16]
    str d12, [sp, #32]
    .cfi_offset 72, -48
    .cfi_offset 73, -40
    .cfi_offset 74, -32
    .cfi_offset 75, -24
    .cfi_offset 76, -16
    sources
    fill \kind, 8, 9, 10, 11, 12
    write \table, \kind, 8, 9, 10, 11, 12
    store \kind, 8, 9, 10, 11, 12
    ldr d12, [sp, #32]
    ldp d10, d11, [sp, #16]
    ldp d8, d9, [sp], #48
    .cfi_restore 72
    .cfi_restore 73
    .cfi_restore 74
    .cfi_restore 75
    .cfi_restore 76
    .cfi_def_cfa_offset 0
    ret
    end \table, kept_for_caller, \kind
    .endm

    // On one of two ways to one read: taken in the first run, and not taken.
    .macro branch_of table, surrounding, kind, skip
    case \table, \surrounding, \kind
    sources
    fill \kind, 16, 17, 18, 19, 23
    \skip x5, 1f
    write \table, \kind, 16, 17, 18, 19, 23
1:
    store \kind, 16, 17, 18, 19, 23
    ret
    end \table, \surrounding, \kind
    .endm

    .macro branch table, kind
    branch_of \table, branch, \kind, cbz
    .endm
    .macro branch_first_around table, kind
    branch_of \table, branch_first_around, \kind, cbnz
    .endm

    // On one of two ways, the other of which writes by an SVE instruction.
    .macro two_ways table, kind
    case \table, two_ways, \kind
    sources
    fill \kind, 0, 1, 2, 3, 4
    cbz x5, 1f
    write \table, \kind, 0, 1, 2, 3, 4
    b 2f
1:
    add z0.b, z0.b, z1.b
2:
    store \kind, 0, 1, 2, 3, 4
    ret
    end \table, two_ways, \kind
    .endm

    // A function without SVE instructions, one that it calls to fill the registers, and one whose first SVE
    // instructions come behind the write: at once, behind a branch, and behind one around the write.
    .macro first_of table, surrounding, kind, branch_before, branch_behind
    begin \table, \surrounding\()_filler, \kind
    fill \kind, 24, 25, 26, 27, 28
    ret
    end \table, \surrounding\()_filler, \kind
    begin \table, \surrounding\()_body, \kind
    .ifnb \branch_before
    \branch_before x5, 1f
    .endif
    write \table, \kind, 24, 25, 26, 27, 28
    .ifnb \branch_behind
    \branch_behind x5, 1f
    add x4, x4, #1
    .endif
1:
    store \kind, 24, 25, 26, 27, 28
    ret
    end \table, \surrounding\()_body, \kind
    case \table, \surrounding, \kind
    enter
    bl \table\()_\surrounding\()_filler_\kind
    sources
    bl \table\()_\surrounding\()_body_\kind
    leave
    ret
    end \table, \surrounding, \kind
    .endm

    .macro first table, kind
    first_of \table, first, \kind
    .endm
    .macro first_then_branch table, kind
    first_of \table, first_then_branch, \kind, , cbz
    .endm
    .macro first_on_branch table, kind
    first_of \table, first_on_branch, \kind, cbz
    .endm

    // The first value of what a loop sums up.
    .macro sum kind, a, b, c, d, e
    count_registers \kind
    mov x6, #3
    mov x7, x1
1:
    ldr z29, [x7]
    add z\a\().b, z\a\().b, z29.b
    .if count >= 2
    add z\b\().b, z\b\().b, z29.b
    .endif
    .if count >= 3
    add z\c\().b, z\c\().b, z29.b
    .endif
    .if count >= 4
    add z\d\().b, z\d\().b, z29.b
    .endif
    addvl x7, x7, #1
    subs x6, x6, #1
    b.ne 1b
    store \kind, \a, \b, \c, \d, \e
    .endm

    .macro accumulator table, kind
    case \table, accumulator, \kind
    sources
    fill \kind, 0, 1, 2, 3, 4
    write \table, \kind, 0, 1, 2, 3, 4
    sum \kind, 0, 1, 2, 3, 4
    ret
    end \table, accumulator, \kind
    .endm

    // The same where another function filled the registers, and the loop has the first SVE instruction.
    .macro accumulator_first table, kind
    begin \table, accumulator_first_filler, \kind
    fill \kind, 0, 1, 2, 3, 4
    ret
    end \table, accumulator_first_filler, \kind
    begin \table, accumulator_first_body, \kind
    write \table, \kind, 0, 1, 2, 3, 4
    sum \kind, 0, 1, 2, 3, 4
    ret
    end \table, accumulator_first_body, \kind
    case \table, accumulator_first, \kind
    enter
    bl \table\()_accumulator_first_filler_\kind
    sources
    bl \table\()_accumulator_first_body_\kind
    leave
    ret
    end \table, accumulator_first, \kind
    .endm

    // By a function without SVE instructions.
    .macro callee table, kind
    begin \table, callee_writer, \kind
    write \table, \kind, 0, 1, 2, 3, 4
    ret
    end \table, callee_writer, \kind
    case \table, callee, \kind
    enter
    sources
    fill \kind, 0, 1, 2, 3, 4
    bl \table\()_callee_writer_\kind
    store \kind, 0, 1, 2, 3, 4
    leave
    ret
    end \table, callee, \kind
    .endm

    // By one that such a function jumps to.
    .macro callees_callee table, kind
    begin \table, callees_callee_writer, \kind
    write \table, \kind, 16, 17, 18, 19, 23
    ret
    end \table, callees_callee_writer, \kind
    begin \table, callees_callee_jumper, \kind
    add x4, x4, #0
    b \table\()_callees_callee_writer_\kind
    end \table, callees_callee_jumper, \kind
    case \table, callees_callee, \kind
    enter
    sources
    fill \kind, 16, 17, 18, 19, 23
    bl \table\()_callees_callee_jumper_\kind
    store \kind, 16, 17, 18, 19, 23
    leave
    ret
    end \table, callees_callee, \kind
    .endm

    // By a function without SVE instructions, for one that it calls, or ends in.
    .macro caller_of table, surrounding, kind, is_call
    begin \table, \surrounding\()_filler, \kind
    fill \kind, 0, 1, 2, 3, 4
    ret
    end \table, \surrounding\()_filler, \kind
    begin \table, \surrounding\()_reader, \kind
    store \kind, 0, 1, 2, 3, 4
    ret
    end \table, \surrounding\()_reader, \kind
    case \table, \surrounding, \kind
    enter
    bl \table\()_\surrounding\()_filler_\kind
    sources
    .if \is_call
    write \table, \kind, 0, 1, 2, 3, 4
    bl \table\()_\surrounding\()_reader_\kind
    leave
    ret
    .else
    leave
    write \table, \kind, 0, 1, 2, 3, 4
    b \table\()_\surrounding\()_reader_\kind
    .endif
    end \table, \surrounding, \kind
    .endm

    .macro caller table, kind
    caller_of \table, caller, \kind, 1
    .endm
    .macro tail_caller table, kind
    caller_of \table, tail_caller, \kind, 0
    .endm

    // In a block that nothing but an indirect branch leads to.
    .macro indirect table, kind
    case \table, indirect, \kind
    sources
    fill \kind, 0, 1, 2, 3, 4
    adr x9, 1f
    br x9
2:
    store \kind, 0, 1, 2, 3, 4
    ret
1:
    write \table, \kind, 0, 1, 2, 3, 4
    b 2b
    end \table, indirect, \kind
    .endm

    // In one of two blocks of a jump table.
    .macro jump_table table, kind
    .pushsection .rodata
.Ljumps_\table\()_\kind:
    .byte (2f - 1f) / 4, 0
    .popsection
    case \table, jump_table, \kind
    sources
    fill \kind, 16, 17, 18, 19, 23
    adrp x9, .Ljumps_\table\()_\kind
    add x9, x9, :lo12:.Ljumps_\table\()_\kind
    ldrb w9, [x9, x5]
    adr x10, 1f
    add x9, x10, x9, lsl #2
    br x9
1:
    write \table, \kind, 16, 17, 18, 19, 23
    b 3f
2:
    add x4, x4, #1
3:
    store \kind, 16, 17, 18, 19, 23
    ret
    end \table, jump_table, \kind
    .endm

    // Behind the read in a loop, which it reaches the next time.
    .macro carried table, kind
    case \table, carried, \kind
    sources
    fill \kind, 0, 1, 2, 3, 4
    mov x6, #3
1:
    store \kind, 0, 1, 2, 3, 4
    addvl x0, x0, #5
    write \table, \kind, 0, 1, 2, 3, 4
    subs x6, x6, #1
    b.ne 1b
    ret
    end \table, carried, \kind
    .endm

    // Whole registers written by SVE instructions behind the native write stay whole.
    .macro overwritten table, kind
    case \table, overwritten, \kind
    sources
    fill \kind, 0, 1, 2, 3, 4
    cbz x5, 1f
    write \table, \kind, 0, 1, 2, 3, 4
    fill \kind, 0, 1, 2, 3, 4
1:
    store \kind, 0, 1, 2, 3, 4
    ret
    end \table, overwritten, \kind
    .endm

// ---- The cases ------------------------------------------------------------------------------------

    // Also within handlers of signals and in a second thread.
    .macro basic_surroundings each, table
    \each plain, \table
    \each branch, \table
    \each branch_first_around, \table
    \each first, \table
    \each accumulator, \table
    .endm

    .macro all_surroundings each, table
    basic_surroundings \each, \table
    .irp surrounding, plain_around, kept_for_caller, two_ways, first_then_branch, first_on_branch, accumulator_first
    \each \surrounding, \table
    .endr
    .irp surrounding, callee, callees_callee, caller, tail_caller, indirect, jump_table, carried, overwritten
    \each \surrounding, \table
    .endr
    .endm

    .macro begin_table table
    .section .data.rel.ro.\table, "aw"
    .balign 8
    .globl native_writes_\table
native_writes_\table:
    .text
    .endm
    .macro end_table table
    .section .data.rel.ro.\table, "aw"
    .globl native_writes_\table\()_end
native_writes_\table\()_end:
    .text
    .endm

    begin_table main
    all_surroundings each_kind, main
    end_table main
    begin_table handler
    basic_surroundings each_kind, handler
    end_table handler
    begin_table thread
    basic_surroundings each_kind, thread
    end_table thread
    all_surroundings each_checked_kind, reference
    begin_table checked
    all_surroundings each_checked_kind, checked
    end_table checked

// ---- What is interrupted --------------------------------------------------------------------------

// void native_writes_interrupted(uint8_t *out, const uint8_t *fill)
// Fills Z0 to Z7 and Z16 to Z31, traps, and stores them.
    .globl native_writes_interrupted
    .type native_writes_interrupted, %function
native_writes_interrupted:
    .cfi_startproc
    mov x2, x1
    .irp n, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    ldr z\n, [x2]
    add x2, x2, #1
    .endr
    brk #0
    .irp n, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    str z\n, [x0]
    addvl x0, x0, #1
    .endr
    ret
    .cfi_endproc
    .size native_writes_interrupted, . - native_writes_interrupted

// uint64_t native_writes_vector_bytes(void)
    .globl native_writes_vector_bytes
    .type native_writes_vector_bytes, %function
native_writes_vector_bytes:
    .cfi_startproc
    rdvl x0, #1
    ret
    .cfi_endproc
    .size native_writes_vector_bytes, . - native_writes_vector_bytes

    .section .note.GNU-stack, "", %progbits
