#include "sve/client/analysis/module_places.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory_resource>
#include <sys/mman.h>
#include <utility>

namespace sve::analysis {

namespace {

// What is only needed meanwhile comes from the system and goes back there: it is much for a large program, and a
// client's own heap keeps what it has given.
class mapped_memory : public std::pmr::memory_resource {
    void *do_allocate(size_t bytes, size_t) override {
        void *memory =
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        return memory;
    }
    void do_deallocate(void *memory, size_t bytes, size_t) override { munmap(memory, bytes); }
    bool do_is_equal(const memory_resource &other) const noexcept override {
        return this == &other;
    }
};

class module_search {
public:
    module_search(const sve_words &sve, const module_image &image)
        : image_(image), stretch_(sve), functions_(&memory_), points_(&memory_), exits_(&memory_),
          branches_(&memory_), queue_(&memory_), changed_(&memory_) {}

    std::vector<place> run();

private:
    struct known_function {
        uintptr_t end;
        bool has_handlers;
        bool queued = false;
        bool looked_at = false;
        uint32_t read_behind = 0; // upper bytes that may be read behind its returns
        size_t exits = 0;         // that were found
    };
    using known_functions = std::pmr::map<uintptr_t, known_function>; // by their starts
    // Where control leaves a function for.
    struct point {
        known_functions::iterator function; // that it lies in; end: none is known there
        uint32_t used = 0;                  // from there on, before a return
    };
    struct exit {
        uintptr_t target;
        known_functions::iterator from;
    };

    known_functions::iterator need_function(uintptr_t pc);
    point &need_point(uintptr_t pc);
    void queue(known_functions::iterator function);
    void scan(const module_image::text &text);
    void queue_callers();
    void look_at(known_functions::iterator function);
    std::optional<uint32_t> read_at(uintptr_t target);

