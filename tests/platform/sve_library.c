// A shared library with an SVE instruction, that asks for SVE too.
#include <arm_neon.h>
#include <sys/auxv.h>
#include <sys/prctl.h>

__attribute__((visibility("default"))) uint32x4_t library_add(uint32x4_t a, uint32x4_t b);

uint32x4_t library_add(uint32x4_t a, uint32x4_t b) {
    register uint32x4_t z0 __asm__("v0") = a;
    register uint32x4_t z1 __asm__("v1") = b;
    // mark of library_add
    __asm__(".arch_extension sve\n\tadd z0.s, z0.s, z1.s" : "+w"(z0) : "w"(z1));
    return z0;
}

__attribute__((visibility("default"))) void library_asks(int *has_sve, int *vector_bytes);

void library_asks(int *has_sve, int *vector_bytes) {
    *has_sve = (getauxval(AT_HWCAP) & HWCAP_SVE) != 0;
    *vector_bytes = prctl(PR_SVE_GET_VL);
}
