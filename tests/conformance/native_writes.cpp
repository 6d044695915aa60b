#include "tests/conformance/native_writes.h"

#include "tests/conformance/generate.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace conformance {

using sve::bits;

// ---- Words ----------------------------------------------------------------------------------------

namespace {

// The groups of the architecture's tables of encodings: the words whose bits at `mask` are `value`. Where few
// words of a group are allocated, it is narrower.
struct encoding_group {
    const char *name;
    uint32_t mask, value;

    bool has(uint32_t word) const { return (word & mask) == value; }
};

constexpr encoding_group literal_loads = {"LDR of literals", 0x3f000000, 0x1c000000};
constexpr encoding_group register_offsets = {"LDR and STR with register offset", 0x3f200c00,
                                             0x3c200800};

constexpr encoding_group groups[] = {
    {"multiple structures", 0xbfbf0000, 0x0c000000},
    {"multiple structures, post-index", 0xbfa00000, 0x0c800000},
    {"single structures", 0xbf9f0000, 0x0d000000},
    {"single structures, post-index", 0xbf800000, 0x0d800000},
    {"LDAP1 and STL1", 0xbfbffc00, 0x0d018400},
    literal_loads,
    {"LDAPUR and STLUR", 0x3f200c00, 0x1d000800},
    {"LDNP and STNP", 0x3f800000, 0x2c000000},
    {"LDP and STP, post-index", 0x3f800000, 0x2c800000},
    {"LDP and STP", 0x3f800000, 0x2d000000},
    {"LDP and STP, pre-index", 0x3f800000, 0x2d800000},
    {"LDUR and STUR", 0x3f200c00, 0x3c000000},
    {"LDR and STR, post-index", 0x3f200c00, 0x3c000400},
    {"LDR and STR, pre-index", 0x3f200c00, 0x3c000c00},
    register_offsets,
    {"LDR and STR with unsigned offset", 0x3f000000, 0x3d000000},
    {"atomic floating point", 0x3f200c00, 0x3c200000},

    {"AES", 0xffffcc00, 0x4e284800},
    {"SHA, three registers", 0xff208c00, 0x5e000000},
    {"SHA, two registers", 0xffffcc00, 0x5e280800},
    {"SM3", 0xffe0c000, 0xce408000},
    {"SHA-512, three registers", 0xffe0b000, 0xce608000},
    {"SHA-512, two registers", 0xfffff000, 0xcec08000},
    {"four registers", 0xff808000, 0xce000000},
    {"XAR", 0xffe00000, 0xce800000},

    {"scalar copy", 0xffe0fc00, 0x5e000400},
    {"scalar three same, half precision", 0xdf60c400, 0x5e400400},
    {"scalar two misc, half precision", 0xdf7e0c00, 0x5e780800},
    {"scalar three same, extra", 0xff20f400, 0x7e008400},
    {"scalar two misc", 0xdf3e0c00, 0x5e200800},
    {"scalar pairwise", 0xdf3e0c00, 0x5e300800},
    {"scalar three different", 0xdf200c00, 0x5e200000},
    {"scalar three same", 0xdf200400, 0x5e200400},
    {"scalar shift by immediate", 0xdf800400, 0x5f000400},
    {"scalar by element", 0xdf000400, 0x5f000000},

    {"table lookup", 0xbf208c00, 0x0e000000},
    {"permute", 0xbf208c00, 0x0e000800},
    {"extract", 0xbf208400, 0x2e000000},
    {"copy", 0x9fe08400, 0x0e000400},
    {"three same, half precision", 0x9f60c400, 0x0e400400},
    {"two misc, half precision", 0x9f7e0c00, 0x0e780800},
    {"three same, extra", 0x9f208400, 0x0e008400},
    {"two misc", 0x9f3e0c00, 0x0e200800},
    {"across lanes", 0x9f3e0c00, 0x0e300800},
    {"three different", 0x9f200c00, 0x0e200000},
    {"three same", 0x9f200400, 0x0e200400},
    {"modified immediate", 0x9ff80400, 0x0f000400},
    {"shift by immediate", 0x9f800400, 0x0f000400},
    {"by element", 0x9f000400, 0x0f000000},

    {"fixed-point conversion", 0x7f200000, 0x1e000000},
    {"integer conversion", 0x7f20fc00, 0x1e200000},
    {"one source", 0xff207c00, 0x1e204000},
    {"compare", 0xff20fc07, 0x1e202000},
    {"immediate", 0xff201fe0, 0x1e201000},
    {"conditional compare", 0xff200c00, 0x1e200400},
    {"two sources", 0xff200c00, 0x1e200800},
    {"conditional select", 0xff200c00, 0x1e200c00},
    {"three sources", 0xff000000, 0x1f000000},
};

// Where the processor is an emulator, this is known of it: these words leave the upper bytes as they were.
constexpr encoding_group keeping_groups[] = {
    {"loads to a lane of B or H", 0xbf408000, 0x0d400000},
    {"loads to a lane of S or D", 0xbf40c000, 0x0d408000},
    {"EOR3, BCAX, SM3SS1", 0xff808000, 0xce000000},
    {"SADDL, SADDW, SSUBL, SSUBW", 0x9f20cc00, 0x0e200000},
    {"SABAL, SABDL", 0x9f20dc00, 0x0e205000},
    {"SMLAL, SQDMLAL, SMLSL, SQDMLSL", 0x9f20cc00, 0x0e208000},
    {"SMULL, SQDMULL", 0x9f20ec00, 0x0e20c000},
    {"SMLAL, SQDMLAL, SMLSL, SQDMLSL by element", 0x9f00a400, 0x0f002000},
    {"SMULL, SQDMULL by element", 0x9f00e400, 0x0f00a000},
    {"scalar SQDMLAL, SQDMLSL by element of H", 0xffc0b400, 0x5f403000},
    {"scalar SQDMULL by element of H", 0xffc0f400, 0x5f40b000},
    {"REV64 of H", 0xbffffc00, 0x0e600800},
    {"REV64 of S", 0xbffffc00, 0x0ea00800},
    {"REV32 of H", 0xbffffc00, 0x2e600800},
    {"SADDLP", 0x9f3ffc00, 0x0e202800},
    {"SADALP", 0x9f3ffc00, 0x0e206800},
    {"SHLL", 0xbf3ffc00, 0x2e213800},
    {"FCVTL", 0xbfbffc00, 0x0e217800},
    {"SSHLL", 0x9f80fc00, 0x0f00a400},
    {"ADDP of D", 0xffe0fc00, 0x4ee0bc00},
    {"FADDP of D", 0xffe0fc00, 0x6e60d400},
    {"FMAXP, FMINP of D", 0xff60fc00, 0x6e60f400},
    {"FMAXNMP, FMINNMP of D", 0xff60fc00, 0x6e60c400},
};

// Unallocated words that end it.
constexpr encoding_group fatal_groups[] = {
    {"scalar FABS of half precision", 0xfffffc00, 0x5ef8f800},
    {"scalar FSQRT of half precision", 0xfffffc00, 0x7ef9f800},
    {"vector FRECPX of half precision", 0xbffffc00, 0x0ef9f800},
};

template <size_t count>
bool is_in(const encoding_group (&list)[count], uint32_t word) {
    return std::any_of(std::begin(list), std::end(list),
                       [word](const encoding_group &group) { return group.has(word); });
}

uint32_t draw_native_word(random_numbers &random) {
    uint32_t word = static_cast<uint32_t>(random.next());
    if (random.one_in(16)) {
        word |= 3u << 26; // what all groups have
    } else {
        const encoding_group &group = groups[random.below(std::size(groups))];
        word = (word & ~group.mask) | group.value;
    }
    if (literal_loads.has(word)) {
        const uint32_t backwards = random.below(readable_words + 1);
        word = (word & ~(0x7ffffu << 5)) | (-backwards & 0x7ffff) << 5;
    }
    // A base, which is an address, is no index.
    if (register_offsets.has(word) && bits(word, 20, 16) == bits(word, 9, 5))
        word ^= 1u << 16;
    return is_in(fatal_groups, word) ? draw_native_word(random) : word;
}

// ---- Addresses ------------------------------------------------------------------------------------

// Memory that every offset from its middle lies in.
uint64_t middle_of_memory() {
    static const uint64_t middle = [] {
        constexpr size_t reach = 4096 * 16 + 32; // scaled offsets of Q registers, and structures
        constexpr size_t size = 4 * reach;
        void *memory =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            perror("conformance: no memory for loads and stores");
            exit(1);
        }
        return (reinterpret_cast<uint64_t>(memory) + size / 2) & ~uint64_t{15};
    }();
    return middle;
}

