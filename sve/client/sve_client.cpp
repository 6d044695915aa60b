// The instrumentation client: lets programs built for SVE run where the processor has none. As each
// block of the application is translated, the SVE instructions of the main module are replaced by
// calls into the emulator (rewrite.cpp); this file starts and stops the client and has the call's
// other end.
#include "sve/client/client.h"

#include "sve/client/profile.h"
#include "sve/client/runs.h"
#include "sve/client/totals.h"
#include "sve/core/host_fp.h"
#include "sve/core/signals.h"
#include "sve/core/sve_utils.h"
#include "sve/native/thread_state.h"

#include "droption.h"
#include "drreg.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <pthread.h>
#include <string>

#ifdef dr_register_exit_event // later releases give the name to drmgr
#undef dr_register_exit_event
#define dr_register_exit_event drmgr_register_exit_event
#endif

using namespace sve::client;

module_data_t *exe;
app_pc sve::client::exe_start;
int sve::client::tls_idx;
uint64_t sve::client::aarch64_instr_count;
bool sve::client::clears_upper_bytes;

// A platform may tell the program so. Beside the interface: what doesn't know it doesn't look for it.
DR_EXPORT extern const unsigned client_vector_bytes;
const unsigned client_vector_bytes = sve_vector_bytes;

void sve::library_loaded() {
    SVEInitialize();
}

// ---- Threads -----------------------------------------------------------------------------------

// The registers, and what translated code has beside them.
static size_t thread_bytes() {
    return translates ? sizeof(sve::native::thread_state) : sizeof(cpu_state);
}

static void event_thread_init(void *drcontext) {
    void *memory = dr_thread_alloc(drcontext, thread_bytes());
    if (!memory)
        assertion_failure(__LINE__, "data != __null");
    std::memset(memory, 0, thread_bytes());
    drmgr_set_tls_field(drcontext, tls_idx, memory);
    if (sve::counts_instructions && translates)
        begin_counting(drcontext, *static_cast<sve::native::thread_state *>(memory));
}

static void event_thread_exit(void *drcontext) {
    void *data = drmgr_get_tls_field(drcontext, tls_idx);
    if (data == nullptr)
        assertion_failure(__LINE__, "data != __null");
    if (sve::counts_instructions && translates)
        end_counting(*static_cast<sve::native::thread_state *>(data));
    dr_thread_free(drcontext, data, thread_bytes());
    drmgr_set_tls_field(drcontext, tls_idx, nullptr);
}

// ---- Emulation ---------------------------------------------------------------------------------

void sve::client::say_not_emulated(unsigned int word, const void *pc) {
    fprintf(stderr, "Error: failed to emulate SVE instruction 0x%08x at PC %p\n", word, pc);
}

// Runs the instruction at the state's pc.
[[gnu::always_inline]] static inline void run(cpu_state *state, unsigned int word,
                                              aarch64_handler handler) {
    if (handler(state, word) == AARCH64_DECODE_OK) [[likely]] {
        if constexpr (sve::counts_instructions)
            update_sve_stats(state->pc, word);
    } else {
        // Not the word at pc, which may be a branch to this call by now.
        say_not_emulated(word, state->pc);
    }
}

void emulate_instruction(unsigned int word, unsigned char *pc, aarch64_handler handler) {
    void *drcontext = dr_get_current_drcontext();
    asm("" : "+r"(drcontext)); // one register across the calls, not a sum to be made anew
    auto *state = static_cast<cpu_state *>(drmgr_get_tls_field(drcontext, tls_idx));
    state->pc = reinterpret_cast<unsigned int *>(pc);
    const reg_t x26 = dr_read_saved_reg(drcontext, SPILL_SLOT_1);
    const reg_t x27 = dr_read_saved_reg(drcontext, SPILL_SLOT_2);
    const reg_t x28 = dr_read_saved_reg(drcontext, SPILL_SLOT_3);
    state->x[26] = x26;
    state->x[27] = x27;
    state->x[28] = x28;

    run(state, word, handler);

    const uint64_t *const x = state->x;
    const reg_t new_x26 = x[26], new_x27 = x[27], new_x28 = x[28];
    dr_write_saved_reg(drcontext, SPILL_SLOT_1, new_x26);
    dr_write_saved_reg(drcontext, SPILL_SLOT_2, new_x27);
    dr_write_saved_reg(drcontext, SPILL_SLOT_3, new_x28);
}

