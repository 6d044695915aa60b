#include "sve/client/analysis/module_image.h"

#include <algorithm>
#include <elf.h>

namespace sve::analysis {

// ---- Segments -----------------------------------------------------------------------------------

module_image::module_image(uintptr_t start, uintptr_t end, const std::byte *bytes)
    : start_(start), bytes_(bytes) {
    constexpr uintptr_t first_page = 4096; // the header's
    readable_.push_back({start, std::min(end, start + first_page)});
    const auto header = read<Elf64_Ehdr>(start);
    if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
        header->e_ident[EI_CLASS] != ELFCLASS64 || header->e_phentsize != sizeof(Elf64_Phdr))
        return;

    std::vector<Elf64_Phdr> segments;
    for (unsigned i = 0; i < header->e_phnum; i++)
        if (const auto segment = read<Elf64_Phdr>(start + header->e_phoff + i * sizeof(Elf64_Phdr)))
            segments.push_back(*segment);
    // The first segment of the file is at the module's start.
    const auto first = std::find_if(segments.begin(), segments.end(),
                                    [](const Elf64_Phdr &s) { return s.p_type == PT_LOAD; });
    if (first == segments.end())
        return;
    const uintptr_t bias = start - (first->p_vaddr - first->p_offset);
    const auto range_of = [&](const Elf64_Phdr &s) -> std::optional<segment> {
        const uintptr_t low = bias + s.p_vaddr, size = s.p_filesz;
        if (low < start || low >= end || size > end - low)
            return std::nullopt;
        return segment{low, low + size};
    };
    for (const Elf64_Phdr &s : segments)
        if (const auto range = range_of(s); s.p_type == PT_LOAD && (s.p_flags & PF_R) && range) {
            readable_.push_back(*range);
            if ((s.p_flags & PF_X) && range->start % 4 == 0)
                texts_.push_back(
                    {range->start,
                     {reinterpret_cast<const uint32_t *>(bytes_ + (range->start - start_)),
                      (range->end - range->start) / 4}});
        }
    for (const Elf64_Phdr &s : segments)
        if (const auto range = range_of(s); s.p_type == PT_GNU_EH_FRAME && range)
            find_table(range->start, range->end);
}

const std::byte *module_image::at(uintptr_t address, size_t size) const {
    for (const segment &s : readable_)
        if (address >= s.start && address <= s.end && size <= s.end - address)
            return bytes_ + (address - start_);
    return nullptr;
}

const module_image::text *module_image::text_at(uintptr_t pc) const {
    for (const text &t : texts_)
        if (t.contains(pc))
            return &t;
    return nullptr;
}

// ---- Pointers of the tables ---------------------------------------------------------------------

// Reads forward, within one segment. After an error all that it returns is 0.
class module_image::cursor {
public:
    cursor(const module_image &image, uintptr_t address) : address_(address) {
        for (const segment &s : image.readable_)
            if (address >= s.start && address < s.end) {
                next_ = image.bytes_ + (address - image.start_);
                left_ = s.end - address;
            }
    }

    explicit operator bool() const { return good_; }
    uintptr_t address() const { return address_; }

    template <class T>
    T take() {
        good_ = good_ && left_ >= sizeof(T);
        if (!good_)
            return T{};
        T value;
        std::memcpy(&value, next_, sizeof value);
        next_ += sizeof value;
        left_ -= sizeof value;
        address_ += sizeof value;
        return value;
    }
    uint64_t take_leb128() {
        uint64_t value = 0;
        for (unsigned shift = 0; good_; shift += 7) {
            const auto byte = take<uint8_t>();
            if (shift < 64)
                value |= uint64_t{byte & 0x7fu} << shift;
            if (!(byte & 0x80))
                break;
            good_ = good_ && shift < 70;
        }
        return value;
    }
    // By an encoding: bits 3:0 are the form, 6:4 what it is relative to. `plain`: a length, relative to nothing. A
    // pointer of 0 is none, whatever it is relative to.
    uint64_t take_encoded(uint8_t encoding, bool plain = false) {
        const uintptr_t here = address_;
        uint64_t value = 0;
        switch (encoding & 0x0f) {
        case 0x00:
        case 0x04:
        case 0x0c:
            value = take<uint64_t>();
            break;
        case 0x02:
            value = take<uint16_t>();
            break;
        case 0x03:
            value = take<uint32_t>();
            break;
        case 0x0a:
            value = static_cast<uint64_t>(int64_t{take<int16_t>()});
            break;
        case 0x0b:
            value = static_cast<uint64_t>(int64_t{take<int32_t>()});
            break;
        default:
            good_ = false;
        }
        const unsigned relative = encoding >> 4;
        if (plain || value == 0 || relative == 0)
            return value;
        good_ = good_ && relative == 1; // to its own place
        return value + here;
    }

private:
    uintptr_t address_;
    const std::byte *next_ = nullptr;
    size_t left_ = 0;
    bool good_ = true;
};

// ---- Functions ----------------------------------------------------------------------------------

