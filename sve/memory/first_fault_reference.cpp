#include "sve/memory/elements.h"
#include "sve/memory/first_fault.h"
#include "sve/predicate/flags.h"

using namespace sve;
using namespace sve::memory;

// An element's predicate bits in FFR.
template <class Element>
static void clear_in_ffr(CpuContext *context, unsigned e) {
    for (unsigned bit = 0; bit < sizeof(Element); bit++)
        context->FFR.set(e * sizeof(Element) + bit, false);
}

// Loads until an element can't be read. `is_protected` is whether the first active one may be missing, too.
template <class Memory, class Element, class Address>
static VecT load_until_fault(CpuContext *context, const PredV &pg, Address address,
                             bool is_protected) {
    bool fault = false;
    VecT result;
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        Element value = 0;
        if (active && !fault) {
            value = read_memory<Memory>(address(e), is_protected, &fault, context);
            is_protected = true;
        }
        if (fault)
            clear_in_ffr<Element>(context, e);
        result.set<Element>(e, fault ? 0 : value);
    });
    return result;
}

#define FIRST_FAULT(type, op, bytes, ...)                                                          \
    VecT Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base, unsigned long index,             \
                                    CpuContext *context) {                                         \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_until_fault<Memory, type>(                                                     \
            context, pg, consecutive<Memory>(elements_away<Memory>(base, index)), false);          \
    }
SVE_DIRECT_FIRST_FAULT_LOADS(FIRST_FAULT)
SVE_REFERENCE_FIRST_FAULT_LOADS(FIRST_FAULT)

#define NON_FAULT(type, op, bytes, ...)                                                            \
    VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate,                    \
                                   CpuContext *context) {                                          \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_until_fault<Memory, type>(context, pg,                                         \
                                              consecutive<Memory>(vectors_away<Memory>(            \
                                                  base, immediate, element_count<type>(context))), \
                                              true);                                               \
    }
SVE_NON_FAULT_LOADS(NON_FAULT)

#define GATHER(type, op, bytes, shape, key)                                                        \
    VecT Vec##type##op##bytes##shape(PredV pg, shape::first_value first,                           \
                                     shape::second_value second, CpuContext *context) {            \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_until_fault<Memory, type>(                                                     \
            context, pg, gather_addresses<shape, Memory, type>(first, second), false);             \
    }
SVE_FIRST_FAULT_GATHERS(GATHER)

// ---- FFR ------------------------------------------------------------------------------------------

PredV VecPReadFFSRP(CpuContext *context) {
    return context->FFR;
}

PredV VecPActualP(PredV pg, CpuContext *context) {
    for (unsigned i = 0; i < PredV::words; i++)
        pg.word[i] &= context->FFR.word[i];
    return pg;
}

PredV VecPActualFlgP(PredV pg, CpuContext *context) {
    const PredV result = VecPActualP(pg, context);
    set_flags<uint8_t>(context, pg, result);
    return result;
}

void VecPWriteFFSRP(PredV n, CpuContext *context) {
    context->FFR = n;
}

void VecPClearFFSR(CpuContext *context) {
    context->FFR = all_true(context);
}
