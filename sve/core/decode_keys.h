#pragma once

// From the names of the decode maps to the bits that their keys take.

#include "sve/core/bits.h"
#include "sve/core/decode_maps.h"

#include <cstdint>
#include <string_view>

namespace sve {

// The key fields of a map, from its name.
struct key_fields {
    struct {
        unsigned high, low;
    } field[4];
    unsigned count;

    // `name` is what stands behind decode_map__: "31_21__15_10".
    static consteval key_fields parse(std::string_view name) {
        key_fields result{};
        auto number = [&name] {
            unsigned value = 0;
            for (; !name.empty() && name[0] != '_'; name.remove_prefix(1))
                value = value * 10 + unsigned(name[0] - '0');
            name.remove_prefix(name.find_first_not_of('_') == name.npos
                                   ? name.size()
                                   : name.find_first_not_of('_'));
            return value;
        };
        while (!name.empty()) {
            auto &field = result.field[result.count++];
            field.high = number();
            field.low = number();
        }
        return result;
    }

    // The map's key of a word.
    constexpr int key(uint32_t word) const {
        uint64_t key = 0;
        for (unsigned i = 0; i < count; i++)
            key =
                key << (field[i].high - field[i].low + 1) | bits(word, field[i].high, field[i].low);
        return static_cast<int>(key);
    }

    // The bits of a word that the key takes. A word matches the row with key k exactly when
    // key(word) is k, so mask and key together are the row's encoding.
    constexpr uint32_t mask() const {
        uint32_t mask = 0;
        for (unsigned i = 0; i < count; i++)
            mask |= bits(~0u, field[i].high, field[i].low) << field[i].low;
        return mask;
    }

    // The word whose key is `key` and whose other bits are 0: the inverse of key().
    constexpr uint32_t spread(int key) const {
        uint64_t rest = static_cast<uint32_t>(key);
        uint32_t word = 0;
        for (unsigned i = count; i-- > 0; rest >>= field[i].high - field[i].low + 1)
            word |= bits(static_cast<uint32_t>(rest), field[i].high - field[i].low, 0)
                    << field[i].low;
        return word;
    }
};

// A map with its name, key and place in the cascades.
struct decode_map_info {
    std::string_view name; // what stands behind decode_map__
    key_fields fields;
    decode_map *map;
    unsigned execute_position; // from 1
    unsigned is_sve_position;  // from 1
};

#define MAP(fields, execute, is_sve) +1
inline constexpr unsigned decode_map_count = SVE_DECODE_MAPS(MAP);
#undef MAP

// The maps in the order of construction.
inline constexpr decode_map_info decode_map_infos[decode_map_count] = {
#define MAP(fields, execute, is_sve)                                                               \
    {#fields, key_fields::parse(#fields), &decode_map__##fields, execute, is_sve},
    SVE_DECODE_MAPS(MAP)
#undef MAP
};

} // namespace sve
