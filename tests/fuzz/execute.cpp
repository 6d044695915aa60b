// Coverage-guided fuzzing of the emulator core: arbitrary words and states through execute_sve_instruction.
// Under the sanitizers, every instruction is held to what it promises whatever its operands are, and where
// it has two implementations they are compared.

#include "sve/core/decode_keys.h"
#include "sve/core/host_fp.h"
#include "sve/core/signals.h"
#include "sve/core/sve_utils.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <vector>

using sve::bits;

namespace {

// ---- Input ----------------------------------------------------------------------------------------

// The fuzzer's bytes, zeros behind their end.
class input {
public:
    input(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    template <class T>
    T take() {
        T value = {};
        const size_t count = std::min(sizeof value, size_);
        memcpy(&value, data_, count);
        data_ += count;
        size_ -= count;
        return value;
    }
    bool empty() const { return size_ == 0; }

private:
    const uint8_t *data_;
    size_t size_;
};

// Numbers that follow from a seed.
class sequence {
public:
    explicit sequence(uint64_t seed) : state_(seed) {}
    uint64_t operator()() {
        uint64_t x = state_ += 0x9e3779b97f4a7c15;
        x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9;
        x = (x ^ x >> 27) * 0x94d049bb133111eb;
        return x ^ x >> 31;
    }
    unsigned below(unsigned limit) { return static_cast<unsigned>((*this)() >> 32) % limit; }

private:
    uint64_t state_;
};

// ---- Values ---------------------------------------------------------------------------------------

// The ends of the formats, zeros, infinities and NaNs; the low half of each serves as a narrower element.
constexpr uint64_t biting_values[] = {
    0,
    ~uint64_t{0},
    0x7fff7fff7fff7fff,
    0x8000800080008000,
    0x7fffffff7fffffff,
    0x8000000080000000,
    0x7fffffffffffffff,
    0x8000000000000000,
    0x0001000100010001,
    0x7f8000007f800000, // single: infinity
    0x7fc000017f800001, // quiet and signalling NaN
    0x0080000000000001, // smallest normal number, smallest denormal
    0x3f80000080000000, // 1, -0
    0x7c007c00fc00fc00, // half: infinities
    0x7e007c0103ff0400, // NaNs, around the smallest normal number
    0x3c00bc0000018000, // 1, -1, smallest denormal, -0
    0x7ff0000000000000, // double: infinity
    0x7ff8000000000001, // quiet NaN
    0x7ff0000000000001, // signalling NaN
    0x0010000000000000, // smallest normal number
    0x000fffffffffffff, // largest denormal
    0x3ff0000000000000, // 1
};

enum class fill { random, biting, small, repeated, kinds };

void fill_row(uint8_t *row, fill kind, uint64_t pattern) {
    sequence random(pattern);
    for (unsigned i = 0; i < sve_vector_bytes; i += 8) {
        uint64_t value = pattern;
        switch (kind) {
        case fill::random:
            value = random();
            break;
        case fill::biting:
            value = biting_values[random.below(std::size(biting_values))];
            break;
        case fill::small:
            value = random() & 0x000f000f000f000f;
            break;
        default:
            break;
        }
        memcpy(row + i, &value, sizeof value);
    }
}

void fill_predicate(uint8_t *row, uint64_t pattern) {
    sequence random(pattern);
    const unsigned kind = random.below(6), only = random.below(sve_vector_bytes);
    for (unsigned i = 0; i < sve_vector_bytes; i++)
        row[i] = kind == 0   ? 0
                 : kind <= 2 ? 1
                 : kind == 3 ? i == only
                 : kind == 4 ? i < only
                             : random.below(2);
}

void fill_state(cpu_state &state, uint64_t seed) {
    sequence random(seed);
    const auto scalar = [&random] {
        switch (random.below(3)) {
        case 0:
            return biting_values[random.below(std::size(biting_values))];
        case 1:
            return uint64_t{random.below(300)};
        default:
            return random();
        }
    };
    for (uint64_t &x : state.x)
        x = scalar();
    state.sp = scalar();
    state.nzcv = random() & 0xf0000000;
    state.fpsr = static_cast<uint32_t>(random()) & 0x0800009f;
    state.fpcr = random.below(2) ? static_cast<uint32_t>(random()) & 0x07c80000 : 0;
    state.fpcr_or = 0;
    for (auto &row : state.z)
        fill_row(row, static_cast<fill>(random.below(unsigned(fill::kinds))), random());
    for (auto &row : state.p)
        fill_predicate(row, random());
    fill_predicate(state.ffr, random());
}

// ---- Memory ---------------------------------------------------------------------------------------

// Addresses of memory instructions are made to fall into the low 2 GiB, where nothing is mapped but the
// arena: an access either hits it or faults, and never reaches the fuzzer's own memory. The sums of a base
// and a scaled index that are the same register stay there, too.
constexpr uint64_t arena_address = 0x08000000;
constexpr size_t arena_bytes = 8192;
uint8_t *const arena = reinterpret_cast<uint8_t *>(arena_address);

bool uses_memory(uint32_t word) {
    return bits(word, 31, 31) && bits(word, 28, 25) == 2;
}

// A base around the arena: inside mostly, and outside at both ends.
uint64_t near_arena(uint64_t value) {
    return arena_address - 512 + value % (arena_bytes + 1024);
}

template <class Lane, class Change>
void change_lanes(uint8_t *row, Change change) {
    for (unsigned i = 0; i < sve_vector_bytes; i += sizeof(Lane)) {
        Lane lane;
        memcpy(&lane, row + i, sizeof lane);
        lane = change(lane);
        memcpy(row + i, &lane, sizeof lane);
    }
}

// The registers that can be part of an address, whichever the form takes of them.
template <class Lane>
void aim_vectors(cpu_state &state, uint32_t word, bool is_signed) {
    change_lanes<Lane>(state.z[bits(word, 9, 5)],
                       [](Lane lane) { return static_cast<Lane>(near_arena(lane)); });
    change_lanes<Lane>(state.z[bits(word, 20, 16)], [is_signed](Lane lane) {
        return static_cast<Lane>((lane & 0x7ff) - (is_signed && lane & 0x800 ? 0x800 : 0));
    });
}

void aim_at_arena(cpu_state &state, uint32_t word) {
    const unsigned base = bits(word, 9, 5), index = bits(word, 20, 16);
    if (index != 31)
        state.x[index] = (state.x[index] & 0x7ff) - (state.x[index] & 0x800);
    uint64_t &address = base == 31 ? state.sp : state.x[base];
    address = near_arena(address);

    // Width and sign of the vector part, if the form has one.
    const bool is_store = bits(word, 31, 25) == 0x72;
    const bool sign_extends = is_store ? bits(word, 14, 14) : bits(word, 22, 22);
    const bool has_words =
        is_store ? bits(word, 22, 22) && (bits(word, 15, 13) != 5 || bits(word, 21, 21))
                 : bits(word, 31, 25) == 0x42;
    if (has_words)
        aim_vectors<uint32_t>(state, word, sign_extends);
    else
        aim_vectors<uint64_t>(state, word, sign_extends);
}

// ---- Running --------------------------------------------------------------------------------------

[[noreturn]] void fail(const char *what, const char *row, uint32_t word) {
    fprintf(stderr, "word 0x%08x (%s): %s\n", word, row, what);
    abort();
}

sigjmp_buf out_of_fault;
volatile bool may_fault;

void on_fault(int signal, siginfo_t *info, void *context) {
    if (SVEFaultRegion)
        SVESigHandler(signal, info, context); // jumps
    if (!may_fault) {
        fprintf(stderr, "signal %d at address %p\n", signal, info->si_addr);
        abort();
    }
    siglongjmp(out_of_fault, 1);
}

// Whether the instruction came to its end; otherwise its access faulted.
template <class Run>
bool completes(uint32_t word, Run run) {
    may_fault = uses_memory(word);
    const bool completed = !sigsetjmp(out_of_fault, 1);
    if (completed)
        run();
    may_fault = false;
    // What a fault leaves of the host's words.
    sve::write_host_fpcr(0);
    sve::write_host_fpsr(0);
    return completed;
}

struct published_row {
    const sve::handler_row *row;
    uint32_t mask, value;
};

const std::vector<published_row> &rows() {
    static const std::vector<published_row> result = [] {
        std::vector<published_row> rows;
        for (const sve::handler_family &family : sve::handler_families())
            for (const sve::handler_row &row : family.rows)
                for (const sve::decode_map_info &info : sve::decode_map_infos)
                    if (info.map == row.map)
                        rows.push_back({&row, info.fields.mask(),
                                        info.fields.spread(static_cast<int>(row.key))});
        return rows;
    }();
    return result;
}

const sve::handler_row *find_row(uint32_t word) {
    for (const published_row &row : rows())
        if ((word & row.mask) == row.value)
            return row.row;
    return nullptr;
}

// The state with what is not an instruction's result made equal.
cpu_state results(cpu_state state) {
    state.pc = nullptr;
    state.insn = 0;
    return state;
}

bool is_well_formed(const cpu_state &state) {
    const auto is_bit = [](uint8_t byte) { return byte <= 1; };
    for (const auto &row : state.p)
        if (!std::all_of(std::begin(row), std::end(row), is_bit))
            return false;
    return std::all_of(std::begin(state.ffr), std::end(state.ffr), is_bit) &&
           !(state.nzcv & ~uint64_t{0xf0000000});
}

void check(uint32_t word, cpu_state &state) {
    static uint8_t memory_before[arena_bytes], memory_after[arena_bytes];
    static cpu_state before, other;
    static aarch64_decode_rc rc;
    static unsigned int code[2];

    const sve::handler_row *const row = find_row(word);
    const char *const name = row ? row->name : "no row";
    if (is_sve(word) != (row ? row->handler : nullptr))
        fail("decoded as another", name, word);

    code[0] = word;
    state.pc = code;
    before = state;
    const bool uses = uses_memory(word);
    if (uses)
        memcpy(memory_before, arena, arena_bytes);
    const bool completed = completes(word, [&state] { rc = execute_sve_instruction(&state); });
    if (!row) {
        if (!completed || rc != AARCH64_DECODE_UNIMPLEMENTED ||
            memcmp(&state, &before, sizeof state) != 0)
            fail("a word that is no instruction has an effect", name, word);
        return;
    }
    if (completed && (rc != AARCH64_DECODE_OK || state.pc != code + 1))
        fail("didn't succeed, or pc wasn't advanced", name, word);
    if (!is_well_formed(state))
        fail("predicates or flags are out of their range", name, word);
    if (!row->reference)
        return;

    other = before;
    if (uses) {
        memcpy(memory_after, arena, arena_bytes);
        memcpy(arena, memory_before, arena_bytes);
    }
    const bool other_completed = completes(word, [row, word] {
        const sve::host_fp_scope words(other.fpcr, other.fpsr);
        rc = row->reference(&other, word);
    });
    if (other_completed != completed)
        fail("only one of the two tiers faults", name, word);
    // A whole register is stored in pieces, and those of the tiers differ: a fault leaves more of it or less.
    const bool compares_memory = uses && (completed || !strstr(row->name, "Spill"));
    if (compares_memory && memcmp(arena, memory_after, arena_bytes) != 0)
        fail("the two tiers differ in memory", name, word);
    if (!completed)
        return; // a fault leaves what it leaves in the registers
    const cpu_state a = results(state), b = results(other);
    if (rc != AARCH64_DECODE_OK || memcmp(&a, &b, sizeof a) != 0)
        fail("the two tiers differ", name, word);
}

void prepare_process() {
    if (mmap(arena, arena_bytes, PROT_READ | PROT_WRITE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0) != arena) {
        perror("memory for the arena");
        exit(1);
    }
    SVEInitialize();
    struct sigaction action = {};
    action.sa_sigaction = on_fault;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    [[maybe_unused]] static const bool prepared = (prepare_process(), true);

    input in(data, size);
    static cpu_state state;
    memset(&state, 0, sizeof state);
    const auto seed = in.take<uint32_t>();
    fill_state(state, seed);
    sequence contents(seed);
    for (size_t i = 0; i < arena_bytes; i += sizeof(uint64_t)) {
        const uint64_t value = contents();
        memcpy(arena + i, &value, sizeof value);
    }

    // An instruction, and new contents for the registers that it may name.
    for (int step = 0; step < 8 && !in.empty(); step++) {
        const auto chosen = in.take<uint16_t>();
        auto word = in.take<uint32_t>();
        if (chosen < 0xe000) {
            const published_row &row = rows()[chosen % rows().size()];
            word = (word & ~row.mask) | row.value;
        }
        const auto fills = in.take<uint16_t>();
        unsigned shift = 0;
        for (const unsigned number : {bits(word, 4, 0), bits(word, 9, 5), bits(word, 20, 16)}) {
            const unsigned kind = fills >> shift & 7;
            shift += 3;
            if (kind < unsigned(fill::kinds))
                fill_row(state.z[number], fill(kind), in.take<uint64_t>());
            if (fills >> shift & 1 && number != 31)
                state.x[number] = in.take<uint64_t>();
            shift++;
        }
        if (fills & 0x1000)
            fill_predicate(state.p[bits(word, 12, 10)], in.take<uint8_t>());
        if (fills & 0x2000)
            fill_predicate(state.p[bits(word, 8, 5)], in.take<uint8_t>());
        if (fills & 0x4000)
            fill_predicate(state.p[bits(word, 19, 16)], in.take<uint8_t>());
        if (fills & 0x8000)
            state.fpcr = in.take<uint32_t>() & 0x07c80000;
        if (uses_memory(word))
            aim_at_arena(state, word);
        check(word, state);
    }
    return 0;
}
