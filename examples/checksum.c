// Fletcher's checksum of a file in four columns: column c takes every fourth byte, and its sums are
// a = sum of the bytes, b = sum of all values that a went through. The two additions of the hot
// loop are SVE instructions; the loads are Advanced SIMD, which shares the low 128 bits of its
// registers with SVE.
//
//     checksum FILE
#include <arm_neon.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

// SVE ADD (vectors, unpredicated) on the 128 bits that Advanced SIMD sees. The compiler has no name
// for the Z register around a V register, so both are given places.
static inline uint32x4_t sve_add(uint32x4_t a, uint32x4_t b) {
    register uint32x4_t z0 __asm__("v0") = a;
    register uint32x4_t z1 __asm__("v1") = b;
    __asm__(".arch_extension sve\n\tadd z0.s, z0.s, z1.s" : "+w"(z0) : "w"(z1));
    return z0;
}

struct sums {
    uint32_t a[4], b[4];
};

static void add_vectors(struct sums *sums, const uint8_t *bytes, size_t groups) {
    uint32x4_t a = vld1q_u32(sums->a), b = vld1q_u32(sums->b);
    for (size_t i = 0; i < groups; i++) {
        uint32_t group;
        memcpy(&group, bytes + 4 * i, sizeof group);
        const uint16x8_t wide = vmovl_u8(vreinterpret_u8_u32(vdup_n_u32(group)));
        a = sve_add(a, vmovl_u16(vget_low_u16(wide)));
        b = sve_add(b, a);
    }
    vst1q_u32(sums->a, a);
    vst1q_u32(sums->b, b);
}

static void add_scalars(struct sums *sums, const uint8_t *bytes, size_t groups) {
    for (size_t i = 0; i < 4 * groups; i++) {
        sums->a[i % 4] += bytes[i];
        sums->b[i % 4] += sums->a[i % 4];
    }
}

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: checksum FILE\n");
        return 2;
    }
    FILE *file = fopen(argv[1], "rb");
    if (!file) {
        perror(argv[1]);
        return 1;
    }
    struct sums sums = {{0}, {0}}, expected = {{0}, {0}};
    uint8_t buffer[4096];
    size_t bytes = 0, got;
    while ((got = fread(buffer, 1, sizeof buffer, file)) > 0) {
        memset(buffer + got, 0, (4 - got % 4) % 4); // the last group is filled up with zeros
        add_vectors(&sums, buffer, (got + 3) / 4);
        add_scalars(&expected, buffer, (got + 3) / 4);
        bytes += got;
    }
    fclose(file);

    printf("%zu bytes:", bytes);
    for (int column = 0; column < 4; column++)
        printf(" %08x.%08x", sums.a[column], sums.b[column]);
    printf("\n");
    if (memcmp(&sums, &expected, sizeof sums) != 0) {
        printf("scalar arithmetic gives another result\n");
        return 1;
    }
    return 0;
}
