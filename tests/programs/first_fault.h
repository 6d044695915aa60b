// What the programs of first-fault and non-fault loads have in common.
//
// A processor may stop such a load earlier than it must, after the first element of a first-fault load and
// before it in a non-fault load. So the loops go on from where a load stopped, and what is printed doesn't
// depend on it. Scalar loops check it: a processor emulator is known to stop such loads where it should not.
#pragma once

#include "program.h"

// The forms of contiguous loads: suffix of the intrinsic, bytes of an element in memory, the lane's type,
// letter and bits.
#define FOR_EACH_FORM(X)                                                                           \
    X(_u8, 1, uint, u, 8)                                                                          \
    X(ub_u16, 1, uint, u, 16)                                                                      \
    X(ub_u32, 1, uint, u, 32)                                                                      \
    X(ub_u64, 1, uint, u, 64)                                                                      \
    X(sb_s16, 1, int, s, 16)                                                                       \
    X(sb_s32, 1, int, s, 32)                                                                       \
    X(sb_s64, 1, int, s, 64)                                                                       \
    X(_u16, 2, uint, u, 16)                                                                        \
    X(uh_u32, 2, uint, u, 32)                                                                      \
    X(uh_u64, 2, uint, u, 64)                                                                      \
    X(sh_s32, 2, int, s, 32)                                                                       \
    X(sh_s64, 2, int, s, 64)                                                                       \
    X(_u32, 4, uint, u, 32)                                                                        \
    X(uw_u64, 4, uint, u, 64)                                                                      \
    X(sw_s64, 4, int, s, 64)                                                                       \
    X(_u64, 8, uint, u, 64)

// Forms of gathers, one of each kind of address at least: name, element in memory, the lane's letter and
// bits, and the load, of the lanes of `pg`. It finds its elements from `table` on, by `offset`, a vector of
// signed integers, or by `at`, the same vector unsigned, which may be addresses. The name says what an
// offset means, see gather_offset().
#define SXTW svextw_s64_x(pg, offset)
#define UXTW svextw_u64_x(pg, at)
#define FOR_EACH_GATHER(X)                                                                         \
    X(d_at_d, uint64_t, u, 64, svldff1_gather_u64base_offset_u64(pg, at, 16))                      \
    X(sb_at_d, int8_t, s, 64, svldff1sb_gather_u64base_offset_s64(pg, at, 2))                      \
    X(uh_by_d, uint16_t, u, 64, svldff1uh_gather_s64offset_u64(pg, table, offset))                 \
    X(sw_index_d, int32_t, s, 64, svldff1sw_gather_s64index_s64(pg, table, offset))                \
    X(d_index_sxtw, uint64_t, u, 64, svldff1_gather_s64index_u64(pg, table, SXTW))                 \
    X(sh_by_sxtw, int16_t, s, 64, svldff1sh_gather_s64offset_s64(pg, table, SXTW))                 \
    X(uw_index_uxtw, uint32_t, u, 64, svldff1uw_gather_u64index_u64(pg, table, UXTW))              \
    X(ub_by_uxtw, uint8_t, u, 64, svldff1ub_gather_u64offset_u64(pg, table, UXTW))                 \
    X(w_at_s, uint32_t, u, 32, svldff1_gather_u32base_offset_u32(pg, at, 8))                       \
    X(sh_at_s, int16_t, s, 32, svldff1sh_gather_u32base_offset_s32(pg, at, 4))                     \
    X(ub_by_s_uxtw, uint8_t, u, 32, svldff1ub_gather_u32offset_u32(pg, table, at))                 \
    X(sb_by_s_sxtw, int8_t, s, 32, svldff1sb_gather_s32offset_s32(pg, table, offset))              \
    X(w_index_s_uxtw, uint32_t, u, 32, svldff1_gather_u32index_u32(pg, table, at))                 \
    X(uh_index_s_sxtw, uint16_t, u, 32, svldff1uh_gather_s32index_u32(pg, table, offset))

// What a gather of that name takes as `table`: unsigned offsets count from the beginning of the memory.
static inline uint8_t *gather_origin(const char *name, struct guarded memory) {
    return strstr(name, "uxtw") ? memory.begin : memory.begin + (memory.end - memory.begin) / 2;
}

// The offset by which a gather of that name finds an element of `size` bytes.
static inline int64_t gather_offset(const char *name, size_t size, const uint8_t *origin,
                                    const uint8_t *element) {
    if (strstr(name, "_at_")) // an address, to which the instruction adds two elements
        return (int64_t)((uintptr_t)element - 2 * size);
    return (element - origin) / (strstr(name, "_index_") ? (int64_t)size : 1);
}

// How many elements come before the one that is 0, and their sum.
struct found {
    uint64_t place, sum;
};

// Takes one more element as an ordinary load does; false if it is 0.
static inline int take_one(struct found *found, const uint8_t *data, size_t size, int is_signed) {
    uint64_t element = 0;
    memcpy(&element, data + found->place * size, size);
    if (element == 0)
        return 0;
    const int unused = 64 - 8 * (int)size;
    found->sum += is_signed ? (uint64_t)((int64_t)(element << unused) >> unused) : element;
    found->place++;
    return 1;
}

KERNEL struct found search_scalar(const uint8_t *data, size_t size, int is_signed) {
    struct found found = {0, 0};
    while (take_one(&found, data, size, is_signed))
        ;
    return found;
}

static inline uint32_t check(uint32_t sum, const char *what, struct found found,
                             struct found expected) {
    if (found.place != expected.place || found.sum != expected.sum) {
        fprintf(stderr, "%s: %llu elements of sum %llx, not %llu of sum %llx\n", what,
                (unsigned long long)found.place, (unsigned long long)found.sum,
                (unsigned long long)expected.place, (unsigned long long)expected.sum);
        fail("wrong result");
    }
    return checksum_value(checksum_value(sum, found.place), found.sum);
}

// Fills it with bytes that aren't 0, so that no element is 0 but where one is put.
static inline void fill_without_zeros(struct guarded buffer) {
    const size_t bytes = (size_t)(buffer.end - buffer.begin);
    fill_random(buffer.begin, bytes, 3);
    for (size_t i = 0; i < bytes; i++)
        buffer.begin[i] |= buffer.begin[i] == 0;
}
