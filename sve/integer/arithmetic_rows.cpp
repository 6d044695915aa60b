#include "sve/core/stubs.h"
#include "sve/integer/arithmetic.h"

using namespace sve;

// clang-format off
static constexpr handler_row rows[] = {
    // ADD (vectors, unpredicated)
    {"VecU8AddVVX",  &decode_map__31_21__15_10, 0x840, direct<sve_add_zzz, Zd<B>, Zn<B>, Zm<B>>},
    {"VecU16AddVVX", &decode_map__31_21__15_10, 0x8c0, direct<sve_add_zzz, Zd<H>, Zn<H>, Zm<H>>},
    {"VecU32AddVVX", &decode_map__31_21__15_10, 0x940, direct<sve_add_zzz, Zd<S>, Zn<S>, Zm<S>>},
    {"VecU64AddVVX", &decode_map__31_21__15_10, 0x9c0, direct<sve_add_zzz, Zd<D>, Zn<D>, Zm<D>>},
    // ADD (vectors, predicated)
    {"VecU8AddVVM",  &decode_map__31_13, 0x2000, direct<sve_add_zpz, Zdn<B>, Pg<M>, Zm_9_5<B>>},
    {"VecU16AddVVM", &decode_map__31_13, 0x2200, direct<sve_add_zpz, Zdn<H>, Pg<M>, Zm_9_5<H>>},
    {"VecU32AddVVM", &decode_map__31_13, 0x2400, direct<sve_add_zpz, Zdn<S>, Pg<M>, Zm_9_5<S>>},
    {"VecU64AddVVM", &decode_map__31_13, 0x2600, direct<sve_add_zpz, Zdn<D>, Pg<M>, Zm_9_5<D>>},
    // ADD (immediate)
    {"VecU8AddVIX",  &decode_map__31_14, 0x9483, direct<sve_add_zi, Zdn<B>, UImm8Shifted>},
    {"VecU16AddVIX", &decode_map__31_14, 0x9583, direct<sve_add_zi, Zdn<H>, UImm8Shifted>},
    {"VecU32AddVIX", &decode_map__31_14, 0x9683, direct<sve_add_zi, Zdn<S>, UImm8Shifted>},
    {"VecU64AddVIX", &decode_map__31_14, 0x9783, direct<sve_add_zi, Zdn<D>, UImm8Shifted>},
};
// clang-format on

constinit const handler_rows sve::integer_arithmetic_rows = rows;
