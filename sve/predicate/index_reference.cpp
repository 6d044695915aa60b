#include "sve/predicate/index.h"

using namespace sve;

template <class T>
static VecT sequence(const CpuContext *context, T base, T step) {
    VecT result;
    // In 64 bits, whose low ones don't depend on the sign.
    auto element = static_cast<unsigned long>(base);
    for (unsigned e = 0; e < element_count<T>(context); e++) {
        result.set<T>(e, static_cast<T>(element));
        element += static_cast<unsigned long>(step);
    }
    return result;
}

#define INDEX_FORM(S, T, form)                                                                     \
    VecT Vec##S##Index##form(T base, T step, CpuContext *context) {                                \
        return sequence<T>(context, base, step);                                                   \
    }
#define INDEX(S, T)                                                                                \
    INDEX_FORM(S, T, II) INDEX_FORM(S, T, IS) INDEX_FORM(S, T, SI) INDEX_FORM(S, T, SS)
SVE_SIGNED_TYPES(INDEX)

// A number of vectors or of predicates in bytes. The context has the length in units of 8 bytes, for each
// of which a predicate has one.
static unsigned long vectors(const CpuContext *context, int count) {
    return static_cast<unsigned long>(count * (long{context->VL} * 8));
}
static unsigned long predicates(const CpuContext *context, int count) {
    return static_cast<unsigned long>(count * long{context->VL});
}

unsigned long VecS64AddVLX(unsigned long n, int imm, CpuContext *context) {
    return n + vectors(context, imm);
}
unsigned long VecS64AddPLX(unsigned long n, int imm, CpuContext *context) {
    return n + predicates(context, imm);
}
unsigned long VecS64VLX(int imm, CpuContext *context) {
    return vectors(context, imm);
}
