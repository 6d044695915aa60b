#include "sve/client/analysis/module_places.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <memory_resource>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace sve::analysis {

namespace {

// What is only needed meanwhile comes from the system and goes back there: it is much for a large program, in small
// pieces.
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

    module_places run();

private:
    struct known_function {
        uintptr_t end;
        bool has_handlers;
        bool queued = false;
        bool looked_at = false;
        uint32_t used = 0;        // upper bytes read from its start on, before a return
        uint32_t read_behind = 0; // upper bytes that may be read behind its returns
        size_t exits = 0;         // that were found
    };
    using known_functions = std::pmr::map<uintptr_t, known_function>; // by their starts
    struct exit {
        uintptr_t target;
        known_functions::iterator from;
    };

    known_functions::iterator need_function(uintptr_t pc);
    uint32_t &used_from(uintptr_t pc, known_functions::iterator function);
    void raise(uintptr_t pc, uint32_t &known, uint32_t used);
    void queue(known_functions::iterator function);
    void queue_functions_with_sve();
    void queue_callers();
    void look_at(known_functions::iterator function);
    std::optional<uint32_t> read_at(uintptr_t target);

    const module_image &image_;
    code_stretch stretch_;
    mapped_memory system_;
    std::pmr::monotonic_buffer_resource memory_{1 << 20, &system_};
    known_functions functions_;
    std::pmr::map<uintptr_t, uint32_t>
        points_; // the same of others that control comes to from elsewhere
    std::pmr::vector<exit> exits_;
    struct branch {
        uintptr_t from, target;
    };
    std::pmr::vector<branch> branches_; // of the whole module, once they are needed
    std::pmr::vector<known_functions::iterator> queue_;
    std::pmr::vector<uintptr_t> changed_; // points where more is used than was known
    module_places places_;
};

module_search::known_functions::iterator module_search::need_function(uintptr_t pc) {
    auto found = functions_.upper_bound(pc);
    if (found != functions_.begin() && pc < std::prev(found)->second.end)
        return std::prev(found);
    const auto function = image_.function_at(pc);
    if (!function)
        return functions_.end();
    return functions_.emplace_hint(found, function->start,
                                   known_function{function->end, function->has_handlers});
}

// What is known of a point that control comes to from elsewhere, and of the function that it lies in.
uint32_t &module_search::used_from(uintptr_t pc, known_functions::iterator function) {
    if (function->first == pc)
        return function->second.used;
    const auto [found, is_new] = points_.emplace(pc, 0);
    // What goes on in the middle of a function may be reached by this way alone.
    if (is_new && function->second.looked_at)
        queue(function);
    return found->second;
}

void module_search::raise(uintptr_t pc, uint32_t &known, uint32_t used) {
    if (!(used & ~known))
        return;
    known |= used;
    changed_.push_back(pc);
}

void module_search::queue(known_functions::iterator function) {
    if (!function->second.queued)
        queue_.push_back(function);
    function->second.queued = true;
}

// Whether one of some words is of a kind: most of a program is looked at no closer than by this.
constexpr size_t words_at_once = 16;
template <uint32_t mask, uint32_t value>
bool holds_word(const uint32_t *words) {
    typedef uint32_t vector __attribute__((vector_size(16)));
    typedef uint64_t halves __attribute__((vector_size(16)));
    vector pieces[words_at_once / 4];
    std::memcpy(pieces, words, sizeof pieces);
    const auto found = ((pieces[0] & mask) == value) | ((pieces[1] & mask) == value) |
                       ((pieces[2] & mask) == value) | ((pieces[3] & mask) == value);
    const halves any = reinterpret_cast<halves>(found);
    return any[0] | any[1];
}

// Calls visit(pc, word) for words of a kind, in ascending order. It returns the address from which on it wants more.
template <uint32_t mask, uint32_t value, class F>
void for_each_word(const module_image &image, F &&visit) {
    for (const module_image::text &text : image.texts()) {
        const std::span<const uint32_t> words = text.words;
        for (size_t i = 0; i < words.size();) {
            const size_t end = std::min(i + words_at_once, words.size());
            if (end == i + words_at_once && !holds_word<mask, value>(&words[i])) {
                i = end;
                continue;
            }
            while (i < end)
                if ((words[i] & mask) == value)
                    i = (visit(text.start + 4 * i, words[i]) - text.start) / 4;
                else
                    i++;
        }
    }
}