void event_trap(void *drcontext, dr_registers_t *registers, const dr_trapped_instr_t *instrs,
                uint count) {
    auto *state = static_cast<cpu_state *>(drmgr_get_tls_field(drcontext, tls_idx));
    std::memcpy(state->x, registers->x, sizeof state->x);
    state->sp = registers->sp;
    state->nzcv = registers->nzcv;
    state->fpsr = registers->fpsr;
    state->fpcr = registers->fpcr;
    for (unsigned i = 0; i < std::size(state->z); i++)
        std::memcpy(state->z[i], registers->q[i], sizeof registers->q[i]);

    for (uint i = 0; i < count; i++) {
        const sve::host_fp_scope application_words(state->fpcr, state->fpsr);
        state->pc = reinterpret_cast<unsigned int *>(instrs[i].pc);
        run(state, instrs[i].word, reinterpret_cast<aarch64_handler>(instrs[i].data));
    }

    if (translates)
        forget_predicates(*reinterpret_cast<sve::native::thread_state *>(state));

    std::memcpy(registers->x, state->x, sizeof state->x);
    registers->sp = state->sp;
    registers->nzcv = state->nzcv;
    registers->fpsr = state->fpsr;
    registers->fpcr = state->fpcr;
    for (unsigned i = 0; i < std::size(state->z); i++)
        std::memcpy(registers->q[i], state->z[i], sizeof registers->q[i]);
}

// ---- The process -------------------------------------------------------------------------------

static void event_exit() {
    constexpr uint all_categories = 0xffffff;
    dr_log(nullptr, all_categories, 1, "SVE client exiting\n");
    if constexpr (sve::counts_instructions) {
        collect_run_counts();
        report_translation();
        write_totals();
        write_profile();
    }
    if (exe)
        dr_free_module_data(exe);
    exe = nullptr;
    if (!drmgr_unregister_bb_app2app_event(event_instruction_change) ||
        drreg_exit() != DRREG_SUCCESS)
        assertion_failure(__LINE__, "false");
    drmgr_exit();
}

// A fork copies what the other threads were at. So the statistics are at rest in its moment.
static void keep_locks_around_forks() {
    const auto lock = [] {
        lock_runs();
        icounts_mutex.lock();
    };
    const auto unlock = [] {
        icounts_mutex.unlock();
        unlock_runs();
    };
    if (pthread_atfork(lock, unlock, unlock) != 0)
        assertion_failure(__LINE__, "false");
}

static droption_t<std::string>
    clear_upper_bytes(DROPTION_SCOPE_CLIENT, "clear_upper_bytes", "no",
                      "Whether native writes clear upper bytes: yes or no",
                      "With yes a native instruction that writes a V register clears the rest of "
                      "the Z register, as on a processor with SVE.");

// Any word before "--" that is no option of the client's is a usage error.
static void check_arguments(int argc, const char *argv[]) {
    std::string error;
    int last = argc;
    bool known = droption_parser_t::parse_argv(DROPTION_SCOPE_CLIENT, argc, argv, &error, &last);
    // Later releases of the parser stop with success at a word that has no dash.
    if (known && last < argc && std::strcmp(argv[last - 1], "--") != 0) {
        error = std::string("Unknown option: ") + argv[last];
        known = false;
    }
    const std::string clear = clear_upper_bytes.get_value();
    const bool is_yes = clear == "yes";
    if (known && !is_yes && clear != "no") {
        error = "-clear_upper_bytes is yes or no, not '" + clear + "'";
        known = false;
    }
    clears_upper_bytes = is_yes && sve_chunks > 1;
    if (!known) {
        dr_fprintf(STDERR, "Usage error: %s\n", error.c_str());
        dr_abort();
    }
}

DR_EXPORT void dr_client_main(client_id_t, int argc, const char *argv[]) {
    // No spill slots of drreg's: the rewrite uses the platform's own.
    drreg_options_t options = {};
    options.struct_size = sizeof options;

    dr_set_client_name("Talvik SVE emulation client", "the issue tracker of the project");
    check_arguments(argc, argv);
    if (!drmgr_init())
        assertion_failure(__LINE__, "false");
    if (drreg_init(&options) != DRREG_SUCCESS)
        assertion_failure(__LINE__, "false");

    exe = dr_get_main_module();
    if (exe)
        exe_start = exe->start;

    drmgr_register_thread_init_event(event_thread_init);
    drmgr_register_thread_exit_event(event_thread_exit);
    dr_register_exit_event(event_exit);
    if (!drmgr_register_bb_app2app_event(event_instruction_change, nullptr))
        assertion_failure(__LINE__, "false");
    dr_register_trap_event(event_trap); // where there are none, no instruction is left to them
    tls_idx = drmgr_register_tls_field();
    start_runs();
    keep_locks_around_forks();

    sve_instr_count.store(0, std::memory_order_release);
    aarch64_instr_count = 0;
    dr_log(nullptr, 0xffffff, 1, "SVE client initializing\n");
}
