// Coverage-guided fuzzing: arbitrary bits as operation, control word and operands. Every entry of the library
// runs, and is held against its reference where there is one.

#include "tests/fplib/values.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace fp_comparison;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    struct {
        operands x;
        uint32_t word;
        uint16_t operation;
    } input = {};
    memcpy(&input, data, std::min(size, sizeof input));

    static const std::vector<operation> all = operations();
    const operation &tested = all[input.operation % all.size()];
    const operands x = restrict(tested.operands, input.x);
    const outcome mine = tested.library(x, input.word);
    if (!tested.reference)
        return 0;
    const outcome theirs = tested.reference(x, input.word);
    if (mine == theirs)
        return 0;
    fprintf(
        stderr,
        "%s (0x%lx, 0x%lx, 0x%lx) word 0x%08x: 0x%lx word 0x%08x, reference 0x%lx word 0x%08x\n",
        tested.name, x.a, x.b, x.c, input.word, mine.result, mine.word, theirs.result, theirs.word);
    abort();
}
