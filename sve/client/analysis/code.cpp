#include "sve/client/analysis/code.h"

#include "sve/client/analysis/native_writes.h"

#include <algorithm>

namespace sve::analysis {

void code_stretch::load(uintptr_t start, std::span<const uint32_t> words) {
    start_ = start;
    words_.assign(words.begin(), words.end());
    properties_.assign(words.size(), 0);
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
static constexpr groups loads_and_stores = 1 << 0b0100 | 1 << 0b0110 | 1 << 0b1100 | 1 << 0b1110;
static constexpr groups vectors = 1 << 0b0110 | 1 << 0b1110 | 1 << 0b0111 | 1 << 0b1111;
static bool is_of(groups set, uint32_t word) {
    return set >> bits(word, 28, 25) & 1;
}
// Those of words that may lead elsewhere or stop.
static constexpr groups turns = undefined_groups | sve_group | branches;

// Notes where the word at `i` leads to. Returns whether control can come to the one behind it.
bool code_stretch::go_on_behind(size_t i) {
    const uint32_t word = words_[i];
    if (bits(word, 28, 25) == 0b0010) {
        const bool is_known = sve_.find(word);
        has_sve_ |= is_known;
        return is_known;
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
    set(begins_block, from);
    to_follow_.push_back(static_cast<uint32_t>(from));
    while (!to_follow_.empty()) {
        size_t i = to_follow_.back();
        to_follow_.pop_back();
        for (; i < words_.size() && !(properties_[i] & (reached | is_data)); i++) {
            set(reached, i);
            if (is_of(turns, words_[i])) {
                if (!go_on_behind(i))
                    break;
            } else if (is_of(loads_and_stores, words_[i]) && literal_of(words_[i])) {
                literals_.push_back(static_cast<uint32_t>(i));
            }
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
                first == 0 || is(reached, first - 1) ||
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

// ---- Liveness -----------------------------------------------------------------------------------

code_stretch::effect code_stretch::effect_of(uint32_t word) const {
    if (bits(word, 28, 25) != 0b0010)
        return {0, native_writes(word), false};
    const vector_use *use = sve_.find(word);
    return use ? effect{use->reads(word), use->writes(word), true} : effect{0, 0, false};
}

// The block that begins at a word; null if none does.
const code_stretch::block *code_stretch::block_at(size_t i) const {
    const auto found = std::lower_bound(blocks_.begin(), blocks_.end(), i,
                                        [](const block &b, size_t at) { return b.first < at; });
    return found != blocks_.end() && found->first == i ? &*found : nullptr;
}

void code_stretch::find_blocks() {
    blocks_.clear();
    for (size_t i = 0; i < words_.size(); i++) {
        if (!is(reached, i))
            continue;
        block b = {static_cast<uint32_t>(i), static_cast<uint32_t>(i), flow::next, -1, -1};
        for (;; i++) {
            if (const uint32_t word = words_[i]; is_of(turns | vectors, word)) {
                const auto [reads, writes, is_sve] = effect_of(word);
                b.reads |= reads & ~b.writes;
                b.inner |= reads;
                b.writes |= writes;
                if (!is_sve) {
                    b.native |= writes;
                    b.kind = is_of(sve_group, word) ? flow::stop : control_of(word).kind;
                }
            }
            if (b.kind != flow::next || i + 1 == words_.size() ||
                (properties_[i + 1] & (reached | begins_block)) != reached)
                break;
        }
        b.last = static_cast<uint32_t>(i);
        blocks_.push_back(b);
    }
    const auto number_at = [this](int64_t i) {
        const block *found = is_inside(i) ? block_at(static_cast<size_t>(i)) : nullptr;
        return found ? static_cast<int32_t>(found - blocks_.data()) : -1;
    };
    for (block &b : blocks_) {
        if (falls_through(b.kind))
            b.next = number_at(int64_t{b.last} + 1);
        if (b.kind == flow::branch || b.kind == flow::jump)
            b.target = number_at(b.last + int64_t{control_of(words_[b.last]).distance});
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
            const auto [reads, writes, is_sve] = effect_of(words_[i]);
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
            const auto [reads, writes, is_sve] = effect_of(words_[i]);
            if (!before[i].met || !is(reached, i) || is_sve)
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
