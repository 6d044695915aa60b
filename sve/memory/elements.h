#pragma once

// The loops over the elements of loads and stores, one for each tier. `address` is a function from the
// element's number to its address.

#include "sve/core/elements.h"
#include "sve/core/lanes.h"
#include "sve/memory/access.h"
#include "sve/memory/forms.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace sve::memory {

template <class Element>
inline constexpr unsigned elements = sve_vector_bytes / sizeof(Element);

// Addresses of elements that follow each other.
template <class Memory>
auto consecutive(uint64_t address) {
    return [address](unsigned e) { return address + e * sizeof(Memory); };
}

// ---- Direct tier ----------------------------------------------------------------------------------

template <class Element>
bool is_active(const uint8_t *predicate_row, unsigned e) {
    return predicate_row[e * sizeof(Element)] & 1;
}

// Whether all elements of a vector are active.
template <class Element>
bool all_active(const uint8_t *predicate_row) {
    const auto all = [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
        return (load_chunk<uint64_t>(predicate_row, i) & ...);
    }
    (std::make_integer_sequence<unsigned, sve_chunks>{});
    constexpr uint64_t first_bits =
        ~uint64_t{0} /
        (sizeof(Element) == 8 ? ~uint64_t{0} : (uint64_t{1} << 8 * sizeof(Element) % 64) - 1);
    return (all[0] & all[1] & first_bits) == first_bits;
}

// Whether elements in memory, `bytes` in all, may be accessed as a block: nobody can tell it from accesses of
// one element after the other. In one page they fault together, if at all; and in a block that is aligned to 8
// bytes the host splits no element.
template <class Memory>
bool is_block(uint64_t address, unsigned bytes) {
    const bool splits_none = sizeof(Memory) == 1 || sizeof(Memory) == 8 || address % 8 == 0;
    return splits_none && page_offset(address) + bytes <= static_cast<unsigned>(page_size);
}

// Element e of the row, of the first `count`, is that at address(e), or 0 where it is inactive.
template <class Memory, class Element, class Address>
void load_active(uint8_t *row, const uint8_t *governing, Address address,
                 unsigned count = elements<Element>) {
    for (unsigned e = 0; e < count; e++) {
        const Element value =
            is_active<Element>(governing, e) ? load_memory<Memory>(address(e)) : 0;
        std::memcpy(row + e * sizeof value, &value, sizeof value);
        element_done();
    }
}

// The same with consecutive elements from `address` on: at once, in the common case of loops.
template <class Memory, class Element>
void load_contiguous(uint8_t *row, const uint8_t *governing, uint64_t address) {
    if (!all_active<Element>(governing) ||
        !is_block<Memory>(address, elements<Element> * sizeof(Memory)))
        return load_active<Memory, Element>(row, governing, consecutive<Memory>(address));
    Memory source[elements<Element>];
    std::memcpy(source, reinterpret_cast<const void *>(address), sizeof source);
    Element result[elements<Element>];
    for (unsigned e = 0; e < elements<Element>; e++)
        result[e] = source[e];
    std::memcpy(row, result, sizeof result);
}

// The low bytes of element e of the row go to address(e) where it is active.
template <class Memory, class Element, class Address>
void store_active(const uint8_t *row, const uint8_t *governing, Address address) {
    for (unsigned e = 0; e < elements<Element>; e++)
        if (is_active<Element>(governing, e)) {
            Memory value;
            std::memcpy(&value, row + e * sizeof(Element), sizeof value);
            store_memory<Memory>(address(e), value);
        }
}

template <class Memory, class Element>
void store_contiguous(const uint8_t *row, const uint8_t *governing, uint64_t address) {
    if (!all_active<Element>(governing) ||
        !is_block<Memory>(address, elements<Element> * sizeof(Memory)))
        return store_active<Memory, Element>(row, governing, consecutive<Memory>(address));
    Element source[elements<Element>];
    std::memcpy(source, row, sizeof source);
    Memory result[elements<Element>];
    for (unsigned e = 0; e < elements<Element>; e++)
        result[e] = static_cast<Memory>(source[e]);
    std::memcpy(reinterpret_cast<void *>(address), result, sizeof result);
}

// ---- Reference tier -------------------------------------------------------------------------------

template <class Memory, class Element, class Address>
VecT load_reference(const CpuContext *context, const PredV &pg, Address address) {
    VecT result;
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        result.set<Element>(e, active ? load_memory<Memory>(address(e)) : 0);
    });
    return result;
}

template <class Memory, class Element, class Address>
void store_reference(const CpuContext *context, const PredV &pg, const VecT &source,
                     Address address) {
    for_each_element<Element>(context, pg, [&](unsigned e, bool active) {
        if (active)
            store_memory(address(e), static_cast<Memory>(source.get<Element>(e)));
    });
}

} // namespace sve::memory
