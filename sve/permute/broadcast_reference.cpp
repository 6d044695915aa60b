#include "sve/permute/broadcast.h"

using namespace sve;

// What is broadcast or chosen goes to its element as it is.
static constexpr auto same = [](auto value) { return value; };

// The same where the predicate is true; 0 elsewhere.
template <class T, class Operand>
static VecT zero_inactive(const CpuContext *context, const PredV &pg, const Operand &operand) {
    return merge_blocks<T>(context, VecT{}, pg, same, operand);
}

#define DUP(type, T, shape)                                                                        \
    VecT Vec##type##Dup##shape(T value, CpuContext *context) {                                     \
        return unpredicated<T>(context, same, value);                                              \
    }
#define DUP_INDEXED(type, T)                                                                       \
    VecT Vec##type##ExtDupVI(VecT n, unsigned index, CpuContext *context) {                        \
        return unpredicated<T>(context, same,                                                      \
                               index < element_count<T>(context) ? n.get<T>(index) : T{0});        \
    }
#define CPY(type, T, shape)                                                                        \
    VecT Vec##type##Dup##shape(VecT d, PredV pg, T value, CpuContext *context) {                   \
        return merge_blocks<T>(context, d, pg, same, value);                                       \
    }
#define CPY_Z(type, T)                                                                             \
    VecT Vec##type##DupIZ(PredV pg, T value, CpuContext *context) {                                \
        return zero_inactive<T>(context, pg, value);                                               \
    }
#define SELECT(type, T)                                                                            \
    VecT Vec##type##SelVV(PredV pg, VecT n, VecT m, CpuContext *context) {                         \
        return merge_blocks<T>(context, m, pg, same, n);                                           \
    }                                                                                              \
    VecT Vec##type##MovePrefix1VM(VecT d, PredV pg, VecT n, CpuContext *context) {                 \
        return merge_blocks<T>(context, d, pg, same, n);                                           \
    }                                                                                              \
    VecT Vec##type##MovePrefix1VZ(PredV pg, VecT n, CpuContext *context) {                         \
        return zero_inactive<T>(context, pg, n);                                                   \
    }

#define SIGNED(S, T) DUP(S, T, I) CPY(S, T, IM) CPY_Z(S, T)
#define UNSIGNED(U, T) DUP(U, T, S) DUP_INDEXED(U, T) CPY(U, T, SM) SELECT(U, T)
#define FLOATING(F, T) DUP(F, T, I) CPY(F, T, IM)
#define SCALAR(V, T) CPY(V, T, SM)
SVE_SIGNED_TYPES(SIGNED)
SVE_UNSIGNED_TYPES(UNSIGNED)
FLOATING(F16, uint16_t)
FLOATING(F32, uint32_t)
FLOATING(D64, uint64_t)
SVE_V_SCALAR_TYPES(SCALAR)
using uint128 = unsigned __int128;
DUP_INDEXED(U128, uint128)

VecT VecS64DupMaskI(uint64_t mask, CpuContext *context) {
    return unpredicated<uint64_t>(context, same, mask);
}

VecT VecU32SpecialMoveV(VecT n, CpuContext *) {
    return n;
}
