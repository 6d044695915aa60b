// Counts the primes up to a number, with one lane of an SVE vector for each candidate: predicates say which
// lanes are in range and which are still prime. Nothing is loaded or stored as a vector.
//
//     primes NUMBER
#include <arm_sve.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
    const uint32_t last = argc == 2 ? (uint32_t)strtoul(argv[1], NULL, 0) : 0;
    if (last == 0 || last >= UINT32_MAX - 256) {
        fprintf(stderr, "usage: primes NUMBER\n");
        return 2;
    }

    uint64_t count = 0, sum = 0;
    uint32_t greatest = 0;
    const svbool_t all = svptrue_b32();
    for (uint32_t first = 2; first <= last; first += (uint32_t)svcntw()) {
        const svuint32_t numbers = svindex_u32(first, 1);
        svbool_t prime = svwhilele_b32_u32(first, last);
        for (uint32_t divisor = 2; (uint64_t)divisor * divisor <= last; divisor++) {
            const svuint32_t quotient = svdiv_n_u32_x(prime, numbers, divisor);
            const svuint32_t rest = svmls_n_u32_x(prime, numbers, quotient, divisor);
            const svbool_t divides = svcmpeq_n_u32(prime, rest, 0);
            const svbool_t greater = svcmpgt_n_u32(divides, numbers, divisor);
            prime = svbic_b_z(prime, prime, greater);
            if (!svptest_any(all, prime))
                break;
        }
        count += svcntp_b32(all, prime);
        sum += svaddv_u32(prime, numbers);
        const uint32_t of_these = svmaxv_u32(all, svsel_u32(prime, numbers, svdup_n_u32(0)));
        greatest = of_these ? of_these : greatest;
    }
    printf("%" PRIu64 " primes up to %" PRIu32 ", their sum %" PRIu64 ", the greatest %" PRIu32
           "\n",
           count, last, sum, greatest);
    return 0;
}
