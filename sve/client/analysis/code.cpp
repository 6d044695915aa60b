#include "sve/client/analysis/code.h"

#include "sve/client/analysis/native_writes.h"

#include <algorithm>
#include <iterator>

namespace sve::analysis {

void code_stretch::load(uintptr_t start, std::span<const uint32_t> words) {
    start_ = start;
    words_.assign(words.begin(), words.end());
    properties_.assign(words.size(), 0);
    if (effects_.size() < words.size()) {
        effects_.resize(words.size());
        block_of_.resize(words.size());
    }
    blocks_.clear();
    exits_.clear();
    entries_.clear();
    literals_.clear();
    has_sve_ = false;
    has_indirect_jump_ = false;
}

// ---- Reach --------------------------------------------------------------------------------------

// Bits 28:25 tell of most words that they are of no interest: each of these is a set of such groups.
using groups = unsigned;
static constexpr groups undefined_groups = 1 << 0b0000 | 1 << 0b0001 | 1 << 0b0011;
static constexpr groups sve_group = 1 << 0b0010;
static constexpr groups branches = 1 << 0b1010 | 1 << 0b1011;
static constexpr groups with_literal_loads = 1 << 0b1100 | 1 << 0b1110;
static constexpr groups vectors = 1 << 0b0110 | 1 << 0b1110 | 1 << 0b0111 | 1 << 0b1111;
static bool is_of(groups set, uint32_t word) {
    return set >> bits(word, 28, 25) & 1;
}
// Those of words that may lead elsewhere or stop, and that may have an effect on upper bytes.
static constexpr groups turns = undefined_groups | sve_group | branches;
static constexpr groups with_effects = sve_group | vectors;
static constexpr groups of_interest = turns | vectors | with_literal_loads;

// Notes where the word at `i` leads to. Returns whether control can come to the one behind it.
bool code_stretch::go_on_behind(size_t i) {
    const uint32_t word = words_[i];
    if (is_of(sve_group, word)) {
        const vector_use *use = sve_.find(word);
        effects_[i] = use ? effect{use->reads(word), use->writes(word), true} : effect{0, 0, false};
        has_sve_ |= use != nullptr;
        return use;
    }
    const auto [kind, distance] = control_of(word);
    const int64_t target = static_cast<int64_t>(i) + distance;
    const bool branches = kind == flow::branch || kind == flow::jump;
    if (branches && is_inside(target)) {
        set(begins_block, static_cast<size_t>(target));
        to_follow_.push_back(static_cast<uint32_t>(target));
    } else if (branches || kind == flow::call) {
        exits_.push_back(static_cast<uint32_t>(i));
    }
    has_indirect_jump_ |= kind == flow::indirect_jump;
    if (kind != flow::next && i + 1 < words_.size())
        set(begins_block, i + 1);
    return falls_through(kind);
}

void code_stretch::follow(size_t from) {
    // Bytes may be anything: without these copies the vectors would be looked up again behind each of them.
    const uint32_t *const words = words_.data();
    uint8_t *const properties = properties_.data();
    const size_t size = words_.size();
    set(begins_block, from);
    to_follow_.push_back(static_cast<uint32_t>(from));
    while (!to_follow_.empty()) {
        size_t i = to_follow_.back();
        to_follow_.pop_back();
        for (; i < size && !(properties[i] & (reached | is_data)); i++) {
            const uint32_t word = words[i];
            properties[i] |= reached;
            if (!is_of(of_interest, word))
                continue;
            if (is_of(turns, word)) {
                if (!go_on_behind(i))
                    break;
                continue;
            }
            if (is_of(vectors, word))
                effects_[i] = {0, native_writes(word), false};
            if (literal_of(word))
                literals_.push_back(static_cast<uint32_t>(i));
        }
    }
}

// Marks what the loads that have been reached read. Returns whether it is among what has been reached as code.
bool code_stretch::mark_data() {
    bool conflict = false;
    for (const uint32_t i : literals_) {
        const literal read = *literal_of(words_[i]);
        for (int64_t at = int64_t{i} + read.distance, end = at + read.words; at < end; at++)
            if (is_inside(at)) {
                conflict |= is(reached, static_cast<size_t>(at));
                set(is_data, static_cast<size_t>(at));
            }
    }
    return conflict;
}

void code_stretch::enter(uintptr_t pc) {
    if (!contains(pc))
        return;
    if (!is(is_entry, index(pc))) {
        set(is_entry, index(pc));
        entries_.push_back(static_cast<uint32_t>(index(pc)));
    }
    follow(index(pc));
    // Behind a call that doesn't come back there may be data. What is known to be data is no way for control.
    while (mark_data()) {
        for (uint8_t &properties : properties_)
            properties &= is_entry | is_data;
        exits_.clear();
        literals_.clear();
        has_sve_ = false;
        has_indirect_jump_ = false;
        for (const uint32_t entry : entries_)
            follow(entry);
    }
}

void code_stretch::add_sve(std::vector<uintptr_t> &pcs) const {
    if (!has_sve_)
        return;
    for (size_t i = 0; i < words_.size(); i++)
        if (is_of(sve_group, words_[i]) && is(reached, i) && effects_[i].is_sve)
            pcs.push_back(start_ + 4 * i);
}

bool code_stretch::looks_like_code(size_t i) const {
    const uint32_t word = words_[i];
    return bits(word, 28, 25) == 0b0010 ? sve_.find(word) != nullptr : looks_native(word);
}

// Whether a branch by register uses the address that the ADR at `i` makes: the base of a table of distances.
static bool is_jump_base(std::span<const uint32_t> words, size_t i) {
    constexpr size_t nearby = 8;
    uint32_t registers = 1u << bits(words[i], 4, 0);
    for (size_t at = i + 1; at < std::min(i + nearby, words.size()); at++) {
        const uint32_t word = words[at];
        if (bits(word, 31, 24) == 0b10001011 && // add xd, xn, xm, shifted or extended
            (registers >> bits(word, 9, 5) & 1 || registers >> bits(word, 20, 16) & 1))
            registers |= 1u << bits(word, 4, 0);
        if (const flow kind = control_of(word).kind; !falls_through(kind))
            return kind == flow::indirect_jump && registers >> bits(word, 9, 5) & 1;
    }
    return false;
}

// The words that may be data by what any of the words says, reached or not.
std::vector<bool> code_stretch::data_of_any_word() const {
    std::vector<bool> data(words_.size());
    const auto mark = [&](int64_t at) {
        if (is_inside(at))
            data[static_cast<size_t>(at)] = true;
    };
    for (size_t i = 0; i < words_.size(); i++) {
        const auto here = static_cast<int64_t>(i);
        if (const auto read = literal_of(words_[i]))
            for (unsigned k = 0; k < read->words; k++)
                mark(here + read->distance + k);
        else if (is_adr(words_[i]) && !is_jump_base(words_, i))
            mark(here + (adr_distance(words_[i]) >> 2));
    }
    return data;
}

void code_stretch::enter_gaps(bool has_handlers) {
    if (!has_indirect_jump_ && !has_handlers)
        return;
    const std::vector<bool> data = data_of_any_word();
    for (size_t first = 0; first < words_.size(); first++) {
        if (is(reached, first))
            continue;
        // A piece: to where control doesn't go on, or on to what has been reached.
        bool is_code = true;
        size_t last = first;
        for (;; last++) {
            is_code &= !data[last] && looks_like_code(last);
            const flow kind = control_of(words_[last]).kind;
            if (!falls_through(kind) || last + 1 == words_.size()) {
                is_code &= !falls_through(kind) || kind == flow::call; // one that doesn't come back
                break;
            }
            if (is(reached, last + 1))
                break;
        }
        if (is_code)
            enter(start_ + 4 * first);
        first = last;
    }
}

void code_stretch::enter_around(uintptr_t pc) {
    if (!contains(pc) || is_reached(pc))
        return;
    follow(index(pc));
    const std::vector<bool> data = data_of_any_word();

    struct jump {
        uint32_t to, from;
    };
    std::vector<jump> jumps; // direct ones that stay inside
    for (size_t i = 0; i < words_.size(); i++)
        if (const auto [kind, distance] = control_of(words_[i]);
            (kind == flow::branch || kind == flow::jump) &&
            is_inside(static_cast<int64_t>(i) + distance))
            jumps.push_back({static_cast<uint32_t>(static_cast<int64_t>(i) + distance),
                             static_cast<uint32_t>(i)});

    const auto is_code = [&](size_t i) { return !data[i] && looks_like_code(i); };
    // Linkers fill up with zeros to where the next piece is aligned, to eight bytes or more.
    const auto is_padding = [&](size_t i) {
        return words_[i] == 0 && !data[i] && (start_ + 4 * (i + 1)) % 8 == 0;
    };
    for (bool more = true; more;) {
        more = false;
        for (const auto &[to, from] : jumps)
            if (is(reached, to) && !is(reached, from) && is_code(from)) {
                follow(from);
                more = true;
            }
        // Straight down into what has been reached, from a place where control can only come by a jump. What stands
        // behind data may be data itself.
        for (size_t i = 1; i < words_.size(); i++) {
            if (!is(reached, i) || is(reached, i - 1))
                continue;
            size_t first = i;
            while (first > 0 && !is(reached, first - 1) && is_code(first - 1) &&
                   falls_through(control_of(words_[first - 1]).kind))
                first--;
            const bool begins =
                first == 0 || is(reached, first - 1) || is_padding(first - 1) ||
                (is_code(first - 1) && !falls_through(control_of(words_[first - 1]).kind));
            if (first == i || !begins)
                continue;
            follow(first);
            more = true;
        }
    }
    // Where nothing leads to, control comes from elsewhere.
    std::vector<bool> has_way(words_.size());
    for (size_t i = 0; i < words_.size(); i++) {
        if (!is(reached, i))
            continue;
        const auto [kind, distance] = control_of(words_[i]);
        const int64_t target = static_cast<int64_t>(i) + distance;
        if (falls_through(kind) && i + 1 < words_.size())
            has_way[i + 1] = true;
        if ((kind == flow::branch || kind == flow::jump) && is_inside(target))
            has_way[static_cast<size_t>(target)] = true;
    }
    std::vector<size_t> first;
    for (size_t i = 0; i < words_.size(); i++)
        if (is(reached, i) && !has_way[i])
            first.push_back(i);
    for (const size_t i : first)
        enter(pc_of(static_cast<int64_t>(i)));
}

bool code_stretch::goes_beyond(uintptr_t distance) const {
    if (words_.empty())
        return false;
    const size_t last = words_.size() - 1;
    if (is(reached, 0) || (is(reached, last) && falls_through(control_of(words_[last]).kind)))
        return true;
    for (const uint32_t i : exits_) {
        const control way = control_of(words_[i]);
        const uintptr_t to = pc_of(i + int64_t{way.distance});
        if (way.kind != flow::call && to >= start() - distance && to < end() + distance)
            return true;
    }
    return false;
}

// ---- Liveness -----------------------------------------------------------------------------------

// The block that begins at a word; null if none does.
const code_stretch::block *code_stretch::block_at(size_t i) const {
    if (i >= words_.size() || block_of_[i] >= blocks_.size())
        return nullptr;
    const block &found = blocks_[block_of_[i]];
    return found.first == i ? &found : nullptr;
}

void code_stretch::find_blocks() {
    blocks_.clear();
    const size_t size = words_.size();
    const auto goes_on = [&](size_t i) {
        return i < size && (properties_[i] & (reached | begins_block)) == reached;
    };
    for (size_t i = 0; i < size; i++) {
        if (!is(reached, i))
            continue;
        const size_t first = i;
        block_of_[first] = static_cast<uint32_t>(blocks_.size());
        flow kind = flow::next;
        int32_t target = 0;
        uint32_t reads = 0, writes = 0, inner = 0, native = 0;
        for (;; i++) {
            const uint32_t word = words_[i];
            if (is_of(with_effects, word)) {
                const effect &here = effects_[i];
                reads |= here.reads & ~writes;
                inner |= here.reads;
                writes |= here.writes;
                native |= here.is_sve ? 0 : here.writes;
                if (!here.is_sve && is_of(sve_group, word))
                    kind = flow::stop;
            } else if (is_of(turns, word)) {
                const control way = control_of(word);
                kind = way.kind;
                target = way.distance;
            }
            if (!goes_on(i + 1))
                break;
        }
        blocks_.push_back({static_cast<uint32_t>(first), static_cast<uint32_t>(i), kind, -1, target,
                           reads, writes, inner, native, 0, 0});
    }
    for (size_t n = 0; n < blocks_.size(); n++) {
        block &b = blocks_[n];
        if (falls_through(b.kind) && n + 1 < blocks_.size() && blocks_[n + 1].first == b.last + 1)
            b.next = static_cast<int32_t>(n) + 1;
        const bool branches = b.kind == flow::branch || b.kind == flow::jump;
        const int64_t to = int64_t{b.last} + b.target;
        const block *target =
            branches && is_inside(to) ? block_at(static_cast<size_t>(to)) : nullptr;
        b.target = target ? static_cast<int32_t>(target - blocks_.data()) : -1;
    }
}

void code_stretch::find_live(const surroundings &around) {
    find_blocks();
    constexpr unsigned unknown = 32; // where the bits of readers that are not known begin
    const uint64_t by_caller = uint64_t{around.read_by_caller} << unknown;
    // By where an indirect jump may lead to.
    uint64_t anywhere = by_caller | uint64_t{around.read_outside} << unknown;
    for (block &b : blocks_)
        if (b.kind == flow::indirect_call)
            b.read_by_last = uint64_t{passed_registers} << unknown;
        else if (b.kind == flow::function_return)
            b.read_by_last = by_caller;
    for (const uint32_t i : exits_) {
        const auto [kind, distance] = control_of(words_[i]);
        const bool call = kind == flow::call;
        const auto read = around.read_at(pc_of(i + int64_t{distance}));
        block &b = *std::prev(std::upper_bound(
            blocks_.begin(), blocks_.end(), i,
            [](uint32_t at, const block &candidate) { return at < candidate.first; }));
        b.read_by_last = read   ? *read
                         : call ? uint64_t{passed_registers} << unknown
                                : uint64_t{all_registers} << unknown;
        if (!call)
            b.read_by_last |= by_caller;
    }

    for (bool again = true; again;) {
        again = false;
        for (size_t i = blocks_.size(); i-- > 0;) {
            block &b = blocks_[i];
            if (b.kind == flow::indirect_jump)
                b.read_by_last = anywhere;
            const uint64_t live = (live_behind(b) & ~in_both(b.writes)) | b.reads;
            again |= live != b.live;
            b.live = live;
            if (has_indirect_jump_ && live & ~anywhere) {
                anywhere |= live;
                again = true;
            }
        }
    }
}

void code_stretch::add_places(std::vector<place> &places) const {
    for (const block &b : blocks_) {
        // From the end of the block to its beginning, and then in ascending order.
        uint32_t live = registers_of(live_behind(b));
        if (!(b.native & (live | b.inner)))
            continue;
        const size_t before = places.size();
        for (size_t i = b.last + size_t{1}; i-- > b.first;) {
            if (!is_of(with_effects, words_[i]))
                continue;
            const auto [reads, writes, is_sve] = effects_[i];
            if (!is_sve && writes & live)
                places.push_back({pc_of(static_cast<int64_t>(i)), writes});
            live = (live & ~writes) | reads;
        }
        std::reverse(places.begin() + static_cast<ptrdiff_t>(before), places.end());
    }
}

uint32_t code_stretch::written_before(uintptr_t pc) const {
    if (!is_reached(pc))
        return 0;
    struct written {
        uint32_t on_some = 0, on_all = all_registers;
        bool met = false;
    };
    std::vector<written> before(words_.size());
    bool again = false;
    const auto arrive = [&](int64_t at, uint32_t on_some, uint32_t on_all, bool from_behind) {
        if (!is_inside(at))
            return;
        written &there = before[static_cast<size_t>(at)];
        if (!there.met || (on_some & ~there.on_some) || (there.on_all & ~on_all)) {
            there = {there.on_some | on_some, there.on_all & on_all, true};
            again |= from_behind;
        }
    };
    uint32_t handed_over = 0;
    for (const uint32_t entry : entries_) {
        arrive(entry, 0, 0, false);
        handed_over |= registers_of(live_from(entry));
    }
    do {
        again = false;
        for (size_t i = 0; i < words_.size(); i++) {
            if (!before[i].met || !is(reached, i))
                continue;
            const auto [reads, writes, is_sve] =
                is_of(with_effects, words_[i]) ? effects_[i] : effect{0, 0, false};
            if (is_sve)
                continue;
            const auto [kind, distance] = control_of(words_[i]);
            const int64_t here = static_cast<int64_t>(i);
            const uint32_t on_some = before[i].on_some | writes;
            const uint32_t on_all = before[i].on_all | writes;
            if (falls_through(kind))
                arrive(here + 1, on_some, on_all, false);
            if (kind == flow::branch || kind == flow::jump)
                arrive(here + distance, on_some, on_all, distance <= 0);
        }
    } while (again);
    const written &there = before[index(pc)];
    return there.met ? there.on_some & (there.on_all | ~handed_over) : 0;
}

} // namespace sve::analysis
