// Arrays of structures and structures of arrays, of two, three and four members of every width: LD2 to LD4
// and ST2 to ST4 as the compiler chooses them, and with predicates of no regular form by intrinsics.
#include "program.h"

// Splits n structures into their members, member m from to[m * n] on; and joins them again.
#define SPLIT_AND_JOIN(type, members)                                                              \
    KERNEL void split_##type##_##members(void *restrict to_, const void *restrict from_,           \
                                         size_t n) {                                               \
        type *restrict to = to_;                                                                   \
        const type *restrict from = from_;                                                         \
        for (size_t i = 0; i < n; i++)                                                             \
            for (size_t m = 0; m < members; m++)                                                   \
                to[m * n + i] = from[members * i + m];                                             \
    }                                                                                              \
    KERNEL void join_##type##_##members(void *restrict to_, const void *restrict from_,            \
                                        size_t n) {                                                \
        type *restrict to = to_;                                                                   \
        const type *restrict from = from_;                                                         \
        for (size_t i = 0; i < n; i++)                                                             \
            for (size_t m = 0; m < members; m++)                                                   \
                to[members * i + m] = (type)(from[m * n + i] + (type)(5 * m));                     \
    }
#define OF_WIDTH(type) SPLIT_AND_JOIN(type, 2) SPLIT_AND_JOIN(type, 3) SPLIT_AND_JOIN(type, 4)
OF_WIDTH(uint8_t)
OF_WIDTH(uint16_t)
OF_WIDTH(uint32_t)
OF_WIDTH(uint64_t)
#undef OF_WIDTH
#undef SPLIT_AND_JOIN

// What such loads are for: pixels to brightness, products of complex integers, a turn of RGBA to BGRA with
// the colours multiplied by alpha, points moved in space.
KERNEL void brightness(void *restrict to_, const void *restrict from_, size_t n) {
    uint8_t *restrict to = to_;
    const uint8_t *restrict rgb = from_;
    for (size_t i = 0; i < n; i++)
        to[i] = (uint8_t)((77 * rgb[3 * i] + 150 * rgb[3 * i + 1] + 29 * rgb[3 * i + 2]) >> 8);
}

KERNEL void complex_square(void *restrict to_, const void *restrict from_, size_t n) {
    int32_t *restrict to = to_;
    const uint32_t *restrict z = from_;
    for (size_t i = 0; i < n; i++) {
        to[2 * i] = (int32_t)(z[2 * i] * z[2 * i] - z[2 * i + 1] * z[2 * i + 1]);
        to[2 * i + 1] = (int32_t)(2 * z[2 * i] * z[2 * i + 1]);
    }
}

KERNEL void premultiply(void *restrict to_, const void *restrict from_, size_t n) {
    uint8_t *restrict to = to_;
    const uint8_t *restrict rgba = from_;
    for (size_t i = 0; i < n; i++) {
        const unsigned alpha = rgba[4 * i + 3];
        to[4 * i] = (uint8_t)(rgba[4 * i + 2] * alpha >> 8);
        to[4 * i + 1] = (uint8_t)(rgba[4 * i + 1] * alpha >> 8);
        to[4 * i + 2] = (uint8_t)(rgba[4 * i] * alpha >> 8);
        to[4 * i + 3] = (uint8_t)alpha;
    }
}

KERNEL void move_points(void *restrict to_, const void *restrict from_, size_t n) {
    struct point {
        int64_t x, y, z;
    };
    struct point *restrict to = to_;
    const struct point *restrict from = from_;
    for (size_t i = 0; i < n; i++)
        to[i] = (struct point){from[i].y - 3, from[i].z ^ from[i].x, from[i].x + (int64_t)i};
}

