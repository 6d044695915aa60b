#pragma once

// A module as it lies in memory: an ELF header, code, and the unwind tables of its functions.

#include "sve/client/analysis/module_image.h"

#include <cstring>
#include <elf.h>
#include <utility>
#include <vector>

class module_builder {
public:
    struct properties {
        bool has_handlers = false;
        bool in_table = true;
        size_t size = 0; // in words, filled up by undefined ones; 0: as long as the code
    };

    // Adds a function behind the others.
    void add(std::vector<uint32_t> code) { add(std::move(code), properties()); }
    void add(std::vector<uint32_t> code, properties how) {
        const size_t size = how.size ? how.size : code.size();
        code.resize(size);
        functions_.push_back({next_, next_ + 4 * code.size(), how});
        std::memcpy(&memory_[next_ / 4], code.data(), 4 * code.size());
        next_ += 4 * code.size();
        write();
    }

    size_t functions() const { return functions_.size(); }
    uintptr_t start_of(size_t function) const { return base + functions_[function].start; }
    uintptr_t end_of(size_t function) const { return base + functions_[function].end; }

    sve::analysis::module_image image() const {
        return {base, base + sizeof memory_, reinterpret_cast<const std::byte *>(memory_)};
    }

    // ---- To be damaged ----
    // Anything of the header, the code or the tables.
    void damage(size_t where, uint8_t how) {
        const size_t parts[] = {0, text_at, frames_at, table_at};
        at<uint8_t>(parts[where % 4])[where / 4 % 512] ^= how;
    }
    Elf64_Ehdr &header() { return *at<Elf64_Ehdr>(0); }
    Elf64_Phdr &table_segment() { return at<Elf64_Phdr>(sizeof(Elf64_Ehdr))[2]; }
    uint8_t *table() { return at<uint8_t>(table_at); }
    uint32_t &table_count() { return *at<uint32_t>(table_at + 8); }
    struct entry {
        int32_t start, description;
    };
    entry &table_entry(size_t i) { return at<entry>(table_at + 12)[i]; }
    // Of the i-th function of the table: length, distance of the common information, start, size in words of 32 bits.
    uint32_t *description(size_t i) {
        return at<uint32_t>(table_at + static_cast<size_t>(table_entry(i).description));
    }

    static constexpr uintptr_t base = 0x5500000000;

private:
    struct built_function {
        size_t start, end;
        properties how;
    };
    static constexpr size_t text_at = 0x1000, frames_at = 0x3000, table_at = 0x4000, total = 0x5000;

    template <class T>
    T *at(size_t offset) {
        return reinterpret_cast<T *>(reinterpret_cast<std::byte *>(memory_) + offset);
    }

    void write() {
        header() = {};
        std::memcpy(header().e_ident, ELFMAG, SELFMAG);
        header().e_ident[EI_CLASS] = ELFCLASS64;
        header().e_phoff = sizeof(Elf64_Ehdr);
        header().e_phentsize = sizeof(Elf64_Phdr);
        header().e_phnum = 3;
        const auto segment = [](unsigned type, unsigned flags, size_t start, size_t end) {
            Elf64_Phdr result = {};
            result.p_type = type;
            result.p_flags = flags;
            result.p_offset = result.p_vaddr = start;
            result.p_filesz = result.p_memsz = end - start;
            return result;
        };
        auto *segments = at<Elf64_Phdr>(sizeof(Elf64_Ehdr));
        segments[0] = segment(PT_LOAD, PF_R | PF_X, 0, frames_at);
        segments[1] = segment(PT_LOAD, PF_R, frames_at, total);
        segments[2] = segment(PT_GNU_EH_FRAME, PF_R, table_at, total);

        // Common information: "zPLR", all pointers relative to themselves and of 32 bits.
        size_t frame = frames_at;
        const uint8_t common[] = {24, 0,    0,  0, 0,    0, 0, 0, 1, 'z',  'P',  'L', 'R', 0,
                                  4,  0x78, 30, 7, 0x1b, 0, 0, 0, 0, 0x1b, 0x1b, 0,   0,   0};
        std::memcpy(at<uint8_t>(frame), common, sizeof common);
        frame += sizeof common;
        unsigned count = 0;
        for (const built_function &f : functions_) {
            if (!f.how.in_table)
                continue;
            auto *words = at<uint32_t>(frame);
            words[0] = 20;
            words[1] = static_cast<uint32_t>(frame + 4 - frames_at);
            words[2] = static_cast<uint32_t>(f.start - (frame + 8));
            words[3] = static_cast<uint32_t>(f.end - f.start);
            auto *rest = at<uint8_t>(frame + 16);
            const uint8_t augmentation[] = {4, f.how.has_handlers, 0, 0, 0, 0, 0, 0};
            std::memcpy(rest, augmentation, sizeof augmentation);
            table_entry(count++) = {static_cast<int32_t>(f.start - table_at),
                                    static_cast<int32_t>(frame - table_at)};
            frame += 24;
        }
        const uint8_t table_header[] = {1, 0x1b, 0x03, 0x3b};
        std::memcpy(table(), table_header, sizeof table_header);
        *at<uint32_t>(table_at + 4) = static_cast<uint32_t>(frames_at - (table_at + 4));
        table_count() = count;
    }

    uint32_t memory_[total / 4] = {};
    size_t next_ = text_at;
    std::vector<built_function> functions_;
};
