#include "sve/memory/addresses.h"
#include "sve/memory/contiguous.h"
#include "sve/memory/elements.h"

using namespace sve;
using namespace sve::memory;

#define LOAD(type, op, bytes, ...)                                                                 \
    VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate,                    \
                                   CpuContext *context) {                                          \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_reference<Memory, type>(context, pg,                                           \
                                            consecutive<Memory>(vectors_away<Memory>(              \
                                                base, immediate, element_count<type>(context))));  \
    }                                                                                              \
    VecT Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base, unsigned long index,             \
                                    CpuContext *context) {                                         \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_reference<Memory, type>(                                                       \
            context, pg, consecutive<Memory>(elements_away<Memory>(base, index)));                 \
    }
SVE_CONTIGUOUS_LOADS(LOAD)
#undef LOAD

#define STORE(type, op, bytes, ...)                                                                \
    void Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, int immediate, VecT source,       \
                                   CpuContext *context) {                                          \
        using Memory = memory_type<type, bytes>;                                                   \
        store_reference<Memory, type>(context, pg, source,                                         \
                                      consecutive<Memory>(vectors_away<Memory>(                    \
                                          base, immediate, element_count<type>(context))));        \
    }                                                                                              \
    void Vec##type##op##bytes##LSSZ(PredV pg, unsigned long base, unsigned long index,             \
                                    VecT source, CpuContext *context) {                            \
        using Memory = memory_type<type, bytes>;                                                   \
        store_reference<Memory, type>(context, pg, source,                                         \
                                      consecutive<Memory>(elements_away<Memory>(base, index)));    \
    }
SVE_CONTIGUOUS_STORES(STORE)
#undef STORE

// One read, if any element wants it.
template <class Memory, class Element>
static VecT replicate(CpuContext *context, const PredV &pg, uint64_t address) {
    Element value = 0;
    bool is_read = false;
    VecT result;
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        if (active && !is_read) {
            value = load_memory<Memory>(address);
            is_read = true;
        }
        result.set<Element>(e, active ? value : 0);
    });
    return result;
}

#define REPLICATING(type, op, bytes, ...)                                                          \
    VecT Vec##type##op##bytes##SIZ(PredV pg, unsigned long base, unsigned immediate,               \
                                   CpuContext *context) {                                          \
        using Memory = memory_type<type, bytes>;                                                   \
        return replicate<Memory, type>(context, pg, elements_away<Memory>(base, immediate));       \
    }
SVE_REPLICATING_LOADS(REPLICATING)
#undef REPLICATING

// A quadword, then copies of it.
template <class Memory>
static VecT replicate_quadword(CpuContext *context, PredV pg, uint64_t address) {
    CpuContext quadword = *context;
    quadword.VL = 2;
    VecT result = load_reference<Memory, Memory>(&quadword, pg, consecutive<Memory>(address));
    for (unsigned at = 16; at < context->VL * 8; at += 16)
        std::memcpy(result.byte + at, result.byte, 16);
    return result;
}

#define QUADWORD(type, op, bytes, ...)                                                             \
    VecT Vec##type##op##bytes##QSIZ(PredV pg, unsigned long base, int immediate,                   \
                                    CpuContext *context) {                                         \
        return replicate_quadword<type>(context, pg,                                               \
                                        vectors_away<type>(base, immediate, 16 / bytes));          \
    }                                                                                              \
    VecT Vec##type##op##bytes##QSSZ(PredV pg, unsigned long base, unsigned long index,             \
                                    CpuContext *context) {                                         \
        return replicate_quadword<type>(context, pg, elements_away<type>(base, index));            \
    }
SVE_QUADWORD_LOADS(QUADWORD)
#undef QUADWORD

// ---- LDR, STR: byte by byte -----------------------------------------------------------------------

VecT VecU64FillSI(unsigned long base, int immediate, CpuContext *context) {
    const unsigned bytes = context->VL * 8;
    VecT result;
    for (unsigned i = 0; i < bytes; i++)
        result.byte[i] =
            ReadMemLib1(vectors_away<uint8_t>(base, immediate, bytes) + i, 0, nullptr, context);
    return result;
}

void VecU64SpillSI(unsigned long base, int immediate, VecT source, CpuContext *context) {
    const unsigned bytes = context->VL * 8;
    for (unsigned i = 0; i < bytes; i++)
        WriteMemLib1(source.byte[i], vectors_away<uint8_t>(base, immediate, bytes) + i, context);
}

PredV VecPFillSI(unsigned long base, int immediate, CpuContext *context) {
    const unsigned bytes = context->VL;
    PredV result = {};
    for (unsigned i = 0; i < bytes; i++) {
        const uint64_t eight_bits =
            ReadMemLib1(vectors_away<uint8_t>(base, immediate, bytes) + i, 0, nullptr, context);
        result.word[i / 8] |= eight_bits << i % 8 * 8;
    }
    return result;
}

void VecPSpillSI(unsigned long base, int immediate, PredV source, CpuContext *context) {
    const unsigned bytes = context->VL;
    for (unsigned i = 0; i < bytes; i++)
        WriteMemLib1(static_cast<uint8_t>(source.word[i / 8] >> i % 8 * 8),
                     vectors_away<uint8_t>(base, immediate, bytes) + i, context);
}
