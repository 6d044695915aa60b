#include "sve/memory/addresses.h"
#include "sve/memory/elements.h"
#include "sve/memory/structures.h"

using namespace sve;
using namespace sve::memory;

template <class Element, class... Member>
static void load(CpuContext *context, const PredV &pg, uint64_t address, Member *...member) {
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        const auto next = [&] {
            const Element value = active ? load_memory<Element>(address) : Element{0};
            address += sizeof value;
            return value;
        };
        (member->template set<Element>(e, next()), ...);
    });
}

template <class Element, class... Member>
static void store(CpuContext *context, const PredV &pg, uint64_t address, const Member &...member) {
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        const auto next = [&](Element value) {
            if (active)
                store_memory(address, value);
            address += sizeof value;
        };
        (next(member.template get<Element>(e)), ...);
    });
}

#define PARAMETERS_2(T) T r0, T r1
#define PARAMETERS_3(T) PARAMETERS_2(T), T r2
#define PARAMETERS_4(T) PARAMETERS_3(T), T r3
#define ARGUMENTS_2 r0, r1
#define ARGUMENTS_3 ARGUMENTS_2, r2
#define ARGUMENTS_4 ARGUMENTS_3, r3
#define STRUCTURES(type, count, bytes, ...)                                                        \
    void Vec##type##E##count##Load##bytes##SIZ(PredV pg, unsigned long base, int immediate,        \
                                               PARAMETERS_##count(VecT *), CpuContext *context) {  \
        load<type>(context, pg,                                                                    \
                   vectors_away<type>(base, immediate, count * element_count<type>(context)),      \
                   ARGUMENTS_##count);                                                             \
    }                                                                                              \
    void Vec##type##E##count##Load##bytes##LSSZ(PredV pg, unsigned long base, unsigned long index, \
                                                PARAMETERS_##count(VecT *), CpuContext *context) { \
        load<type>(context, pg, elements_away<type>(base, index), ARGUMENTS_##count);              \
    }                                                                                              \
    void Vec##type##E##count##Store##bytes##SIZ(PredV pg, unsigned long base, int immediate,       \
                                                PARAMETERS_##count(VecT), CpuContext *context) {   \
        store<type>(context, pg,                                                                   \
                    vectors_away<type>(base, immediate, count * element_count<type>(context)),     \
                    ARGUMENTS_##count);                                                            \
    }                                                                                              \
    void Vec##type##E##count##Store##bytes##LSSZ(PredV pg, unsigned long base,                     \
                                                 unsigned long index, PARAMETERS_##count(VecT),    \
                                                 CpuContext *context) {                            \
        store<type>(context, pg, elements_away<type>(base, index), ARGUMENTS_##count);             \
    }
SVE_STRUCTURE_FORMS(STRUCTURES)