void module_search::queue_functions_with_sve() {
    for_each_word<0x1e000000, 0x04000000>(image_, [&](uintptr_t pc, uint32_t) {
        const auto function = need_function(pc);
        if (function != functions_.end()) {
            queue(function);
            return function->second.end;
        }
        const auto gap = image_.gap_at(pc);
        return gap ? gap->end : pc + 4;
    });
}

// Functions that have not been looked at yet and branch to a point that has changed.
void module_search::queue_callers() {
    // A bit for each of these, by its address.
    uint64_t sieve[64] = {};
    const auto word_of = [](uintptr_t pc) { return pc >> 8 & 63; };
    const auto bit_of = [](uintptr_t pc) { return uint64_t{1} << (pc >> 2 & 63); };
    for (const uintptr_t pc : changed_)
        sieve[word_of(pc)] |= bit_of(pc);
    if (branches_.empty())
        for_each_word<0x7c000000, 0x14000000>(image_, [&](uintptr_t pc, uint32_t word) { // B, BL
            const auto distance = int64_t{control_of(word).distance} * 4;
            branches_.push_back({pc, pc + static_cast<uintptr_t>(distance)});
            return pc + 4;
        });
    for (const auto &[from, target] : branches_)
        if (sieve[word_of(target)] & bit_of(target) &&
            std::binary_search(changed_.begin(), changed_.end(), target))
            if (const auto function = need_function(from); function != functions_.end())
                if (!function->second.looked_at)
                    queue(function);
}

std::optional<uint32_t> module_search::read_at(uintptr_t target) {
    const auto function = need_function(target);
    if (function == functions_.end())
        return std::nullopt;
    return used_from(target, function);
}

void module_search::look_at(known_functions::iterator function) {
    const uintptr_t start = function->first;
    known_function &known = function->second;
    const module_image::text &text = *image_.text_at(start);
    stretch_.load(start, text.words.subspan((start - text.start) / 4, (known.end - start) / 4));
    stretch_.enter(start);
    const auto first = points_.lower_bound(start), last = points_.lower_bound(known.end);
    for (auto p = first; p != last; ++p)
        stretch_.enter(p->first);
    stretch_.enter_gaps(known.has_handlers);
    if (!known.looked_at)
        stretch_.add_sve(places_.sve);
    known.looked_at = true;
    if (stretch_.has_sve()) // anybody may call it
        known.read_behind |= passed_registers;
    stretch_.find_live({[this](uintptr_t target) { return read_at(target); }, known.read_behind,
                        passed_registers});
    stretch_.add_places(places_.native);

    raise(start, known.used, stretch_.used_at(start));
    for (auto p = first; p != last; ++p)
        raise(p->first, p->second, stretch_.used_at(p->first));

    const size_t known_exits = std::exchange(known.exits, stretch_.exits());
    stretch_.for_each_exit([&](const code_stretch::exit &e) {
        if (known.exits != known_exits)
            exits_.push_back({e.target, function});
        // What is read behind this call, or behind this function if it ends by the jump, may be its result.
        const uint32_t read = e.call ? e.live_behind : known.read_behind;
        const auto there = need_function(e.target);
        if (there == functions_.end() || !(read & ~there->second.read_behind))
            return;
        there->second.read_behind |= read;
        queue(there);
    });
}

module_places module_search::run() {
    queue_functions_with_sve();
    while (!queue_.empty()) {
        // In the order of addresses, at first: what is found then needs no sorting.
        for (size_t next = 0; next < queue_.size(); next++) {
            queue_[next]->second.queued = false;
            look_at(queue_[next]);
        }
        queue_.clear();
        if (changed_.empty())
            break;
        std::sort(changed_.begin(), changed_.end());
        for (const exit &e : exits_)
            if (std::binary_search(changed_.begin(), changed_.end(), e.target))
                queue(e.from);
        queue_callers();
        changed_.clear();
    }
    const auto sort = [](auto &found, auto &&before) {
        if (!std::is_sorted(found.begin(), found.end(), before))
            std::sort(found.begin(), found.end(), before);
    };
    auto &[native, sve] = places_;
    sort(native, [](const place &a, const place &b) { return a.pc < b.pc; });
    native.erase(std::unique(native.begin(), native.end()), native.end());
    sort(sve, std::less<>());
    return std::move(places_);
}

} // namespace

module_places find_places(const sve_words &sve, const module_image &image) {
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
