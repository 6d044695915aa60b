#pragma once

// What the ELF file of a module tells of its code, as it lies in memory: where it is, and where its functions begin
// and end. Those come from the tables by which exceptions find their way (PT_GNU_EH_FRAME), which nearly every program
// has and keeps when it is stripped. Tables may be missing, damaged or wrong; nothing outside the module's segments
// is read.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace sve::analysis {

struct function {
    uintptr_t start, end;
    bool has_handlers; // of exceptions: code that no instruction leads to
};

class module_image {
public:
    struct text {
        uintptr_t start;
        std::span<const uint32_t> words;

        uintptr_t end() const { return start + words.size_bytes(); }
        bool contains(uintptr_t pc) const { return pc >= start && pc < end(); }
    };

    // The module whose ELF header is at `start`, and whose last byte is before `end`. `bytes` is where its first byte
    // can be read; in a process that looks at itself, at `start`.
    module_image(uintptr_t start, uintptr_t end, const std::byte *bytes);

    // Readable segments of code.
    const std::vector<text> &texts() const { return texts_; }
    const text *text_at(uintptr_t pc) const;

    // The function that holds `pc`; none if no table has one. Both its ends lie in one text.
    std::optional<function> function_at(uintptr_t pc) const;

    // Where the next function behind `pc` begins, and where the last one before it ends: what the tables leave open
    // around an address that no function holds. Clipped to its text.
    std::optional<function> gap_at(uintptr_t pc) const;

private:
    struct segment {
        uintptr_t start, end;
    };
    struct table_entry {
        int32_t start, description; // relative to the table's header
    };
    struct common_information {
        uintptr_t address = 0;
        uint8_t pointers = 0, handlers = 0; // encodings
        bool has_augmentation = false;
        bool known = false;
    };
    class cursor;

    const std::byte *at(uintptr_t address, size_t size) const;
    template <class T>
    std::optional<T> read(uintptr_t address) const {
        const std::byte *bytes = at(address, sizeof(T));
        if (!bytes)
            return std::nullopt;
        T value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    void find_table(uintptr_t header, uintptr_t end);
    table_entry entry(size_t i) const {
        table_entry result;
        std::memcpy(&result, table_ + i * sizeof result, sizeof result);
        return result;
    }
    uintptr_t start_of(size_t i) const {
        return table_base_ + static_cast<uintptr_t>(int64_t{entry(i).start});
    }
    size_t entries_up_to(uintptr_t pc) const;
    std::optional<function> describe(size_t i) const;
    const common_information &information_at(uintptr_t address) const;

    uintptr_t start_;
    const std::byte *bytes_;
    std::vector<segment> readable_;
    std::vector<text> texts_;
    uintptr_t table_base_ = 0;
    const std::byte *table_ = nullptr;
    size_t table_size_ = 0;                  // entries
    mutable common_information information_; // that was read last
    mutable size_t counted_ = 0;             // by entries_up_to, the last time
};

} // namespace sve::analysis
