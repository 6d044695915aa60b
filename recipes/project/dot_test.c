// A dot product by SVE, compared with a plain one for every length up to some vectors' worth.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>

enum { LONGEST = 200 };

static int32_t dot(const int32_t *a, const int32_t *b, int32_t count) {
    svint32_t sums = svdup_s32(0);
    for (int32_t i = 0; i < count; i += (int32_t)svcntw()) {
        const svbool_t active = svwhilelt_b32(i, count);
        sums = svmla_m(active, sums, svld1(active, a + i), svld1(active, b + i));
    }
    return (int32_t)svaddv(svptrue_b32(), sums);
}

int main(void) {
    int32_t a[LONGEST], b[LONGEST], expected = 0;
    for (int32_t count = 0; count < LONGEST; count++) {
        if (dot(a, b, count) != expected) {
            printf("%d elements: %d instead of %d\n", count, dot(a, b, count), expected);
            return 1;
        }
        a[count] = 3 * count - 50;
        b[count] = 7 - count;
        expected += a[count] * b[count];
    }
    printf("right with vectors of %d bits\n", (int)(8 * svcntb()));
    return 0;
}
