#include "platform/src/trampolines.h"

#include "platform/src/mappings.h"

#include <algorithm>
#include <atomic>
#include <sys/mman.h>

#ifndef MAP_FIXED_NOREPLACE
#define MAP_FIXED_NOREPLACE 0x100000
#endif

namespace platform {

namespace {

constexpr size_t chunk_bytes = size_t{64} << 10;

// A chunk begins with a bit for each place in it where a trampoline may start, and it starts there where the bit is set.
constexpr size_t unit = alignof(trampoline), units_of_word = 64,
                 index_words = chunk_bytes / unit / units_of_word;
using index_word = std::atomic<uint64_t>;

struct chunk {
    uintptr_t start;
    uintptr_t next; // first free byte
    size_t left() const { return start + chunk_bytes - next; }
    index_word *index() const { return reinterpret_cast<index_word *>(start); }
};

// Chunks are added behind the others and never removed, so they can be read without the lock.
constexpr unsigned max_chunks = 4096;
constinit chunk chunks[max_chunks]{};
constinit std::atomic<unsigned> chunk_count{0};

bool is_near(uintptr_t chunk_start, uintptr_t site) {
    const auto reach = [site](uintptr_t address) {
        const auto distance = static_cast<int64_t>(address - site);
        return distance >= -a64::branch_range && distance < a64::branch_range;
    };
    return reach(chunk_start) && reach(chunk_start + chunk_bytes);
}

uintptr_t map_chunk(uintptr_t wanted, int flags) {
    void *mapping =
        mmap(reinterpret_cast<void *>(wanted), chunk_bytes, PROT_READ | PROT_WRITE | PROT_EXEC,
             MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
    return mapping == MAP_FAILED ? 0 : reinterpret_cast<uintptr_t>(mapping);
}

// A new chunk at `wanted`, or anywhere if that is 0. Null if it can't be had.
chunk *add_chunk(uintptr_t wanted) {
    const unsigned count = chunk_count.load(std::memory_order_relaxed);
    if (count == max_chunks)
        return nullptr;
    const uintptr_t start = map_chunk(wanted, wanted ? MAP_FIXED_NOREPLACE : 0);
    if (!start)
        return nullptr;
    chunks[count] = {start, start + index_words * sizeof(index_word)};
    chunk_count.store(count + 1, std::memory_order_release);
    return &chunks[count];
}

// A new chunk in one of the gaps between the mappings from `from` to `bound`, the highest one that can be had.
chunk *add_chunk_between(uintptr_t from, uintptr_t bound) {
    struct gap {
        uintptr_t start, end;
    };
    constexpr size_t most_gaps = 64; // of more, the highest
    gap gaps[most_gaps];
    size_t count = 0;
    uintptr_t gap_start = from;
    const auto consider = [&](uintptr_t gap_end) {
        const uintptr_t start = (gap_start + chunk_bytes - 1) & ~(chunk_bytes - 1),
                        end = std::min(gap_end, bound) & ~(chunk_bytes - 1);
        if (start < end)
            gaps[count++ % most_gaps] = {start, end};
    };
    for_each_mapping([&](const mapping &m) {
        consider(m.start);
        gap_start = std::max(gap_start, m.end);
        return gap_start < bound;
    });
    if (gap_start < bound)
        consider(bound);

    // A processor emulator doesn't list its own memory: a gap may be none, or have none left at its end.
    constexpr size_t step = size_t{1} << 20;
    for (size_t i = 1; i <= std::min(count, most_gaps); i++) {
        const auto [start, end] = gaps[(count - i) % most_gaps];
        for (uintptr_t place = end - chunk_bytes; place >= start; place -= step)
            if (chunk *added = add_chunk(place))
                return added;
    }
    return nullptr;
}

// A new chunk that a branch at the site reaches, and that reaches the site. Null if there is no room.
chunk *add_near_chunk(uintptr_t site) {
    // Below the last one there nearly always is, and the process's map need not be read.
    if (const unsigned count = chunk_count.load(std::memory_order_relaxed)) {
        const uintptr_t below = chunks[count - 1].start - chunk_bytes;
        chunk *added = is_near(below, site) ? add_chunk(below) : nullptr;
        if (added && is_near(added->start, site))
            return added;
    }
    constexpr uintptr_t range = a64::branch_range - chunk_bytes;
    constexpr uintptr_t lowest = uintptr_t{1} << 20; // keeps null pointers invalid
    // Below first, since the heap grows behind the executable.
    if (chunk *below = add_chunk_between(site > lowest + range ? site - range : lowest, site))
        return below;
    return add_chunk_between(site, site + range);
}

template <class F>
chunk *find_chunk(F &&suits) {
    for (unsigned i = chunk_count.load(std::memory_order_relaxed); i-- > 0;)
        if (suits(chunks[i]))
            return &chunks[i];
    return nullptr;
}

} // namespace

trampoline_place take_trampoline(uintptr_t site, size_t bytes, bool only_near) {
    bytes = (bytes + unit - 1) & ~(unit - 1);
    if (bytes > trampoline::longest)
        return {nullptr, false};
    const auto has_room = [bytes](const chunk &c) { return c.left() >= bytes; };
    const auto near_with_room = [&](const chunk &c) {
        return has_room(c) && is_near(c.start, site);
    };

    chunk *found = site ? find_chunk(near_with_room) : nullptr;
    if (!found && site)
        found = add_near_chunk(site);
    if (!found && !only_near)
        found = find_chunk(has_room);
    if (!found && !only_near)
        found = add_chunk(0);
    if (!found)
        return {nullptr, false};

    auto *start = reinterpret_cast<trampoline *>(found->next);
    const size_t number = (found->next - found->start) / unit;
    found->index()[number / units_of_word].fetch_or(uint64_t{1} << number % units_of_word,
                                                    std::memory_order_release);
    found->next += bytes;
    // A kernel that doesn't know the flag of a fixed address takes the address as a hint.
    return {start, is_near(found->start, site)};
}

static const chunk *chunk_around(uintptr_t address) {
    for (unsigned i = 0; i < chunk_count.load(std::memory_order_acquire); i++)
        if (address - chunks[i].start < chunk_bytes)
            return &chunks[i];
    return nullptr;
}

bool in_trampolines(uintptr_t address) {
    return chunk_around(address);
}

trampoline *find_trampoline(uintptr_t address) {
    const chunk *around = chunk_around(address);
    if (!around)
        return nullptr;
    const size_t number = (address - around->start) / unit;
    // The bits up to that of the address, then all of the words before.
    uint64_t bits = ~uint64_t{0} >> (units_of_word - 1 - number % units_of_word);
    for (size_t word = number / units_of_word + 1; word-- > 0; bits = ~uint64_t{0})
        if (const uint64_t set = around->index()[word].load(std::memory_order_acquire) & bits) {
            const size_t last = word * units_of_word +
                                (units_of_word - 1 - static_cast<unsigned>(__builtin_clzl(set)));
            auto *found = reinterpret_cast<trampoline *>(around->start + last * unit);
            return found->word_at(address) < found->words ? found : nullptr;
        }
    return nullptr;
}

} // namespace platform
