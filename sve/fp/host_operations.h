#pragma once

// The host's floating-point instructions on the lanes of a chunk, single or double, under the host's FPCR; their
// flags go to the host's FPSR. On other hosts than AArch64 the floating-point library computes, with the words
// of core/host_fp.h.
//
// The assembly is volatile so that the compiler moves none across a change of FPCR or a look at FPSR, and
// leaves none out whose flags count.

#include "sve/core/chunk.h"
#include "sve/core/host_fp.h"
#include "sve/fp/fp_elements.h"

#include <cstdint>
#include <type_traits>

namespace sve {

#if defined(__aarch64__)

#define UNARY(name, instruction, T, arrangement, ...)                                              \
    inline chunk<T> name(chunk<T> a) {                                                             \
        chunk<T> result;                                                                           \
        asm volatile(instruction " %0." arrangement ", %1." arrangement : "=w"(result) : "w"(a));  \
        return result;                                                                             \
    }
#define BINARY(name, instruction, T, arrangement, ...)                                             \
    inline chunk<T> name(chunk<T> a, chunk<T> b) {                                                 \
        chunk<T> result;                                                                           \
        asm volatile(instruction " %0." arrangement ", %1." arrangement ", %2." arrangement        \
                     : "=w"(result)                                                                \
                     : "w"(a), "w"(b));                                                            \
        return result;                                                                             \
    }
#define TERNARY(name, instruction, T, arrangement, ...)                                            \
    inline chunk<T> name(chunk<T> a, chunk<T> b, chunk<T> c) {                                     \
        asm volatile(instruction " %0." arrangement ", %1." arrangement ", %2." arrangement        \
                     : "+w"(a)                                                                     \
                     : "w"(b), "w"(c));                                                            \
        return a;                                                                                  \
    }

#else

// Each lane of the result is f(lane number, control word).
template <class T, class F>
chunk<T> host_lanes(F &&f) {
    FPSCR fpscr{read_host_fpcr()};
    chunk<T> result;
    for (unsigned i = 0; i < sizeof result / sizeof(T); i++)
        result[i] = f(i, fpscr);
    write_host_fpsr(read_host_fpsr() | (fpscr.word & fpsr_mask));
    return result;
}

#define UNARY(name, instruction, T, arrangement, ...)                                              \
    inline chunk<T> name(chunk<T> va) {                                                            \
        return host_lanes<T>([&](unsigned i, FPSCR &fpscr) -> T {                                  \
            T a = va[i];                                                                           \
            return __VA_ARGS__;                                                                    \
        });                                                                                        \
    }
#define BINARY(name, instruction, T, arrangement, ...)                                             \
    inline chunk<T> name(chunk<T> va, chunk<T> vb) {                                               \
        return host_lanes<T>([&](unsigned i, FPSCR &fpscr) -> T {                                  \
            T a = va[i], b = vb[i];                                                                \
            return __VA_ARGS__;                                                                    \
        });                                                                                        \
    }
#define TERNARY(name, instruction, T, arrangement, ...)                                            \
    inline chunk<T> name(chunk<T> va, chunk<T> vb, chunk<T> vc) {                                  \
        return host_lanes<T>([&](unsigned i, FPSCR &fpscr) -> T {                                  \
            T a = va[i], b = vb[i], c = vc[i];                                                     \
            return __VA_ARGS__;                                                                    \
        });                                                                                        \
    }

#endif

// The name, the instruction, and what it computes on the lanes a, b and c.
#define OPERATION(SHAPE, name, instruction, ...)                                                   \
    SHAPE(name, instruction, uint32_t, "4s", __VA_ARGS__)                                          \
    SHAPE(name, instruction, uint64_t, "2d", __VA_ARGS__)

OPERATION(BINARY, host_fadd, "fadd", FPAdd(a, b, fpscr))
OPERATION(BINARY, host_fsub, "fsub", FPSub(a, b, fpscr))
OPERATION(BINARY, host_fmul, "fmul", FPMul(a, b, fpscr))
OPERATION(BINARY, host_fdiv, "fdiv", FPDiv(a, b, fpscr))
OPERATION(BINARY, host_fmax, "fmax", FPMax(a, b, fpscr))
OPERATION(BINARY, host_fmaxnm, "fmaxnm", FPMaxNum(a, b, fpscr))
OPERATION(BINARY, host_fminnm, "fminnm", FPMinNum(a, b, fpscr))
OPERATION(BINARY, host_frecps, "frecps", FPRecipStepFused(a, b, fpscr))
OPERATION(UNARY, host_frecpe, "frecpe", FPRecipEstimate(a, fpscr))
OPERATION(UNARY, host_fsqrt, "fsqrt", FPSqrt(a, fpscr))
OPERATION(UNARY, host_frinta, "frinta", FPRoundInt(a, FPRounding_TIEAWAY, false, fpscr))
// a + b · c with one rounding
OPERATION(TERNARY, host_fmla, "fmla", FPMulAdd(a, b, c, fpscr))
// All ones where the relation holds. Equality is invalid for signalling NaNs only, the others for all.
OPERATION(BINARY, host_fcmeq, "fcmeq", static_cast<decltype(a)>(-FPCompareEQ(a, b, fpscr)))
OPERATION(BINARY, host_fcmge, "fcmge", static_cast<decltype(a)>(-FPCompareGE(a, b, fpscr)))
OPERATION(BINARY, host_fcmgt, "fcmgt", static_cast<decltype(a)>(-FPCompareGT(a, b, fpscr)))
// From integers in the current rounding mode.
OPERATION(UNARY, host_scvtf, "scvtf",
          fplibFixedToFP<decltype(a)>(
              static_cast<uint64_t>(static_cast<std::make_signed_t<decltype(a)>>(a)), 0, false,
              FPRoundingMode(fpscr), fpscr))
OPERATION(UNARY, host_ucvtf, "ucvtf",
          fplibFixedToFP<decltype(a)>(a, 0, true, FPRoundingMode(fpscr), fpscr))

#undef UNARY
#undef BINARY
#undef TERNARY
#undef OPERATION

// A single from an integer of 64 bits.
inline uint32_t host_scvtf_d2s(uint64_t integer) {
#if defined(__aarch64__)
    uint32_t result;
    asm volatile("scvtf %s0, %x1" : "=w"(result) : "r"(integer));
    return result;
#else
    return host_lanes<uint32_t>([=](unsigned, FPSCR &fpscr) {
        return fplibFixedToFP<uint32_t>(integer, 0, false, FPRoundingMode(fpscr), fpscr);
    })[0];
#endif
}

} // namespace sve
