// A driver without a platform: it steps the emulator core through a few instruction words and looks at the
// registers.

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sve/core/cpu_state.h>
#include <sve/core/signals.h>
#include <sve/core/sve_utils.h>
#include <sve/fplib/fplib.h>
#include <sys/mman.h>
#include <unistd.h>

static void require(bool condition, const char *what) {
    if (condition)
        return;
    fprintf(stderr, "wrong: %s\n", what);
    exit(1);
}

template <class T>
static T lane(const cpu_state &state, unsigned z, unsigned element) {
    T value;
    memcpy(&value, state.z[z] + element * sizeof value, sizeof value);
    return value;
}

// Runs words until one is not emulated, and returns how many were.
static unsigned run(cpu_state &state, unsigned int *code) {
    unsigned count = 0;
    state.pc = code;
    while (execute_sve_instruction(&state) == AARCH64_DECODE_OK)
        count++;
    return count;
}

// An initialiser may come before the core's.
static const aarch64_handler found_early = is_sve(0x2598e3e0); // ptrue p0.s

int main() {
    require(decode_map__31_13.size() > 400, "the decode maps are filled");
    require(found_early && found_early == is_sve(0x2598e3e0), "an initialiser can look a word up");
    static cpu_state state = {};
    constexpr unsigned words = sve_elements(sve_size_s);

    // The sum of the squares of 1, 2, 3 …
    unsigned int squares[] = {
        0x2598e3e0, // ptrue p0.s
        0x04a14020, // index z0.s, #1, #1
        0x04900000, // mul z0.s, p0/m, z0.s, z0.s
        0x04812001, // uaddv d1, p0, z0.s
        0x04a0e3e0, // cntw x0
        0xd503201f, // nop: not an SVE instruction
    };
    require(run(state, squares) == 5, "five words are emulated");
    require(state.pc == squares + 5, "pc is at the word that is not");
    require(state.x[0] == words, "the elements of a vector");
    require(lane<uint32_t>(state, 0, words - 1) == words * words, "the last square");
    require(lane<uint64_t>(state, 1, 0) == words * (words + 1) * (2 * words + 1) / 6, "the sum");

    // FADD, rounded up by the state's control word, is what the library's FPAdd says.
    const uint32_t a = std::bit_cast<uint32_t>(1.0f), b = std::bit_cast<uint32_t>(1e-10f);
    memcpy(state.z[3], &a, sizeof a);
    memcpy(state.z[4], &b, sizeof b);
    state.fpcr = FPRounding_POSINF << FPSCR::RMode_shift;
    state.fpsr = 0;
    unsigned int sum[] = {0x65840065 /* fadd z5.s, z3.s, z4.s */, 0xd503201f};
    require(run(state, sum) == 1, "FADD is emulated");
    FPSCR fpscr{state.fpcr};
    require(lane<uint32_t>(state, 5, 0) == FPAdd(a, b, fpscr), "the sum that FPAdd gives");
    require(lane<uint32_t>(state, 5, 0) == a + 1, "the sum rounded up");
    require(state.fpsr == FPSCR::IXC, "the flag of a rounded result");

    // A first-fault load over the end of what can be read stops there. It needs the fault signals.
    SVEInitialize();
    const long page = sysconf(_SC_PAGESIZE);
    void *memory =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED &&
                mprotect(static_cast<char *>(memory) + page, page, PROT_NONE) == 0,
            "two pages of memory");
    memset(memory, 7, page);
    memset(state.p[1], 1, sizeof state.p[1]);
    memset(state.ffr, 1, sizeof state.ffr);
    state.x[1] = reinterpret_cast<uint64_t>(memory) + page;
    state.x[2] = static_cast<uint64_t>(-5);
    unsigned int load[] = {0xa4026426 /* ldff1b {z6.b}, p1/z, [x1, x2] */, 0xd503201f};
    require(run(state, load) == 1, "LDFF1B is emulated");
    require(state.z[6][4] == 7 && state.ffr[4] == 1, "what can be read is loaded");
    require(state.ffr[5] == 0, "FFR ends where nothing can be read");

    require(sve_instr_count == 7, "seven instructions are counted");
    printf("%u-bit vectors: %lu instructions emulated\n", sve_vector_bits,
           static_cast<unsigned long>(sve_instr_count));
}
