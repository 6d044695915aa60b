// Printable names of the operand records. No path of the emulator reads them; they serve whoever
// wants to print an operand.
#include "sve/core/cpu_state.h"

#define NAMES_0_15(before, after)                                                                  \
    before "0" after, before "1" after, before "2" after, before "3" after, before "4" after,      \
        before "5" after, before "6" after, before "7" after, before "8" after, before "9" after,  \
        before "10" after, before "11" after, before "12" after, before "13" after,                \
        before "14" after, before "15" after
#define NAMES_16_30(before, after)                                                                 \
    before "16" after, before "17" after, before "18" after, before "19" after, before "20" after, \
        before "21" after, before "22" after, before "23" after, before "24" after,                \
        before "25" after, before "26" after, before "27" after, before "28" after,                \
        before "29" after, before "30" after

#define GENERAL_NAMES(letter, last)                                                                \
    { NAMES_0_15(letter, ""), NAMES_16_30(letter, ""), last }
const char *const aarch64_i_reg::wname[32] = GENERAL_NAMES("w", "wzr");
const char *const aarch64_i_reg::xname[32] = GENERAL_NAMES("x", "xzr");
const char *const aarch64_i_rsp_reg::wname[32] = GENERAL_NAMES("w", "illegal");
const char *const aarch64_i_rsp_reg::xname[32] = GENERAL_NAMES("x", "sp");

#define PREDICATE_NAMES(after)                                                                     \
    { NAMES_0_15("p", after) }
const char *const aarch64_p_reg::pname[16] = PREDICATE_NAMES("");
const char *const aarch64_p_reg::pname_m[16] = PREDICATE_NAMES("/m");
const char *const aarch64_p_reg::pname_z[16] = PREDICATE_NAMES("/z");
const char *const aarch64_p_reg::pname_b[16] = PREDICATE_NAMES(".b");
const char *const aarch64_p_reg::pname_h[16] = PREDICATE_NAMES(".h");
const char *const aarch64_p_reg::pname_s[16] = PREDICATE_NAMES(".s");
const char *const aarch64_p_reg::pname_d[16] = PREDICATE_NAMES(".d");

#define VECTOR_NAMES(after)                                                                        \
    { NAMES_0_15("z", after), NAMES_16_30("z", after), "z31" after }
const char *const aarch64_z_reg::zname[32] = VECTOR_NAMES("");
const char *const aarch64_z_reg::zname_b[32] = VECTOR_NAMES(".b");
const char *const aarch64_z_reg::zname_h[32] = VECTOR_NAMES(".h");
const char *const aarch64_z_reg::zname_s[32] = VECTOR_NAMES(".s");
const char *const aarch64_z_reg::zname_d[32] = VECTOR_NAMES(".d");
