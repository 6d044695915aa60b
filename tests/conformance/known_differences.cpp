#include "tests/conformance/known_differences.h"

#include "sve/core/bits.h"
#include "tests/conformance/memory_forms.h"

#include <bit>
#include <cstring>
#include <fnmatch.h>

namespace conformance {

using sve::bits;

// ---- Byte immediates shifted by 8 -----------------------------------------------------------------

static bool is_shifted(uint32_t word) {
    return bits(word, 13, 13);
}
static uint32_t with_immediate_0(uint32_t word) {
    return word & ~(0x1ffu << 5);
}

// ---- Logical immediates: N in bit 17, immr in 16:11, imms in 10:5 ---------------------------------

// The element of the mask has 2 bits at least, and is not all ones.
static bool is_reserved_mask(uint32_t word) {
    const unsigned n = bits(word, 17, 17), imms = bits(word, 10, 5);
    const unsigned width = std::bit_floor(n << 6 | (~imms & 0x3f));
    return width < 2 || (imms & (width - 1)) == width - 1;
}

// ---- Scalar plus scalar with register 31 as the index ---------------------------------------------

static bool has_index_31(uint32_t word) {
    return bits(word, 20, 16) == 31;
}
// A register that is not the base, and is 0.
static unsigned zero_register(uint32_t word) {
    return (bits(word, 9, 5) + 1) % 31;
}
static uint32_t with_zero_register(uint32_t word) {
    return (word & ~(0x1fu << 16)) | zero_register(word) << 16;
}
static void clear_zero_register(uint32_t word, machine_state &state) {
    state.emulated.x[zero_register(word)] = 0;
}
static uint32_t nop(uint32_t) {
    return 0xd503201f;
}

// ---- UZP1 and UZP2 of predicates ------------------------------------------------------------------

static bool always(uint32_t) {
    return true;
}

// The even or the odd elements of Pm:Pn, all bits of each.
static void unzip_predicates(const char *, uint32_t word, machine_state &state) {
    const unsigned element_bits = 1u << bits(word, 23, 22), odd = bits(word, 10, 10);
    uint8_t pair[2 * predicate_bytes], result[predicate_bytes] = {};
    memcpy(pair, state.p[bits(word, 8, 5)], predicate_bytes);
    memcpy(pair + predicate_bytes, state.p[bits(word, 19, 16)], predicate_bytes);
    for (unsigned i = 0; i < sve_vector_bytes; i++) {
        const unsigned element = 2 * (i / element_bits) + odd;
        const unsigned from = element * element_bits + i % element_bits;
        result[i / 8] |= (pair[from / 8] >> from % 8 & 1) << i % 8;
    }
    memcpy(state.p[bits(word, 3, 0)], result, predicate_bytes);
}

// ---- First-fault and non-fault loads --------------------------------------------------------------

// FFR then shows how far the processor came.
static void set_ffr(uint32_t, machine_state &state) {
    memset(state.ffr, 0xff, sizeof state.ffr);
}

// ---- The table ------------------------------------------------------------------------------------

static constexpr char refused_shift[] =
    "processors refuse a shifted byte immediate; here it is truncated to 0";
static constexpr char refused_mask[] = "processors refuse reserved masks; any result will do";
static constexpr char refused_index[] = "processors refuse index register 31; here it is offset 0";
static constexpr char refused_prefetch[] = "processors refuse index register 31; here it is no-op";
static constexpr char wrong_unzip[] =
    "the processor emulator gives wrong bits at lengths that are no power of two";

static constexpr char wrong_speculation[] = "the processor emulator loses active elements behind "
                                            "inactive ones, and stops at every page end";

static constexpr char early_stop[] =
    "processors may stop at any element behind the first active one";

static constexpr known_difference table[] = {
    {"VecU8AddVIX", is_shifted, refused_shift, with_immediate_0},
    {"VecU8SubVIX", is_shifted, refused_shift, with_immediate_0},
    {"VecU8SubRVIX", is_shifted, refused_shift, with_immediate_0},
    {"Vec[SU]8QAddVIX", is_shifted, refused_shift, with_immediate_0},
    {"Vec[SU]8QSubVIX", is_shifted, refused_shift, with_immediate_0},
    {"VecS8DupI", is_shifted, refused_shift, with_immediate_0},
    {"VecS8DupI[MZ]", is_shifted, refused_shift, with_immediate_0},
    {"VecU64AndVIX", is_reserved_mask, refused_mask},
    {"VecU64OrVIX", is_reserved_mask, refused_mask},
    {"VecU64XorVIX", is_reserved_mask, refused_mask},
    {"VecS64DupMaskI", is_reserved_mask, refused_mask},
    // All but the first-fault loads.
    {"Vec*Load[!F]*SSZ", has_index_31, refused_index, with_zero_register, nullptr, nullptr,
     clear_zero_register},
    {"Vec*Store*SSZ", has_index_31, refused_index, with_zero_register, nullptr, nullptr,
     clear_zero_register},
    {"Vec*Prefetch?LSS", has_index_31, refused_prefetch, nop},
    {"Vec*CLoad[FN]F*", always, wrong_speculation, nullptr, load_speculatively},
    {"Vec*64LoadFF*", always, early_stop, nullptr, nullptr, complete_load, set_ffr},
    {"Vec*32LoadFF*", always, early_stop, nullptr, nullptr, complete_load, set_ffr},
    {"VecP*Uzp[12]PP", always, wrong_unzip, nullptr, unzip_predicates},
};

std::vector<const known_difference *> known_differences_of(const char *handler) {
    std::vector<const known_difference *> found;
    for (const known_difference &difference : table)
        if (fnmatch(difference.rows, handler, 0) == 0)
            found.push_back(&difference);
    return found;
}

} // namespace conformance
