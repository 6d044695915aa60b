#include "tests/conformance/self_check.h"

#include "tests/conformance/native_writes.h"
#include "tests/conformance/trials.h"

#include <bit>
#include <cstdio>
#include <cstring>

namespace conformance {

// ---- The processor's side: words that write every kind of state, with plain models ----------------

struct plain_word {
    const char *instruction;
    uint32_t word;
    void (*model)(cpu_state *);
    const char *trouble = nullptr; // what the report must say if the processor does not run it
};

static uint8_t *address(const cpu_state *s) {
    return reinterpret_cast<uint8_t *>(s->x[7]);
}
static constexpr size_t row = sve_vector_bytes;

static constexpr plain_word plain_words[] = {
    {"nop", 0xd503201f, [](cpu_state *) {}},
    {"mov x0, x29", 0xaa1d03e0, [](cpu_state *s) { s->x[0] = s->x[29]; }},
    {"addvl x30, x30, #1", 0x043e503e, [](cpu_state *s) { s->x[30] += row; }},
    {"addvl sp, sp, #1", 0x043f503f, [](cpu_state *s) { s->sp += row; }},
    {"cmp xzr, xzr", 0xeb1f03ff, [](cpu_state *s) { s->nzcv = 0x6000'0000; }},
    {"msr fpcr, xzr", 0xd51b441f, [](cpu_state *s) { s->fpcr = 0; }},
    {"msr fpsr, xzr", 0xd51b443f, [](cpu_state *s) { s->fpsr = 0; }},
    {"mov z31.d, z0.d", 0x0460301f, [](cpu_state *s) { memcpy(s->z[31], s->z[0], row); }},
    {"pfalse p15.b", 0x2518e40f, [](cpu_state *s) { memset(s->p[15], 0, row); }},
    {"mov p0.b, p15.b", 0x258f7de0, [](cpu_state *s) { memcpy(s->p[0], s->p[15], row); }},
    {"setffr", 0x252c9000, [](cpu_state *s) { memset(s->ffr, 1, row); }},
    {"str z31, [x7]", 0xe58040ff, [](cpu_state *s) { memcpy(address(s), s->z[31], row); }},
    {"ldr z0, [x7]", 0x858040e0, [](cpu_state *s) { memcpy(s->z[0], address(s), row); }},
    {"ldr x0, [x8]", 0xf9400100, [](cpu_state *) {}, "expected: Segmentation fault"},
    {"udf #0", 0x00000000, [](cpu_state *) {}, "expected: Illegal instruction"},
};

// All registers are new in each trial. X7 points into the arena, X8 behind it.
static void draw_all(const trial_input &in) {
    draw_registers(in.state, in.random);
    const auto start = reinterpret_cast<uint64_t>(arena().data());
    in.state.emulated.x[7] =
        start + in.random.below(static_cast<unsigned>(arena().size() - row + 1));
    in.state.emulated.x[8] = start + arena().size();
}

// ---- The emulator's side: one thing is wrong ------------------------------------------------------

struct damage {
    const char *reported; // what the report must say
    void (*spoil)(cpu_state *state);
};

static constexpr damage damages[] = {
    {"\n    x0   before", [](cpu_state *s) { s->x[0] ^= 1; }},
    {"\n    x30  before", [](cpu_state *s) { s->x[30] ^= uint64_t{1} << 63; }},
    {"\n    sp   before", [](cpu_state *s) { s->sp ^= 16; }},
    {"\n    nzcv before", [](cpu_state *s) { s->nzcv ^= 1u << 28; }},
    {"\n    nzcv before", [](cpu_state *s) { s->nzcv ^= uint64_t{1} << 32; }},
    {"\n    fpsr before", [](cpu_state *s) { s->fpsr ^= 1; }},
    {"\n    fpcr before", [](cpu_state *s) { s->fpcr ^= 1u << 24; }},
    {"\n    z0   before", [](cpu_state *s) { s->z[0][0] ^= 1; }},
    {"\n    z31  before", [](cpu_state *s) { s->z[31][row - 1] ^= 0x80; }},
    {"\n    p0   before", [](cpu_state *s) { s->p[0][1] ^= 1; }},
    {"\n    p15  before", [](cpu_state *s) { s->p[15][row - 1] ^= 1; }},
    {"\n    p7   before", [](cpu_state *s) { s->p[7][0] ^= 2; }}, // a byte that is not 0 or 1
    {"\n    ffr  before", [](cpu_state *s) { s->ffr[row - 1] ^= 1; }},
    {"\n    memory ", [](cpu_state *) { arena().front() ^= 1; }},
    {"\n    memory ", [](cpu_state *) { arena().back() ^= 0x80; }},
};

static const plain_word *current_word;
static void (*spoil_emulator)(cpu_state *);
static void (*spoil_reference)(cpu_state *);
static std::string printed;

static aarch64_decode_rc emulate_plainly(cpu_state *state) {
    current_word->model(state);
    if (spoil_emulator)
        spoil_emulator(state);
    state->pc++;
    return AARCH64_DECODE_OK;
}
static aarch64_decode_rc refer_plainly(cpu_state *state, unsigned) {
    current_word->model(state);
    if (spoil_reference)
        spoil_reference(state);
    return AARCH64_DECODE_OK;
}
static aarch64_decode_rc emulate_nothing(cpu_state *) {
    return AARCH64_DECODE_UNIMPLEMENTED;
}
static aarch64_decode_rc emulate_without_step(cpu_state *) {
    return AARCH64_DECODE_OK;
}
static aarch64_decode_rc execute_wrongly(cpu_state *state) {
    const aarch64_decode_rc rc = execute_sve_instruction(state);
    state->z[5][row / 2] ^= 1;
    return rc;
}

// ---- What must be noticed -------------------------------------------------------------------------

static unsigned failures;

static void expect(bool holds, const char *what, const char *of) {
    if (holds)
        return;
    failures++;
    printf("self-check: %s: %s\n", what, of);
}

static trial_settings quiet_settings(emulate_function emulate) {
    trial_settings settings;
    settings.trials = 24;
    settings.emulate = emulate;
    settings.print = [](const std::string &text) { printed += text; };
    return settings;
}

// The mismatches of a plain word; `printed` becomes their report.
static uint64_t mismatches_of(const plain_word &word, emulate_function emulate = emulate_plainly) {
    current_word = &word;
    printed.clear();
    trial_settings settings = quiet_settings(emulate);
    settings.decode = nullptr;
    settings.adjust = draw_all;
    const sve::handler_row handler = {word.instruction, nullptr, 0, nullptr, refer_plainly};
    trial_totals totals;
    run_row({&handler, ~0u, word.word, true}, settings, totals);
    expect(totals.trials == settings.trials, "trials are left out", word.instruction);
    return totals.mismatches;
}

static bool was_printed(const char *text) {
    return printed.find(text) != std::string::npos;
}

// ---- The table of native writes -------------------------------------------------------------------

using sve::analysis::native_writes;

struct seen_damage {
    const char *what;
    void (*spoil)(cpu_state *state);
    seen_writes seen;
};

static constexpr seen_damage seen_damages[] = {
    {"nothing", [](cpu_state *) {}, {0, 0}},
    {"the lowest byte", [](cpu_state *s) { s->z[0][0] ^= 1; }, {0, 1}},
    {"the last of the lower bytes", [](cpu_state *s) { s->z[31][15] ^= 0x80; }, {0, 1u << 31}},
    {"an upper byte", [](cpu_state *s) { s->z[7][16] = 0; }, {0, 1u << 7}},
    {"all upper bytes but one",
     [](cpu_state *s) { memset(s->z[7] + 16, 0, row - 17); },
     {0, 1u << 7}},
    {"the upper bytes",
     [](cpu_state *s) { memset(s->z[31] + 16, 0, row - 16); },
     {1u << 31, 1u << 31}},
    {"a register", [](cpu_state *s) { memset(s->z[0], 0, row); }, {1, 1}},
};

struct wrong_table {
    const char *what;
    uint32_t (*table)(uint32_t word);
};

static constexpr wrong_table wrong_tables[] = {
    {"no instruction writes", [](uint32_t) { return 0u; }},
    {"all write", [](uint32_t word) { return native_writes(word) | 1u << (word & 31); }},
    {"each writes the next register",
     [](uint32_t word) { return std::rotl(native_writes(word), 1); }},
    {"each writes one register",
     [](uint32_t word) { return native_writes(word) & 1u << (word & 31); }},
    {"FCMP writes",
     [](uint32_t word) {
         return (word & 0xff20fc07) == 0x1e202000 ? 1u << (word & 31) : native_writes(word);
     }},
    // Of those that don't clear the upper bytes where the processor is an emulator:
    {"EOR3 does not write",
     [](uint32_t word) { return (word & 0xffe08000) == 0xce000000 ? 0 : native_writes(word); }},
    {"EOR3 writes V0 too",
     [](uint32_t word) { return native_writes(word) | ((word & 0xffe08000) == 0xce000000); }},
};

static void check_native_table() {
    machine_state before{}, after;
    memset(before.emulated.z, 0x5a, sizeof before.emulated.z);
    for (const seen_damage &damage : seen_damages) {
        after = before;
        damage.spoil(&after.emulated);
        const seen_writes seen = find_writes(before, after);
        expect(seen.cleared == damage.seen.cleared && seen.changed == damage.seen.changed,
               "not seen as it is", damage.what);
    }
    expect(seen_writes{6, 7}.are(6) == false, "a change is not noticed", "of V0");
    expect(seen_writes{4, 6}.are(6) == false, "a write is not noticed", "that clears nothing");
    expect(seen_writes{6, 6}.are(4) == false, "a write is not noticed", "that the table has not");
    expect(seen_writes{6, 4}.are(6), "a write is not recognised", "that changes nothing below");

    native_words native{20'000, quiet_settings(nullptr).seed};
    native.print = [](const std::string &text) { printed += text; };
    printed.clear();
    const native_totals right = run_native_words(native);
    expect(right.mismatches == 0 && printed.empty(), "is reported", "the right table");
    expect(right.writing > 0 && right.writing < right.executed, "are left out", "words");
    for (const wrong_table &wrong : wrong_tables) {
        native.table = wrong.table;
        printed.clear();
        const native_totals totals = run_native_words(native);
        expect(totals.mismatches > 0 && was_printed("mismatch: word 0x"), "is not reported",
               wrong.what);
    }
    native.table = wrong_tables[0].table;
    expect(run_native_words(native).mismatches >= right.writing, "are not all reported",
           wrong_tables[0].what);
}

int self_check() {
    if constexpr (sve_vector_bytes > 16)
        check_native_table();

    const uint64_t all = quiet_settings(nullptr).trials;

    for (const plain_word &word : plain_words) {
        const uint64_t mismatches = mismatches_of(word);
        if (!word.trouble)
            expect(mismatches == 0, "a right result is reported", word.instruction);
        else
            expect(mismatches == all && was_printed(word.trouble), "is not reported",
                   word.instruction);
        if (!word.trouble && word.word != plain_words[0].word)
            expect(mismatches_of({word.instruction, word.word, [](cpu_state *) {}}) > 0,
                   "the processor's result is not seen", word.instruction);
    }

    const plain_word &nop = plain_words[0];
    for (const damage &damage : damages) {
        spoil_emulator = damage.spoil;
        // Both tiers see it.
        expect(mismatches_of(nop) == 2 * all && was_printed(damage.reported),
               "a wrong emulator is not reported", damage.reported);
        spoil_emulator = nullptr;
        spoil_reference = damage.spoil;
        expect(mismatches_of(nop) == all && was_printed(damage.reported) &&
                   was_printed("against the reference tier"),
               "a wrong reference tier is not reported", damage.reported);
        spoil_reference = nullptr;
    }
    expect(mismatches_of(nop, emulate_nothing) == 2 * all && was_printed("got: not emulated"),
           "is not reported", "a handler that emulates nothing");
    expect(mismatches_of(nop, emulate_without_step) == 2 * all && was_printed("got: pc"),
           "is not reported", "pc stays");

    // No row, and no known difference, hides a wrong result; reserved masks alone may give any.
    for (const tested_row &row : tested_rows("*")) {
        trial_totals totals;
        run_row(row, quiet_settings(execute_wrongly), totals);
        expect(totals.mismatches >= totals.trials / 4, "a wrong result is hidden", row.row->name);
    }
    printf("conformance: self-check %s\n", failures ? "failed" : "passed");
    return failures ? 1 : 0;
}

} // namespace conformance