void draw_native_registers(machine_state &state, random_numbers &random) {
    draw_registers(state, random);
    for (auto &z : state.emulated.z)
        for (unsigned i = 16; i < sve_vector_bytes; i++)
            z[i] = static_cast<uint8_t>(z[i] ? z[i] : i);
    for (uint64_t &x : state.emulated.x)
        x = middle_of_memory() + random.below(256);
    state.emulated.sp = middle_of_memory();
}

} // namespace

// ---- Comparison -----------------------------------------------------------------------------------

static uint64_t doubleword(const uint8_t *z, unsigned offset) {
    uint64_t value;
    memcpy(&value, z + offset, sizeof value);
    return value;
}

seen_writes find_writes(const machine_state &before, const machine_state &after) {
    seen_writes seen = {};
    for (unsigned n = 0; n < 32; n++) {
        const uint8_t *old_z = before.emulated.z[n], *new_z = after.emulated.z[n];
        uint64_t upper = 0, difference = 0;
        for (unsigned i = 0; i < sve_vector_bytes; i += 8) {
            const uint64_t value = doubleword(new_z, i);
            upper |= i < 16 ? 0 : value;
            difference |= value ^ doubleword(old_z, i);
        }
        seen.cleared |= uint32_t{upper == 0} << n;
        seen.changed |= uint32_t{difference != 0} << n;
    }
    return seen;
}