// The header: version, encodings of the three that follow it (the frames' address, the number of entries, the
// entries), and they themselves, sorted.
void module_image::find_table(uintptr_t header, uintptr_t end) {
    constexpr uint8_t relative_to_header = 0x3b; // in 32 bits, as linkers make it
    cursor in(*this, header);
    const auto version = in.take<uint8_t>(), frames = in.take<uint8_t>(),
               number = in.take<uint8_t>(), entries = in.take<uint8_t>();
    in.take_encoded(frames);
    const uint64_t count = in.take_encoded(number);
    if (!in || version != 1 || entries != relative_to_header || in.address() > end ||
        count > (end - in.address()) / sizeof(table_entry))
        return;
    table_base_ = header;
    table_ = at(in.address(), count * sizeof(table_entry));
    table_size_ = table_ ? count : 0;
    for (size_t i = 1; i < table_size_; i++)
        if (entry(i).start < entry(i - 1).start)
            table_size_ = 0;
}

// How many functions begin at `pc` or before. Who goes through a program asks for one not far behind the last.
size_t module_image::entries_up_to(uintptr_t pc) const {
    size_t low = counted_ > 0 && start_of(counted_ - 1) <= pc ? counted_ : 0;
    size_t high = low;
    for (size_t step = 1; high < table_size_ && start_of(high) <= pc; step *= 2) {
        low = high + 1;
        high = std::min(table_size_, high + step);
    }
    while (low < high) {
        const size_t middle = (low + high) / 2;
        if (start_of(middle) <= pc)
            low = middle + 1;
        else
            high = middle;
    }
    return counted_ = low;
}

// What the frame descriptions of functions have in common.
const module_image::common_information &module_image::information_at(uintptr_t address) const {
    if (information_.address == address)
        return information_;
    information_ = {.address = address};
    cursor in(*this, address);
    const auto length = in.take<uint32_t>(), id = in.take<uint32_t>();
    const auto version = in.take<uint8_t>();
    if (!in || length == 0 || length == 0xffffffff || id != 0 || (version != 1 && version != 3))
        return information_;
    char augmentation[8] = {};
    for (size_t i = 0;; i++) {
        if (i == sizeof augmentation)
            return information_;
        augmentation[i] = in.take<char>();
        if (!augmentation[i])
            break;
    }
    in.take_leb128(); // alignments of code and of data
    in.take_leb128();
    if (version == 1) // the register of the return address
        in.take<uint8_t>();
    else
        in.take_leb128();
    constexpr uint8_t none = 0xff;
    information_.handlers = none;
    information_.has_augmentation = augmentation[0] == 'z';
    if (augmentation[0] && augmentation[0] != 'z')
        return information_;
    if (augmentation[0])
        in.take_leb128();
    for (const char *letter = augmentation + (augmentation[0] ? 1 : 0); *letter; letter++) {
        if (*letter == 'R')
            information_.pointers = in.take<uint8_t>();
        else if (*letter == 'L')
            information_.handlers = in.take<uint8_t>();
        else if (*letter == 'P')
            in.take_encoded(in.take<uint8_t>());
        else if (!std::strchr("SBG", *letter))
            return information_;
    }
    information_.known = static_cast<bool>(in);
    return information_;
}

// The function of an entry; none if its description can't be believed.
std::optional<function> module_image::describe(size_t i) const {
    const uintptr_t description =
        table_base_ + static_cast<uintptr_t>(int64_t{entry(i).description});
    cursor in(*this, description);
    const auto length = in.take<uint32_t>();
    const uintptr_t reference = in.address();
    const auto distance = in.take<uint32_t>();
    if (!in || length == 0 || length == 0xffffffff || distance == 0 || distance > reference)
        return std::nullopt;
    const common_information &information = information_at(reference - distance);
    if (!information.known)
        return std::nullopt;
    const uintptr_t start = in.take_encoded(information.pointers);
    const uintptr_t size = in.take_encoded(information.pointers, true);
    bool has_handlers = false;
    if (information.has_augmentation) {
        in.take_leb128();
        constexpr uint8_t none = 0xff;
        has_handlers =
            information.handlers != none && in.take_encoded(information.handlers, true) != 0;
    }
    const text *in_text = text_at(start);
    if (!in || start != start_of(i) || start % 4 != 0 || !in_text || size == 0)
        return std::nullopt;
    // Functions don't overlap: of two that say so, the first one ends where the second begins.
    uintptr_t end = start + std::min(size, in_text->end() - start);
    for (size_t next = i + 1; next < table_size_; next++)
        if (start_of(next) != start) {
            end = std::min(end, start_of(next));
            break;
        }
    return function{start, end & ~uintptr_t{3}, has_handlers};
}

std::optional<function> module_image::function_at(uintptr_t pc) const {
    const size_t count = entries_up_to(pc);
    if (count == 0)
        return std::nullopt;
    const auto found = describe(count - 1);
    return found && pc < found->end ? found : std::nullopt;
}

std::optional<function> module_image::gap_at(uintptr_t pc) const {
    const text *around = text_at(pc);
    if (!around)
        return std::nullopt;
    const size_t count = entries_up_to(pc);
    function gap = {around->start, around->end(), false};
    if (count > 0) {
        const auto before = describe(count - 1);
        if (before && before->end <= pc)
            gap.start = std::max(gap.start, before->end);
    }
    if (count < table_size_)
        gap.end = std::min(gap.end, std::max(start_of(count) & ~uintptr_t{3}, pc + 4));
    return gap;
}

} // namespace sve::analysis
