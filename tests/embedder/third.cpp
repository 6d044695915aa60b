// The floating-point library alone: 1/3 + 1/3, which is rounded twice.

#include <cstdio>
#include <sve/fplib/fplib.h>

int main() {
    FPSCR fpscr;
    const unsigned int third = FPDiv(0x3f800000u, 0x40400000u, fpscr);
    const unsigned int sum = FPAdd(third, third, fpscr);
    printf("0x%08x 0x%08x, flags 0x%x\n", third, sum, fpscr.word);
    return third == 0x3eaaaaab && sum == 0x3f2aaaab && fpscr.word == FPSCR::IXC ? 0 : 1;
}
