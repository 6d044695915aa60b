#include "sve/memory/elements.h"
#include "sve/memory/gathers.h"

using namespace sve;
using namespace sve::memory;

#define GATHER(type, op, bytes, shape, ...)                                                        \
    VecT Vec##type##op##bytes##shape(PredV pg, shape::first_value first,                           \
                                     shape::second_value second, CpuContext *context) {            \
        using Memory = memory_type<type, bytes>;                                                   \
        return load_reference<Memory, type>(context, pg,                                           \
                                            gather_addresses<shape, Memory, type>(first, second)); \
    }
SVE_DIRECT_GATHERS(GATHER)
SVE_REFERENCE_GATHERS(GATHER)

#define SCATTER(type, op, bytes, shape, ...)                                                       \
    void Vec##type##op##bytes##shape(PredV pg, shape::first_value first,                           \
                                     shape::second_value second, VecT source,                      \
                                     CpuContext *context) {                                        \
        using Memory = memory_type<type, bytes>;                                                   \
        store_reference<Memory, type>(context, pg, source,                                         \
                                      gather_addresses<shape, Memory, type>(first, second));       \
    }
SVE_DIRECT_SCATTERS(SCATTER)
SVE_REFERENCE_SCATTERS(SCATTER)
