#include "sve/client/analysis/sve_words.h"

#include "sve/core/decode_keys.h"
#include "sve/core/sve_utils.h"

namespace sve::analysis {

namespace {

// The bits of a word that choose its slot.
constexpr uint32_t slot_bits = 0xe1e0fc00;
constexpr unsigned slots = 1 << 13;

} // namespace

sve_words::sve_words() : first_(slots + 1) {
    std::vector<entry> rows;
    for (const handler_family &family : handler_families())
        for (const handler_row &row : family.rows)
            for (const decode_map_info &info : decode_map_infos)
                if (info.map == row.map)
                    rows.push_back({info.fields.mask(),
                                    info.fields.spread(static_cast<int>(row.key)), &row.vectors});

    // A row is in each slot that its free bits can make. Counted first, then put in.
    const auto for_each_slot = [](const entry &row, auto &&visit) {
        const uint32_t free = ~row.mask & slot_bits;
        uint32_t chosen = 0;
        do {
            visit(slot_of(row.value | chosen));
            chosen = (chosen - free) & free;
        } while (chosen);
    };
    for (const entry &row : rows)
        for_each_slot(row, [&](unsigned slot) { first_[slot + 1]++; });
    for (unsigned slot = 0; slot < slots; slot++)
        first_[slot + 1] += first_[slot];
    entries_.resize(first_[slots]);
    std::vector<uint32_t> next = first_;
    for (const entry &row : rows)
        for_each_slot(row, [&](unsigned slot) { entries_[next[slot]++] = row; });
}

} // namespace sve::analysis
