#include "sve/core/lanes.h"
#include "sve/permute/kernels.h"
#include "sve/permute/reorder.h"
#include "sve/permute/shuffles.h"

using namespace sve;

#define BY_KERNEL(name)                                                                            \
    SVE_ROUTINE sve_##name##_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,             \
                                 aarch64_z_reg zm) {                                               \
        char result[sve_vector_bytes];                                                             \
        sve_##name(result, reinterpret_cast<char *>(state->z[zn.num]),                             \
                   reinterpret_cast<char *>(state->z[zm.num]),                                     \
                   static_cast<element_size>(zd.size));                                            \
        std::memcpy(state->z[zd.num], result, sve_vector_bytes);                                   \
        return AARCH64_DECODE_OK;                                                                  \
    }
BY_KERNEL(zip1)
BY_KERNEL(zip2)
BY_KERNEL(uzp1)

SVE_ROUTINE sve_uzp2_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        write_row<T>(state->z[zd.num], [&](unsigned i) {
            return unzip<T, 1>(state->z[zn.num], state->z[zm.num], i);
        });
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_trn2_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    return binary_zzz(state, zd, zn, zm, []<class Chunk>(Chunk n, Chunk m) {
        using T = std::remove_cvref_t<decltype(n[0])>;
        return shuffle<T>(
            n, m, [](unsigned lane) { return lane % 2 ? chunk_lanes<T> + lane : lane + 1; });
    });
}

SVE_ROUTINE sve_tbl_zzz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        constexpr unsigned count = sve_vector_bytes / sizeof(T);
        // Every index behind the vector finds the 0 at the table's end: no branch.
        T table[count + 1], elements[count];
        std::memcpy(table, state->z[zn.num], sve_vector_bytes);
        table[count] = 0;
        std::memcpy(elements, state->z[zm.num], sve_vector_bytes);
        for (T &element : elements)
            element = table[element < count ? static_cast<unsigned>(element) : count];
        std::memcpy(state->z[zd.num], elements, sve_vector_bytes);
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_rev_zz(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn) {
    with_lanes(unsigned_lanes{}, zd.size, [&]<class T>() {
        write_row<T>(state->z[zd.num], [&](unsigned i) {
            const chunk<T> mirrored = load_chunk<T>(state->z[zn.num], sve_chunks - 1 - i);
            return shuffle<T>(mirrored, mirrored,
                              [](unsigned lane) { return chunk_lanes<T> - 1 - lane; });
        });
    });
    return AARCH64_DECODE_OK;
}

SVE_ROUTINE sve_ext_zzi(cpu_state *state, aarch64_z_reg zdn, aarch64_z_reg zm,
                        unsigned int offset) {
    uint8_t both[2 * sve_vector_bytes];
    std::memcpy(both, state->z[zdn.num], sve_vector_bytes);
    std::memcpy(both + sve_vector_bytes, state->z[zm.num], sve_vector_bytes);
    std::memcpy(state->z[zdn.num], both + (offset < sve_vector_bytes ? offset : 0),
                sve_vector_bytes);
    return AARCH64_DECODE_OK;
}

// Each chunk widens half a chunk of Zn, from byte `from` on.
template <class Wide, class Narrow>
static aarch64_decode_rc unpack(cpu_state *state, aarch64_z_reg zd, aarch64_z_reg zn,
                                unsigned from) {
    using half_chunk [[gnu::vector_size(sve_chunk_bytes / 2)]] = Narrow;
    write_row<Wide>(state->z[zd.num], [&](unsigned i) {
        half_chunk narrow;
        std::memcpy(&narrow, state->z[zn.num] + from + i * sizeof narrow, sizeof narrow);
        return __builtin_convertvector(narrow, chunk<Wide>);
    });
    return AARCH64_DECODE_OK;
}

#define UNPACK(prefix, sizes, Wide, Narrow)                                                        \
    SVE_ROUTINE sve_##prefix##lo_##sizes##_zz(cpu_state *state, aarch64_z_reg zd,                  \
                                              aarch64_z_reg zn) {                                  \
        return unpack<Wide, Narrow>(state, zd, zn, 0);                                             \
    }                                                                                              \
    SVE_ROUTINE sve_##prefix##hi_##sizes##_zz(cpu_state *state, aarch64_z_reg zd,                  \
                                              aarch64_z_reg zn) {                                  \
        return unpack<Wide, Narrow>(state, zd, zn, sve_vector_bytes / 2);                          \
    }
UNPACK(uunpk, b2h, uint16_t, uint8_t)
UNPACK(uunpk, h2s, uint32_t, uint16_t)
UNPACK(uunpk, s2d, uint64_t, uint32_t)
UNPACK(sunpk, s2d, int64_t, int32_t)