// Only the structures whose number has an odd count of one bits: others keep what was there, and are 0 in
// what was loaded.
#define SOME(name, ld, st, suffix, pred, lanes, tuple, type, members)                              \
    KERNEL void name(void *restrict to_, const void *restrict from_, size_t n) {                   \
        for (size_t i = 0; i < n; i += lanes()) {                                                  \
            const svuint8_t number = svindex_u8((uint8_t)i, 1);                                    \
            const svbool_t odd = svcmpne_n_u8(                                                     \
                svptrue_b8(), svand_n_u8_x(svptrue_b8(), svcnt_u8_x(svptrue_b8(), number), 1), 0); \
            const svbool_t pg = svand_b_z(svwhilelt_##pred##_u64(i, n), odd, odd);                 \
            const tuple loaded = ld(pg, (const type *)from_ + members * i);                        \
            st(svwhilelt_##pred##_u64(i, n), (type *)to_ + members * i, loaded);                   \
            st(pg, (type *)to_ + members * i,                                                      \
               svset##members##_##suffix(loaded, 0,                                                \
                                         svget##members##_##suffix(loaded, members - 1)));         \
        }                                                                                          \
    }
SOME(some_u8_2, svld2_u8, svst2_u8, u8, b8, svcntb, svuint8x2_t, uint8_t, 2)
SOME(some_u16_3, svld3_u16, svst3_u16, u16, b16, svcnth, svuint16x3_t, uint16_t, 3)
SOME(some_u32_4, svld4_u32, svst4_u32, u32, b32, svcntw, svuint32x4_t, uint32_t, 4)
SOME(some_u64_3, svld3_u64, svst3_u64, u64, b64, svcntd, svuint64x3_t, uint64_t, 3)
#undef SOME

static const struct {
    const char *name;
    void (*run)(void *restrict to, const void *restrict from, size_t n);
    size_t to_size, from_size; // bytes for each of n
} kernels[] = {
#define OF_WIDTH(type, size, members)                                                              \
    {"split " #members " " #type, split_##type##_##members, size * members, size * members},       \
        {"join " #members " " #type, join_##type##_##members, size * members, size * members},
#define OF_MEMBERS(members)                                                                        \
    OF_WIDTH(uint8_t, 1, members)                                                                  \
    OF_WIDTH(uint16_t, 2, members) OF_WIDTH(uint32_t, 4, members) OF_WIDTH(uint64_t, 8, members)
    OF_MEMBERS(2) OF_MEMBERS(3) OF_MEMBERS(4)
#undef OF_MEMBERS
#undef OF_WIDTH
        {"brightness", brightness, 1, 3},
    {"complex square", complex_square, 8, 8},
    {"premultiply", premultiply, 4, 4},
    {"move points", move_points, 24, 24},
    {"some of 2 uint8_t", some_u8_2, 2, 2},
    {"some of 3 uint16_t", some_u16_3, 6, 6},
    {"some of 4 uint32_t", some_u32_4, 16, 16},
    {"some of 3 uint64_t", some_u64_3, 24, 24},
};

int main(void) {
    const struct guarded from = make_guarded(8192), to = make_guarded(8192);
    fill_random(from.begin, (size_t)(from.end - from.begin), 1);
    for (size_t k = 0; k < sizeof kernels / sizeof *kernels; k++) {
        const size_t to_size = kernels[k].to_size, from_size = kernels[k].from_size;
        const size_t step = to_size <= 4 ? 5 : 1;
        const size_t most = 3 * svcntb() * 3 / (to_size + from_size) + 3;
        const size_t reach = most * to_size + 16;
        uint32_t all = 0;
        printf("%s:", kernels[k].name);
        for (size_t n = 0; n <= most; n += step) {
            memset(to.begin, 0xa5, (size_t)(to.end - to.begin));
            kernels[k].run(to.begin, from.end - n * from_size, n);
            kernels[k].run(to.end - n * to_size, from.begin, n);
            const uint32_t sum = checksum(checksum(0, to.begin, reach), to.end - reach, reach);
            all = checksum_value(all, sum);
            if (n % (most / 4) < step)
                printf(" %zu=%08x", n, sum);
        }
        printf(" all=%08x\n", all);
    }
    return 0;
}
