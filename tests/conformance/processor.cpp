#include "tests/conformance/processor.h"

#include "sve/core/signals.h"
#include "tests/conformance/translated.h"

#include <array>
#include <asm/hwcap.h>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <ucontext.h>
#include <unistd.h>

// The code around one word. Its literals stand in front of the blocks, in pages of their own.
struct code_block {
    uint32_t load_x30;
    uint32_t word;
    uint32_t save_x30; // in TPIDR_EL0
    uint32_t load_end;
    uint32_t go;
};

extern "C" void conformance_run(const conformance::machine_state *before,
                                conformance::machine_state *after, const code_block *block);
extern "C" void conformance_run_end();
extern "C" uint64_t conformance_vector_bytes();

namespace conformance {

static constexpr auto unpacked = [] {
    std::array<std::array<uint8_t, 8>, 256> table{};
    for (unsigned bits = 0; bits < 256; bits++)
        for (unsigned i = 0; i < 8; i++)
            table[bits][i] = bits >> i & 1;
    return table;
}();

void machine_state::unpack_predicates() {
    const uint8_t *bits = reinterpret_cast<const uint8_t *>(this) + offsetof(machine_state, p);
    uint8_t *bytes = reinterpret_cast<uint8_t *>(&emulated) + offsetof(cpu_state, p);
    for (unsigned i = 0; i < 17 * predicate_bytes; i++)
        memcpy(bytes + 8 * i, unpacked[bits[i]].data(), 8);
}

// ---- Code and faults ------------------------------------------------------------------------------

running_trial running;

static struct {
    uint64_t x30;
    uint64_t end;
} * literals;
static code_block *blocks;
static constexpr size_t literal_bytes = 4 * readable_words; // a page of any size

static const code_block *volatile running_block; // null while the processor is not asked
static volatile int raised;

// A word that is refused or faults is stepped over. Any other fault is one of the emulator, or of this
// program, and ends it.
static void handle_fault(int signal, siginfo_t *info, void *context) {
    mcontext_t &registers = static_cast<ucontext_t *>(context)->uc_mcontext;
    const code_block *block = running_block;
    if (block && signal == SIGALRM) {
        alarm(1); // the instruction is simply on the processor just now
        return;
    }
    if (block && registers.pc == reinterpret_cast<uint64_t>(&block->word)) {
        raised = signal;
        registers.pc += sizeof block->word;
        return;
    }
    if (const uint64_t resume = translation_resumes_at(registers.pc)) {
        registers.pc = resume;
        return;
    }
    if (SVEFaultRegion && (signal == SIGSEGV || signal == SIGBUS)) {
        SVESigHandler(signal, info, context);
        return;
    }
    char text[512];
    const int length =
        snprintf(text, sizeof text,
                 "conformance: %s: %s, word 0x%08x, seed 0x%lx, trial %lu, pc %#lx\n"
                 "  repeat with: conformance --rows %s --seed 0x%lx --trial %lu\n",
                 signal == SIGALRM ? "the emulator does not return" : "the emulator crashed",
                 running.handler ? running.handler : "no handler", running.word, running.seed,
                 running.trial, static_cast<unsigned long>(registers.pc),
                 running.handler ? running.handler : "''", running.seed, running.trial);
    if (write(STDERR_FILENO, text, static_cast<size_t>(length)) < 0)
        _exit(4);
    _exit(3);
}

const char *open_processor(bool any_length) {
    if (!(getauxval(AT_HWCAP) & HWCAP_SVE))
        return "this processor has no SVE";
    static char text[96];
    prctl(PR_SVE_SET_VL, sve_vector_bytes);
    if (const uint64_t bytes = conformance_vector_bytes();
        bytes != sve_vector_bytes && !(any_length && bytes < sve_vector_bytes)) {
        snprintf(text, sizeof text, "this processor's vector length is %lu bits, the emulator's %u",
                 bytes * 8, sve_vector_bits);
        return text;
    }

    void *memory = mmap(nullptr, literal_bytes + max_loaded_words * sizeof(code_block),
                        PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return "no memory for code";
    literals = static_cast<decltype(literals)>(memory);
    literals->end = reinterpret_cast<uint64_t>(conformance_run_end);
    blocks = reinterpret_cast<code_block *>(static_cast<uint8_t *>(memory) + literal_bytes);

    // SP is any value while a word runs.
    alignas(16) static uint8_t stack[128 << 10];
    const stack_t alternate = {.ss_sp = stack, .ss_flags = 0, .ss_size = sizeof stack};
    sigaltstack(&alternate, nullptr);
    struct sigaction action = {};
    action.sa_sigaction = handle_fault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    SVEInitialize();
    for (const int signal : {SIGILL, SIGSEGV, SIGBUS, SIGFPE, SIGTRAP, SIGALRM})
        sigaction(signal, &action, nullptr);
    return nullptr;
}

// ldr x30, literal
static uint32_t load_x30(const uint32_t *at, const uint64_t *literal) {
    const auto words = (reinterpret_cast<intptr_t>(literal) - reinterpret_cast<intptr_t>(at)) / 4;
    return 0x58000000 | (static_cast<uint32_t>(words) & 0x7ffff) << 5 | 30;
}

void load_words(std::span<const uint32_t> words) {
    for (size_t i = 0; i < words.size(); i++) {
        code_block &block = blocks[i];
        block.load_x30 = load_x30(&block.load_x30, &literals->x30);
        block.word = words[i];
        block.save_x30 = 0xd51bd05e; // msr tpidr_el0, x30
        block.load_end = load_x30(&block.load_end, &literals->end);
        block.go = 0xd61f03c0; // br x30
    }
    __builtin___clear_cache(reinterpret_cast<char *>(blocks),
                            reinterpret_cast<char *>(blocks + words.size()));
}

int run_word(size_t index, const machine_state &before, machine_state &after) {
    raised = 0;
    literals->x30 = before.emulated.x[30];
    running_block = blocks + index;
    conformance_run(&before, &after, blocks + index);
    running_block = nullptr;
    return raised;
}

} // namespace conformance
