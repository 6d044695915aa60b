#include "sve/core/sve_utils.h"

#include "sve/core/decode_keys.h"
#include "sve/core/families.h"
#include "sve/core/host_fp.h"
#include "sve/core/row_index.h"

#include <array>
#include <cstdio>
#include <memory>
#include <mutex>
#include <tuple>
#include <unistd.h>

using namespace sve;

// ---- What the static initialiser prepares, in this order ---------------------------------------

constinit mapped_arena sve::icounts_memory;
constinit std::atomic<uint64_t> sve_instr_count = 0;
constinit short_mutex icounts_mutex;
static constinit row_index icounts_index(icounts_memory);

decltype(icounts) icounts;

int page_size = getpagesize();

static constexpr handler_family families[] = {
#define FAMILY(name, rows) {name, rows},
    SVE_FAMILIES(FAMILY)
#undef FAMILY
};

std::span<const handler_family> sve::handler_families() {
    return families;
}

// Room for the maps, which the assembler calls by their public names. They come into being together, when they are
// needed: 44 initialisers would be most of what the client runs in a program without SVE.
struct alignas(decode_map) map_room {
    unsigned char bytes[sizeof(decode_map)];
};
#define MAP(fields, execute, is_sve) map_room room_##fields asm("decode_map__" #fields);
SVE_DECODE_MAPS(MAP)
#undef MAP

namespace {
struct filled_maps {
    [[gnu::noinline]] filled_maps() { // each look-up asks for it
        for (const decode_map_info &info : decode_map_infos)
            std::construct_at(info.map);
        for (const handler_family &family : families)
            for (const handler_row &row : family.rows)
                row.map->emplace(static_cast<int>(row.key), row.handler);
    }
    ~filled_maps() {
        for (const decode_map_info &info : decode_map_infos)
            std::destroy_at(info.map);
    }
};
} // namespace

static inline void need_maps() {
    [[maybe_unused]] static const filled_maps maps;
}

// An embedder finds the maps filled. The library shows nobody its maps, and is loaded into many a program
// that needs none: there the first look-up makes them.
[[maybe_unused]] static const bool loaded = [] {
    if (library_loaded)
        library_loaded();
    else
        need_maps();
    return true;
}();

// ---- The two cascades --------------------------------------------------------------------------

using cascade = std::array<const decode_map_info *, decode_map_count>;

static consteval cascade in_order(unsigned decode_map_info::*position) {
    cascade result{};
    for (const decode_map_info &info : decode_map_infos)
        result.at(info.*position - 1) = &info;
    return result;
}

static constexpr cascade is_sve_cascade = in_order(&decode_map_info::is_sve_position);
static constexpr cascade execute_cascade = in_order(&decode_map_info::execute_position);

static aarch64_handler find_handler(const cascade &maps, unsigned int word) {
    need_maps();
    for (const decode_map_info *info : maps) {
        const auto row = info->map->find(info->fields.key(word));
        if (row != info->map->end())
            return row->second;
    }
    return nullptr;
}

aarch64_handler is_sve(unsigned int word) {
    return find_handler(is_sve_cascade, word);
}

// By map and key, since several rows may share one handler.
found_row sve::find_row(unsigned int word) {
    need_maps();
    for (const decode_map_info *info : is_sve_cascade) {
        const int key = info->fields.key(word);
        if (!info->map->count(key))
            continue;
        for (const handler_family &family : families)
            for (const handler_row &row : family.rows)
                if (row.map == info->map && static_cast<int>(row.key) == key)
                    return {&family, &row};
        break;
    }
    return {};
}

aarch64_decode_rc execute_sve_instruction(cpu_state *state) {
    unsigned int *const pc = state->pc;
    const unsigned int word = *pc;
    const aarch64_handler handler = find_handler(execute_cascade, word);
    if (!handler)
        return AARCH64_DECODE_UNIMPLEMENTED;

    {
        const host_fp_scope application_words(state->fpcr, state->fpsr);
        const aarch64_decode_rc rc = handler(state, word);
        if (rc != AARCH64_DECODE_OK)
            return rc;
    }
    if constexpr (counts_instructions)
        update_sve_stats(pc, word);
    state->pc = pc + 1;
    return AARCH64_DECODE_OK;
}

// ---- Statistics --------------------------------------------------------------------------------

// Adds to a counter that is only written under icounts_mutex. It is atomic for those who read it
// without the lock; a read-modify-write would cost an exclusive pair on every emulated instruction.
[[gnu::always_inline]] static inline void increase(std::atomic<uint64_t> &counter,
                                                   uint64_t amount) {
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

[[gnu::noinline]] static std::atomic<uint64_t> &add_row(unsigned int *pc, unsigned int word) {
    const auto row =
        icounts
            .emplace(std::piecewise_construct, std::tuple(pc),
                     std::tuple(std::piecewise_construct, std::tuple(word), std::tuple(0)))
            .first;
    std::atomic<uint64_t> &count = row->second.second;
    icounts_index.add(pc, count);
    return count;
}

[[gnu::always_inline]] static inline void count_executions(unsigned int *pc, unsigned int word,
                                                           uint64_t executions) {
    const std::lock_guard lock(icounts_mutex);
    increase(sve_instr_count, executions);
    std::atomic<uint64_t> *count = icounts_index.find(pc);
    if (!count) [[unlikely]]
        count = &add_row(pc, word);
    increase(*count, executions);
}

void update_sve_stats(unsigned int *pc, unsigned int word) {
    count_executions(pc, word, 1);
}
void update_sve_stats(unsigned int *pc, unsigned int word, uint64_t executions) {
    count_executions(pc, word, executions);
}

void dump_sve_stats() {
    for (const auto &[pc, row] : icounts)
        fprintf(stderr, "%p: 0x%08x %ld\n", static_cast<void *>(pc), row.first,
                static_cast<long>(row.second.load()));
}

void clear_sve_stats() {
    icounts.clear();
    icounts_index = row_index(icounts_memory);
}
