// Copies as the compiler vectorises them: the same width, wider, narrower, reversed, strided, in place, and
// filled; from sizes of 0 to beyond three vectors, from each place of a buffer between guard pages.
#include "program.h"

// Elements need no alignment: what is declared here may lie at any address.
typedef uint8_t __attribute__((aligned(1))) u8;
typedef uint16_t __attribute__((aligned(1))) u16;
typedef uint32_t __attribute__((aligned(1))) u32;
typedef uint64_t __attribute__((aligned(1))) u64;
typedef int8_t __attribute__((aligned(1))) s8;
typedef int16_t __attribute__((aligned(1))) s16;
typedef int32_t __attribute__((aligned(1))) s32;
typedef int64_t __attribute__((aligned(1))) s64;

#define COPY(name, to_type, from_type, element)                                                    \
    KERNEL void name(void *restrict to_, const void *restrict from_, size_t n) {                   \
        to_type *restrict to = to_;                                                                \
        const from_type *restrict from = from_;                                                    \
        for (size_t i = 0; i < n; i++)                                                             \
            to[i] = (to_type)(element);                                                            \
    }

COPY(copy_u8, u8, u8, from[i])
COPY(copy_u16, u16, u16, from[i])
COPY(copy_u32, u32, u32, from[i])
COPY(copy_u64, u64, u64, from[i])
COPY(widen_u8_u16, u16, u8, from[i])
COPY(widen_u8_u32, u32, u8, from[i])
COPY(widen_u8_u64, u64, u8, from[i])
COPY(widen_u16_u32, u32, u16, from[i])
COPY(widen_u16_u64, u64, u16, from[i])
COPY(widen_u32_u64, u64, u32, from[i])
COPY(widen_s8_s16, s16, s8, from[i])
COPY(widen_s8_s32, s32, s8, from[i])
COPY(widen_s8_s64, s64, s8, from[i])
COPY(widen_s16_s32, s32, s16, from[i])
COPY(widen_s16_s64, s64, s16, from[i])
COPY(widen_s32_s64, s64, s32, from[i])
COPY(narrow_u64_u8, u8, u64, from[i] >> 5)
COPY(narrow_u64_u32, u32, u64, from[i] >> 7)
COPY(narrow_u32_u16, u16, u32, from[i] >> 3)
COPY(narrow_u32_u8, u8, u32, from[i] >> 9)
COPY(narrow_u16_u8, u8, u16, from[i] >> 2)
COPY(reverse_u8, u8, u8, from[n - 1 - i])
COPY(reverse_u16, u16, u16, from[n - 1 - i])
COPY(reverse_u64, u64, u64, from[n - 1 - i])
COPY(swap_bytes_u32, u32, u32, __builtin_bswap32(from[i]))
COPY(index_u32, u32, u8, from[i] + 3 * i)
COPY(odd_ones_u16, u16, u16, from[i] & 1 ? from[i] : to[i])
COPY(fill_u32, u32, u32, *from)

// In place: every element but the last becomes the next one.
KERNEL void move_down_u16(void *to_, const void *from_, size_t n) {
    u16 *to = to_;
    copy_u16(to_, from_, n);
    for (size_t i = 0; i + 1 < n; i++)
        to[i] = to[i + 1];
}

// The forms that the compiler leaves to its user: non-temporal, replicated quadwords, prefetches.
KERNEL void stream_u32(void *to, const void *from, size_t n) {
    for (size_t i = 0; i < n; i += svcntw()) {
        const svbool_t pg = svwhilelt_b32_u64(i, n);
        svprfw(pg, (const uint32_t *)from + i + 1024, SV_PLDL1STRM);
        svstnt1_u32(pg, (uint32_t *)to + i, svldnt1_u32(pg, (const uint32_t *)from + i));
    }
}