namespace {

class native_run {
public:
    explicit native_run(const native_words &native) : native_(native), random_(native.seed) {}

    void run() {
        constexpr unsigned patience_seconds = 120; // for a batch
        std::vector<uint32_t> batch;
        for (uint64_t done = 0; done < native_.words; done += batch.size()) {
            batch.clear();
            while (batch.size() < std::min<uint64_t>(max_loaded_words, native_.words - done))
                batch.push_back(draw_native_word(random_));
            draw_native_registers(before_, random_);
            alarm(patience_seconds);
            load_words(batch);
            for (size_t i = 0; i < batch.size(); i++) {
                running = {"--native-writes", batch[i], native_.seed, done + i};
                compare(i, batch[i]);
            }
        }
        alarm(0);
    }

    const native_totals &totals() const { return totals_; }

    // How many words of each group the processor executed.
    const std::array<uint64_t, std::size(groups)> &executed_of_groups() const {
        return executed_of_groups_;
    }

private:
    int run_loaded(size_t index, uint32_t word) {
        const unsigned m = bits(word, 20, 16);
        if (!register_offsets.has(word) || m == 31)
            return run_word(index, before_, after_);
        const uint64_t address = before_.emulated.x[m];
        before_.emulated.x[m] = random_.below(256);
        const int signal = run_word(index, before_, after_);
        before_.emulated.x[m] = address;
        return signal;
    }

    void compare(size_t index, uint32_t word) {
        if (const int signal = run_loaded(index, word)) {
            (signal == SIGILL ? totals_.refused : totals_.faulted)++;
            return;
        }
        totals_.executed++;
        for (size_t i = 0; i < std::size(groups); i++)
            executed_of_groups_[i] += groups[i].has(word);
        const uint32_t expected = native_.table(word);
        const seen_writes seen = find_writes(before_, after_);
        totals_.writing += seen.changed != 0;
        if (seen.are(expected))
            return;
        if (is_in(keeping_groups, word) && keeps_upper_bytes_of(expected, seen, index, word))
            totals_.keeping++;
        else
            count_mismatch(word, expected, seen);
    }

    // Whether the word writes just these registers, but for their upper bytes. A write may not show in one
    // state; in several it does, unless a register meets itself: differences and sums modulo 2 are 0 then.
    bool keeps_upper_bytes_of(uint32_t expected, const seen_writes &seen, size_t index,
                              uint32_t word) {
        constexpr unsigned more_states = 4;
        seen_writes all = seen;
        for (unsigned i = 0; i < more_states && all.changed != expected; i++) {
            draw_native_registers(before_, random_);
            run_loaded(index, word);
            const seen_writes more = find_writes(before_, after_);
            all.cleared |= more.cleared;
            all.changed |= more.changed;
        }
        const unsigned n = bits(word, 9, 5), m = bits(word, 20, 16), a = bits(word, 14, 10);
        const bool meets_itself = n == m || m == a || a == n;
        return all.cleared == 0 && (all.changed == expected || (meets_itself && all.changed == 0));
    }

    void count_mismatch(uint32_t word, uint32_t expected, const seen_writes &seen) {
        constexpr unsigned printed_mismatches = 10;
        if (totals_.mismatches++ >= printed_mismatches)
            return;
        char text[160];
        snprintf(text, sizeof text,
                 "mismatch: word 0x%08x: V registers 0x%08x by the table, "
                 "the processor clears 0x%08x and changes 0x%08x\n",
                 word, expected, seen.cleared, seen.changed);
        native_.print(text);
    }

    const native_words &native_;
    random_numbers random_;
    native_totals totals_;
    std::array<uint64_t, std::size(groups)> executed_of_groups_{};
    machine_state before_{}, after_{};
};

} // namespace

native_totals run_native_words(const native_words &native) {
    native_run run(native);
    run.run();
    return run.totals();
}

bool check_native_writes(uint64_t words, uint64_t seed) {
    native_words native{words, seed};
    native.print = [](const std::string &text) { fputs(text.c_str(), stdout); };
    native_run run(native);
    run.run();
    const native_totals &totals = run.totals();
    printf("conformance: %lu words: %lu executed, %lu of them write, %lu of these keep upper bytes "
           "only as known, %lu refused, %lu faulted, %lu mismatches, seed 0x%lx\n",
           words, totals.executed, totals.writing, totals.keeping, totals.refused, totals.faulted,
           totals.mismatches, seed);
    for (size_t i = 0; i < std::size(groups); i++)
        if (run.executed_of_groups()[i] == 0)
            printf("  never executed: %s\n", groups[i].name);
    // A word that faults has shown nothing.
    const bool is_broad = totals.writing > 0 && totals.writing < totals.executed &&
                          totals.faulted <= totals.executed / 20;
    if (!is_broad)
        printf("  that is not enough to tell\n");
    return totals.mismatches == 0 && is_broad;
}

} // namespace conformance
