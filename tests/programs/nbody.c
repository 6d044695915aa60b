// Bodies that attract each other, for some steps of time; and what is left of their energy. Square roots
// and divisions as the compiler vectorises them; the energy is summed in order.
#include "floats.h"

enum { bodies = 37 };

#define sqrt_f16 __builtin_sqrtf16
#define sqrt_f32 sqrtf
#define sqrt_f64 sqrt

#define FORMAT(type, suffix, bits)                                                                 \
    struct system_##suffix {                                                                       \
        type x[bodies], y[bodies], z[bodies], vx[bodies], vy[bodies], vz[bodies], mass[bodies];    \
    };                                                                                             \
    KERNEL void step_##suffix(struct system_##suffix *restrict s, type time) {                     \
        for (size_t j = 0; j < bodies; j++) {                                                      \
            const type x = s->x[j], y = s->y[j], z = s->z[j], pull = s->mass[j] * time;            \
            for (size_t i = 0; i < bodies; i++) {                                                  \
                const type dx = x - s->x[i], dy = y - s->y[i], dz = z - s->z[i];                   \
                const type square = dx * dx + dy * dy + dz * dz + (type)0.01;                      \
                const type factor = pull / (square * sqrt_##suffix(square));                       \
                s->vx[i] += factor * dx;                                                           \
                s->vy[i] += factor * dy;                                                           \
                s->vz[i] += factor * dz;                                                           \
            }                                                                                      \
        }                                                                                          \
        for (size_t i = 0; i < bodies; i++) {                                                      \
            s->x[i] += time * s->vx[i];                                                            \
            s->y[i] += time * s->vy[i];                                                            \
            s->z[i] += time * s->vz[i];                                                            \
        }                                                                                          \
    }                                                                                              \
    KERNEL type energy_##suffix(const struct system_##suffix *s) {                                 \
        type energy = 0;                                                                           \
        for (size_t i = 0; i < bodies; i++)                                                        \
            energy += s->mass[i] / 2 *                                                             \
                      (s->vx[i] * s->vx[i] + s->vy[i] * s->vy[i] + s->vz[i] * s->vz[i]);           \
        for (size_t j = 0; j < bodies; j++)                                                        \
            for (size_t i = 0; i < j; i++) {                                                       \
                const type dx = s->x[j] - s->x[i], dy = s->y[j] - s->y[i], dz = s->z[j] - s->z[i]; \
                const type square = dx * dx + dy * dy + dz * dz + (type)0.01;                      \
                energy -= s->mass[i] * s->mass[j] / sqrt_##suffix(square);                         \
            }                                                                                      \
        return energy;                                                                             \
    }                                                                                              \
    static void run_##suffix(size_t steps) {                                                       \
        static struct system_##suffix s;                                                           \
        fill_##suffix(s.x, 3 * bodies, 4, 1);                                                      \
        fill_##suffix(s.vx, 3 * bodies, 0.25, 2);                                                  \
        for (size_t i = 0; i < bodies; i++)                                                        \
            s.mass[i] = (type)((double)(1 + i) / bodies);                                          \
        for (size_t step = 0; step <= steps; step++) {                                             \
            const type energy = energy_##suffix(&s);                                               \
            printf("energy %a, ", (double)energy);                                                 \
            print_##suffix("positions", s.x, 3 * bodies);                                          \
            step_##suffix(&s, (type)0.0625);                                                       \
        }                                                                                          \
    }
FOR_EACH_FORMAT(FORMAT)
#undef FORMAT

int main(int argc, char **argv) {
    const size_t size = problem_size(argc, argv), steps = size ? size : 6;
    run_f16(steps);
    run_f32(steps);
    run_f64(steps);
    return 0;
}
