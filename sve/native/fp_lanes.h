#pragma once

// Shapes of lane-wise translations that compute with floating point: the native instructions raise flags in FPSR, which
// those of inactive lanes must not.

#include "sve/native/a64_fp.h"
#include "sve/native/lanes.h"

namespace sve::native {

// Whether the processor computes with numbers of a size. If not, the instruction is declined.
inline bool has_arithmetic(code &c, unsigned size) {
    if (size != sve_size_h || c.processor().half_precision)
        return true;
    c.decline();
    return false;
}

// The active lanes of a chunk, and zeros, in a scratch register.
inline unsigned active_lanes(code &c, unsigned v, unsigned active) {
    const unsigned lanes = c.v();
    c.put(a64::v::and_, lanes, v, active);
    return lanes;
}

// Zd = operation(sources…) in the active lanes; the others keep their value. The operation finds zeros in the inactive
// lanes, which must raise no flag.
template <class Operation, class... Source>
void merge_fp_lanes(code &c, unsigned zd, unsigned pg, unsigned size, const Operation &operation,
                    Source... source) {
    if (c.all_true(pg, size)) {
        write_lanes(c, zd, operation, source...);
        return;
    }
    c.for_each_chunk([&](unsigned i) {
        const unsigned active = c.mask(pg, size, i), result = c.v(), d = c.load_z(zd, i);
        put_operation(c, operation, result,
                      active_lanes(c, source == zd ? d : c.load_z(source, i), active)...);
        c.put(a64::v::bit, d, result, active);
        c.store_z(zd, i, d);
    });
}

// d = the results of operation(t, lane) in all lanes of a size, one by one: it makes the scratch register t a scalar that
// is the result. d may be what it reads the lane of.
template <class Operation>
void put_lane_by_lane(code &c, unsigned size, unsigned d, const Operation &operation) {
    for (unsigned lane = 0; lane < chunk_bytes >> size; lane++)
        c.scope([&] {
            const unsigned t = c.v();
            operation(t, lane);
            c.put(a64::v::ins_lane(size, lane, 0), d, t);
        });
}

} // namespace sve::native