    const module_image &image_;
    code_stretch stretch_;
    mapped_memory system_;
    std::pmr::monotonic_buffer_resource memory_{1 << 20, &system_};
    known_functions functions_;
    std::pmr::map<uintptr_t, point> points_;
    std::pmr::vector<exit> exits_;
    struct branch {
        uintptr_t from, target;
    };
    std::pmr::vector<branch> branches_; // of the whole module
    std::pmr::vector<known_functions::iterator> queue_;
    std::pmr::vector<uintptr_t> changed_; // points where more is used than was known
    std::vector<place> places_;
};

module_search::known_functions::iterator module_search::need_function(uintptr_t pc) {
    auto found = functions_.upper_bound(pc);
    if (found != functions_.begin() && pc < std::prev(found)->second.end)
        return std::prev(found);
    const auto function = image_.function_at(pc);
    if (!function)
        return functions_.end();
    return functions_
        .emplace(function->start, known_function{function->end, function->has_handlers})
        .first;
}

module_search::point &module_search::need_point(uintptr_t pc) {
    const auto found = points_.find(pc);
    if (found != points_.end())
        return found->second;
    point &added = points_.emplace(pc, point{need_function(pc)}).first->second;
    // What goes on in the middle of a function may be reached by this way alone.
    if (added.function != functions_.end() && added.function->first != pc &&
        added.function->second.looked_at)
        queue(added.function);
    return added;
}

void module_search::queue(known_functions::iterator function) {
    if (!function->second.queued)
        queue_.push_back(function);
    function->second.queued = true;
}

// Eight words at once: most of a program is looked at no closer. Whether one of them is of SVE's group, or a B or BL.
constexpr size_t words_at_once = 8;
bool holds_word_of_interest(const uint32_t *words) {
    typedef uint32_t vector __attribute__((vector_size(16)));
    typedef uint64_t halves __attribute__((vector_size(16)));
    vector pieces[2];
    static_assert(sizeof pieces == words_at_once * sizeof *words);
    std::memcpy(pieces, words, sizeof pieces);
    const auto found =
        ((pieces[0] & 0x1e000000) == 0x04000000) | ((pieces[1] & 0x1e000000) == 0x04000000) |
        ((pieces[0] & 0x7c000000) == 0x14000000) | ((pieces[1] & 0x7c000000) == 0x14000000);
    const halves any = reinterpret_cast<halves>(found);
    return any[0] | any[1];
}

// Queues the functions that hold SVE words, and notes all direct branches that may be calls: the whole program is
// read once.
void module_search::scan(const module_image::text &text) {
    const std::span<const uint32_t> words = text.words;
    uintptr_t behind = 0; // the function or gap that was queued last
    const auto look_at_word = [&](size_t i) __attribute__((always_inline)) {
        const uint32_t word = words[i];
        const uintptr_t pc = text.start + 4 * i;
        if ((word & 0x7c000000) == 0x14000000) { // B, BL
            const auto distance = int64_t{static_cast<int32_t>(word << 6)} >> 4;
            branches_.push_back({pc, pc + static_cast<uintptr_t>(distance)});
        } else if ((word & 0x1e000000) == 0x04000000 && pc >= behind) { // of SVE's group
            behind = pc + 4;
            if (const auto function = need_function(pc); function != functions_.end()) {
                queue(function);
                behind = function->second.end;
            } else if (const auto gap = image_.gap_at(pc)) {
                behind = gap->end;
            }
        }
    };
    size_t i = 0;
    for (; i + words_at_once <= words.size(); i += words_at_once)
        if (holds_word_of_interest(&words[i]))
            for (size_t k = 0; k < words_at_once; k++)
                look_at_word(i + k);
    for (; i < words.size(); i++)
        look_at_word(i);
}

// Functions that have not been looked at yet and branch to a point that has changed.
void module_search::queue_callers() {
    // A bit for each of these, by its address.
    uint64_t sieve[64] = {};
    const auto word_of = [](uintptr_t pc) { return pc >> 8 & 63; };
    const auto bit_of = [](uintptr_t pc) { return uint64_t{1} << (pc >> 2 & 63); };
    for (const uintptr_t pc : changed_)
        sieve[word_of(pc)] |= bit_of(pc);
    for (const auto &[from, target] : branches_)
        if (sieve[word_of(target)] & bit_of(target) &&
            std::binary_search(changed_.begin(), changed_.end(), target))
            if (const auto function = need_function(from); function != functions_.end())
                if (!function->second.looked_at)
                    queue(function);
}

std::optional<uint32_t> module_search::read_at(uintptr_t target) {
    const point &there = need_point(target);
    if (there.function == functions_.end())
        return std::nullopt;
    return there.used;
}

void module_search::look_at(known_functions::iterator function) {
    const uintptr_t start = function->first;
    known_function &known = function->second;
    const module_image::text &text = *image_.text_at(start);
    stretch_.load(start, text.words.subspan((start - text.start) / 4, (known.end - start) / 4));
    stretch_.enter(start);
    for (auto p = points_.lower_bound(start); p != points_.end() && p->first < known.end; ++p)
        stretch_.enter(p->first);
    stretch_.enter_gaps(known.has_handlers);
    known.looked_at = true;
    if (stretch_.has_sve()) // anybody may call it
        known.read_behind |= passed_registers;
    stretch_.find_live({[this](uintptr_t target) { return read_at(target); }, known.read_behind,
                        passed_registers});
    stretch_.add_places(places_);

    need_point(start);
    for (auto p = points_.lower_bound(start); p != points_.end() && p->first < known.end; ++p)
        if (stretch_.is_reached(p->first) && stretch_.used_at(p->first) & ~p->second.used) {
            p->second.used |= stretch_.used_at(p->first);
            changed_.push_back(p->first);
        }

    const size_t known_exits = std::exchange(known.exits, stretch_.exits());
    stretch_.for_each_exit([&](const code_stretch::exit &e) {
        const point &there = need_point(e.target);
        if (known.exits != known_exits)
            exits_.push_back({e.target, function});
        // What is read behind this call, or behind this function if it ends by the jump, may be its result.
        const uint32_t read = e.call ? e.live_behind : known.read_behind;
        if (there.function == functions_.end())
            return;
        uint32_t &read_behind = there.function->second.read_behind;
        if (read & ~read_behind) {
            read_behind |= read;
            queue(there.function);
        }
    });
}

std::vector<place> module_search::run() {
    for (const module_image::text &text : image_.texts())
        scan(text);
    while (!queue_.empty()) {
        while (!queue_.empty()) {
            const auto function = queue_.back();
            queue_.pop_back();
            function->second.queued = false;
            look_at(function);
        }
        if (changed_.empty())
            break;
        std::sort(changed_.begin(), changed_.end());
        for (const exit &e : exits_)
            if (std::binary_search(changed_.begin(), changed_.end(), e.target))
                queue(e.from);
        queue_callers();
        changed_.clear();
    }
    const auto by_address = [](const place &a, const place &b) { return a.pc < b.pc; };
    std::sort(places_.begin(), places_.end(), by_address);
    places_.erase(std::unique(places_.begin(), places_.end()), places_.end());
    return std::move(places_);
}

} // namespace

std::vector<place> find_places(const sve_words &sve, const module_image &image) {
    return module_search(sve, image).run();
}

void load_function(code_stretch &stretch, const function &function,
                   std::span<const uint32_t> words) {
    stretch.load(function.start, words);
    stretch.enter(function.start);
    stretch.enter_gaps(function.has_handlers);
    stretch.find_live({});
}

} // namespace sve::analysis
