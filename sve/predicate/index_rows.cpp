#include "sve/core/families.h"
#include "sve/core/stubs.h"
#include "sve/predicate/index.h"
#include "sve/predicate/index_native.h"

using namespace sve;

namespace {

// A scalar of 64 bits, to Xd or SP.
struct to_x_or_sp {
    static void write(cpu_state *state, uint32_t word, uint64_t result) {
        write_reg(state, RdSp<X>::read(word), result);
    }
};

// The view of a scalar that elements of a size are made of.
template <unsigned size>
constexpr unsigned view_of = size == D ? X : W;

} // namespace

// A row of each shape: element type and operation of the handler, its key, the size code, its direct
// routine.

// Zd = base + element number · step, each of them an immediate (I) or a scalar (S)
#define SEQUENCE(name, key, size, routine, native, Base, Step)                                     \
    row_to<routine, name, to_z, Zd<size>, Base, Step>(#name, &decode_map__31_21__15_10, key,       \
                                                      by<native>)
using BaseImm = SImm<9, 5>;
using StepImm = SImm<20, 16>;
#define II(type, op, key, size, routine, native)                                                   \
    SEQUENCE(Vec##type##op##II, key, size, routine, native, BaseImm, StepImm)
#define IS(type, op, key, size, routine, native)                                                   \
    SEQUENCE(Vec##type##op##IS, key, size, routine, native, BaseImm, Rm<view_of<size>>)
#define SI(type, op, key, size, routine, native)                                                   \
    SEQUENCE(Vec##type##op##SI, key, size, routine, native, Rn<view_of<size>>, StepImm)
#define SS(type, op, key, size, routine, native)                                                   \
    SEQUENCE(Vec##type##op##SS, key, size, routine, native, Rn<view_of<size>>, Rm<view_of<size>>)
// Rd = Rn + imm vectors or predicates; Xd = imm vectors
using Imm6 = SImm<10, 5>;
#define ADD_LENGTH(type, op, key, size, routine, native)                                           \
    row_to<routine, Vec##type##op##X, to_x_or_sp, RdSp<size>, RmSp<size>, Imm6>(                   \
        "Vec" #type #op "X", &decode_map__31_21__15_11, key, by<native>)
#define READ_LENGTH(type, op, key, size, routine, native)                                          \
    row_to<routine, Vec##type##op##X, to_x, Rd<size>, Imm6>("Vec" #type #op "X",                   \
                                                            &decode_map__31_11, key, by<native>)

// clang-format off
static constexpr handler_row rows[] = {
    // INDEX (immediates)
    II(S8, Index, 0x850, B, sve_index_zii, native_index_zii),
    II(S16, Index, 0x8d0, H, sve_index_zii, native_index_zii),
    II(S32, Index, 0x950, S, sve_index_zii, native_index_zii),
    II(S64, Index, 0x9d0, D, sve_index_zii, native_index_zii),
    // INDEX (immediate, scalar)
    IS(S8, Index, 0x852, B, sve_index_zir, native_index_zir),
    IS(S16, Index, 0x8d2, H, sve_index_zir, native_index_zir),
    IS(S32, Index, 0x952, S, sve_index_zir, native_index_zir),
    IS(S64, Index, 0x9d2, D, sve_index_zir, native_index_zir),
    // INDEX (scalar, immediate)
    SI(S8, Index, 0x851, B, sve_index_zri, native_index_zri),
    SI(S16, Index, 0x8d1, H, sve_index_zri, native_index_zri),
    SI(S32, Index, 0x951, S, sve_index_zri, native_index_zri),
    SI(S64, Index, 0x9d1, D, sve_index_zri, native_index_zri),
    // INDEX (scalars)
    SS(S8, Index, 0x853, B, sve_index_zrr, native_index_zrr),
    SS(S16, Index, 0x8d3, H, sve_index_zrr, native_index_zrr),
    SS(S32, Index, 0x953, S, sve_index_zrr, native_index_zrr),
    SS(S64, Index, 0x9d3, D, sve_index_zrr, native_index_zrr),
    // ADDVL, ADDPL
    ADD_LENGTH(S64, AddVL, 0x42a, X, sve_addvl_rri, native_addvl_rri),
    ADD_LENGTH(S64, AddPL, 0x46a, X, sve_addpl_rri, native_addpl_rri),
    // RDVL
    READ_LENGTH(S64, VL, 0x97ea, X, sve_rdvl_ri, native_rdvl_ri),
};
// clang-format on

constinit const handler_rows sve::index_rows = rows;
