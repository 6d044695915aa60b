// Sine and cosine by FTSMUL, FTMAD and FTSSEL: the quadrant of an angle chooses the polynomial of the sine or
// of the cosine and the sign in each lane.
#include "floats.h"

// Quarter turns: 2/pi, and pi/2 as the sum of three numbers of the format.
static const double per_quarter = 0.6366197723675814;
static const struct {
    double high, middle, low;
} quarter_f16 = {0x1.92p+0, 0x1.fb4p-12, 0},
  quarter_f32 = {0x1.921fb4p+0, 0x1.4442d0p-24, 0x1.84698ap-48},
  quarter_f64 = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, 0};

#define FORMAT(type, suffix, bits)                                                                 \
    KERNEL void wave_##suffix(type *to, const type *angles, size_t n, int64_t quarters) {          \
        for (size_t i = 0; i < n; i += svcntb() * 8 / bits) {                                      \
            const svbool_t pg = svwhilelt_b##bits##_u64(i, n);                                     \
            const svfloat##bits##_t angle = svld1_##suffix(pg, (const void *)(angles + i));        \
            const svfloat##bits##_t turns =                                                        \
                svrintn_##suffix##_x(pg, svmul_n_##suffix##_x(pg, angle, per_quarter));            \
            svfloat##bits##_t rest =                                                               \
                svmls_n_##suffix##_x(pg, angle, turns, quarter_##suffix.high);                     \
            rest = svmls_n_##suffix##_x(pg, rest, turns, quarter_##suffix.middle);                 \
            rest = svmls_n_##suffix##_x(pg, rest, turns, quarter_##suffix.low);                    \
            const svint##bits##_t signed_quadrant =                                                \
                svadd_n_s##bits##_x(pg, svcvt_s##bits##_##suffix##_x(pg, turns), quarters);        \
            const svuint##bits##_t quadrant = svreinterpret_u##bits##_s##bits(signed_quadrant);    \
            const svfloat##bits##_t square = svtsmul_##suffix(rest, quadrant);                     \
            svfloat##bits##_t wave = svdup_n_##suffix(0);                                          \
            wave = svtmad_##suffix(wave, square, 7);                                               \
            wave = svtmad_##suffix(wave, square, 6);                                               \
            wave = svtmad_##suffix(wave, square, 5);                                               \
            wave = svtmad_##suffix(wave, square, 4);                                               \
            wave = svtmad_##suffix(wave, square, 3);                                               \
            wave = svtmad_##suffix(wave, square, 2);                                               \
            wave = svtmad_##suffix(wave, square, 1);                                               \
            wave = svtmad_##suffix(wave, square, 0);                                               \
            wave = svmul_##suffix##_x(pg, wave, svtssel_##suffix(rest, quadrant));                 \
            svst1_##suffix(pg, (void *)(to + i), wave);                                            \
        }                                                                                          \
    }                                                                                              \
    static void run_##suffix(double limit, size_t n, double tolerance) {                           \
        type *const angles = (type *)make_guarded(n * sizeof(type)).end - n;                       \
        type *const waves = (type *)make_guarded(n * sizeof(type)).end - n;                        \
        fill_##suffix(angles, n, limit, n);                                                        \
        for (int quarters = 0; quarters < 2; quarters++) {                                         \
            wave_##suffix(waves, angles, n, quarters);                                             \
            for (size_t i = 0; i < n; i++) {                                                       \
                const double angle = (double)angles[i], wave = quarters ? cos(angle) : sin(angle); \
                if (fabs((double)waves[i] - wave) > tolerance)                                     \
                    fail("that is no sine");                                                       \
            }                                                                                      \
            print_##suffix(quarters ? "cosines" : "sines", waves, n);                              \
        }                                                                                          \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), most = size ? size : 6000;
    for (size_t n = size; n <= most; n = 2 * n + 1) {
        run_f16(12, n, 0x1p-8);
        run_f32(400, n, 0x1p-22);
        run_f64(400, n, 0x1p-50);
    }
    return 0;
}
