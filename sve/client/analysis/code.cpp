#include "sve/client/analysis/code.h"

#include "sve/client/analysis/native_writes.h"

#include <algorithm>

namespace sve::analysis {

void code_stretch::load(uintptr_t start, std::span<const uint32_t> words) {
    start_ = start;
    words_.assign(words.begin(), words.end());
    facts_.assign(words.size(), {});
    live_.assign(words.size(), 0);
    exits_.clear();
    entries_.clear();
    literals_.clear();
    has_sve_ = false;
    has_indirect_jump_ = false;
}

// ---- Reach --------------------------------------------------------------------------------------

// Takes in what the word says for itself.
void code_stretch::look_at(size_t i) {
    const uint32_t word = words_[i];
    word_facts &facts = facts_[i];
    facts.reached = true;
    if (bits(word, 28, 25) == 0b0010) {
        const vector_use *use = sve_.find(word);
        if (!use) {
            facts.kind = flow::stop;
            return;
        }
        facts.reads = use->reads(word);
        facts.writes = use->writes(word);
        facts.is_sve = true;
        has_sve_ = true;
        return;
    }
    facts.writes = native_writes(word);
    if (literal_of(word))
        literals_.push_back(static_cast<uint32_t>(i));
    const auto [kind, distance] = control_of(word);
    facts.kind = kind;
    facts.target = static_cast<int32_t>(i) + distance;
    switch (kind) {
    case flow::branch:
    case flow::jump:
        if (is_inside(facts.target)) {
            const auto to = static_cast<size_t>(facts.target);
            facts_[to].ends_loop |= to <= i;
            to_follow_.push_back(static_cast<uint32_t>(to));
            break;
        }
        [[fallthrough]];
    case flow::call:
        exits_.push_back(static_cast<uint32_t>(i));
        break;
    case flow::indirect_jump:
        has_indirect_jump_ = true;
        break;
    default:
        break;
    }
}

void code_stretch::follow(size_t from) {
    to_follow_.push_back(static_cast<uint32_t>(from));
    while (!to_follow_.empty()) {
        size_t i = to_follow_.back();
        to_follow_.pop_back();
        for (; i < words_.size() && !facts_[i].reached && !facts_[i].is_data; i++) {
            look_at(i);
            if (!falls_through(facts_[i].kind))
                break;
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
                word_facts &facts = facts_[static_cast<size_t>(at)];
                conflict |= facts.reached;
                facts.is_data = true;
            }
    }
    return conflict;
}

void code_stretch::enter(uintptr_t pc) {
    if (!contains(pc))
        return;
    if (!facts_[index(pc)].is_entry) {
        facts_[index(pc)].is_entry = true;
        entries_.push_back(static_cast<uint32_t>(index(pc)));
    }
    follow(index(pc));
    // Behind a call that doesn't come back there may be data. What is known to be data is no way for control.
    while (mark_data()) {
        for (word_facts &facts : facts_)
            facts = {.is_entry = facts.is_entry, .is_data = facts.is_data};
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
        if (facts_[first].reached)
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
            if (facts_[last + 1].reached)
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
            if (facts_[to].reached && !facts_[from].reached && is_code(from)) {
                follow(from);
                more = true;
            }
        // Straight down into what has been reached, from a place where control can only come by a jump. What stands
        // behind data may be data itself.
        for (size_t i = 1; i < words_.size(); i++) {
            if (!facts_[i].reached || facts_[i - 1].reached)
                continue;
            size_t first = i;
            while (first > 0 && !facts_[first - 1].reached && is_code(first - 1) &&
                   falls_through(control_of(words_[first - 1]).kind))
                first--;
            const bool begins =
                first == 0 || facts_[first - 1].reached ||
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
        const word_facts &facts = facts_[i];
        if (!facts.reached)
            continue;
        if (falls_through(facts.kind) && i + 1 < words_.size())
            has_way[i + 1] = true;
        if ((facts.kind == flow::branch || facts.kind == flow::jump) && is_inside(facts.target))
            has_way[static_cast<size_t>(facts.target)] = true;
    }
    std::vector<size_t> first;
    for (size_t i = 0; i < words_.size(); i++)
        if (facts_[i].reached && !has_way[i])
            first.push_back(i);
    for (const size_t i : first)
        enter(start_ + 4 * i);
}

// ---- Liveness -----------------------------------------------------------------------------------

void code_stretch::find_live(const surroundings &around) {
    const uint64_t by_caller = uint64_t{around.read_by_caller} << 32;
    uint64_t anywhere = by_caller | around.read_outside; // where an indirect jump may lead to
    for (word_facts &facts : facts_)
        if (facts.kind == flow::indirect_call)
            facts.reads = passed_registers;
    for (const uint32_t i : exits_)
        facts_[i].reads = around.read_at(target(i), facts_[i].kind == flow::call);

    for (bool again = true; again;) {
        again = false;
        for (size_t i = words_.size(); i-- > 0;) {
            const word_facts &facts = facts_[i];
            if (!facts.reached)
                continue;
            uint64_t live = (live_behind(i) & ~in_both(facts.writes)) | facts.reads;
            const bool branches = facts.kind == flow::branch || facts.kind == flow::jump;
            if (facts.kind == flow::function_return || (branches && !is_inside(facts.target)))
                live |= by_caller;
            else if (facts.kind == flow::indirect_jump)
                live |= anywhere;
            again |= facts.ends_loop && live != live_[i];
            live_[i] = live;
            if (has_indirect_jump_ && live & ~anywhere) {
                anywhere |= live;
                again = true;
            }
        }
    }
}

void code_stretch::add_places(std::vector<place> &places) const {
    for (size_t i = 0; i < words_.size(); i++) {
        const word_facts &facts = facts_[i];
        if (facts.reached && !facts.is_sve && facts.writes & registers_of(live_behind(i)))
            places.push_back({start_ + 4 * i, facts.writes});
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
        handed_over |= registers_of(live_[entry]);
    }
    do {
        again = false;
        for (size_t i = 0; i < words_.size(); i++) {
            const word_facts &facts = facts_[i];
            if (!before[i].met || facts.is_sve)
                continue;
            const uint32_t on_some = before[i].on_some | facts.writes;
            const uint32_t on_all = before[i].on_all | facts.writes;
            if (falls_through(facts.kind))
                arrive(static_cast<int64_t>(i) + 1, on_some, on_all, false);
            if (facts.kind == flow::branch || facts.kind == flow::jump)
                arrive(facts.target, on_some, on_all, facts.target <= static_cast<int64_t>(i));
        }
    } while (again);
    const written &there = before[index(pc)];
    return there.met ? there.on_some & (there.on_all | ~handed_over) : 0;
}

} // namespace sve::analysis