KERNEL void xor_quadword_u8(void *to, const void *from, size_t n) {
    if (n < 16)
        return;
    const svuint8_t key = svld1rq_u8(svptrue_b8(), (const uint8_t *)from + n - 16);
    for (size_t i = 0; i < n; i += svcntb()) {
        const svbool_t pg = svwhilelt_b8_u64(i, n);
        const svuint8_t bytes = svld1_u8(pg, (const uint8_t *)from + i);
        svst1_u8(pg, (uint8_t *)to + i, sveor_u8_x(pg, bytes, key));
    }
}

static const struct {
    const char *name;
    void (*run)(void *restrict to, const void *restrict from, size_t n);
    size_t to_size, from_size;
} kernels[] = {
    {"copy u8", copy_u8, 1, 1},
    {"copy u16", copy_u16, 2, 2},
    {"copy u32", copy_u32, 4, 4},
    {"copy u64", copy_u64, 8, 8},
    {"widen u8 to u16", widen_u8_u16, 2, 1},
    {"widen u8 to u32", widen_u8_u32, 4, 1},
    {"widen u8 to u64", widen_u8_u64, 8, 1},
    {"widen u16 to u32", widen_u16_u32, 4, 2},
    {"widen u16 to u64", widen_u16_u64, 8, 2},
    {"widen u32 to u64", widen_u32_u64, 8, 4},
    {"widen s8 to s16", widen_s8_s16, 2, 1},
    {"widen s8 to s32", widen_s8_s32, 4, 1},
    {"widen s8 to s64", widen_s8_s64, 8, 1},
    {"widen s16 to s32", widen_s16_s32, 4, 2},
    {"widen s16 to s64", widen_s16_s64, 8, 2},
    {"widen s32 to s64", widen_s32_s64, 8, 4},
    {"narrow u64 to u8", narrow_u64_u8, 1, 8},
    {"narrow u64 to u32", narrow_u64_u32, 4, 8},
    {"narrow u32 to u16", narrow_u32_u16, 2, 4},
    {"narrow u32 to u8", narrow_u32_u8, 1, 4},
    {"narrow u16 to u8", narrow_u16_u8, 1, 2},
    {"reverse u8", reverse_u8, 1, 1},
    {"reverse u16", reverse_u16, 2, 2},
    {"reverse u64", reverse_u64, 8, 8},
    {"swap bytes u32", swap_bytes_u32, 4, 4},
    {"index u32", index_u32, 4, 1},
    {"odd ones u16", odd_ones_u16, 2, 2},
    {"fill u32", fill_u32, 4, 4},
    {"move down u16", move_down_u16, 2, 2},
    {"stream u32", stream_u32, 4, 4},
    {"xor quadword u8", xor_quadword_u8, 1, 1},
};

int main(void) {
    const struct guarded from = make_guarded(4096), to = make_guarded(4096);
    fill_random(from.begin, (size_t)(from.end - from.begin), 1);
    for (size_t k = 0; k < sizeof kernels / sizeof *kernels; k++) {
        const size_t widest =
            kernels[k].to_size > kernels[k].from_size ? kernels[k].to_size : kernels[k].from_size;
        const size_t step = widest == 1 ? 3 : 1, most = 3 * svcntb() / widest + 3;
        uint32_t all = 0;
        printf("%s:", kernels[k].name);
        for (size_t n = 0; n <= most; n += step) {
            uint32_t sum = 0;
            for (int at = 0; at < places; at++) {
                const size_t to_bytes = n * kernels[k].to_size;
                memset(to.begin, 0xa5, (size_t)(to.end - to.begin));
                kernels[k].run(place(to, to_bytes, places - 1 - at),
                               place(from, n * kernels[k].from_size, at), n);
                sum = checksum(sum, to.begin, 1024);
                sum = checksum(sum, to.end - 1024, 1024);
            }
            all = checksum_value(all, sum);
            if (n % (most / 5) == 0)
                printf(" %zu=%08x", n, sum);
        }
        printf(" all=%08x\n", all);
    }
    return 0;
}
