#pragma once

// All instruction rows with their published encodings, from instruction_rows.tsv: what the decoder is held
// against.

#include "sve/core/decode_keys.h"

#include <cstdint>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The place of a map in decode_map_infos.
inline unsigned map_index(std::string_view name) {
    for (unsigned i = 0; i < sve::decode_map_count; i++)
        if (sve::decode_map_infos[i].name == name)
            return i;
    throw std::runtime_error("no map " + std::string(name));
}

struct instruction_row {
    std::string handler, map_name, route;
    unsigned map; // place in decode_map_infos
    int key;
    uint32_t mask, value;
};

inline const std::vector<instruction_row> &instruction_rows() {
    static const std::vector<instruction_row> rows = [] {
        std::vector<instruction_row> result;
        std::ifstream file(INSTRUCTION_ROWS_FILE);
        std::string line;
        std::getline(file, line); // the titles
        while (std::getline(file, line)) {
            std::istringstream columns(line);
            instruction_row row;
            uint32_t key;
            columns >> row.handler >> row.map_name >> std::setbase(0) >> key >> row.mask >>
                row.value >> row.route;
            if (!columns)
                throw std::runtime_error("can't read the row \"" + line + "\"");
            row.key = static_cast<int>(key);
            row.map = map_index(row.map_name);
            result.push_back(row);
        }
        return result;
    }();
    return rows;
}
