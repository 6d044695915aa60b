#include "sve/client/runs.h"

#include "sve/client/sequence.h"
#include "sve/core/short_mutex.h"
#include "sve/core/sve_utils.h"
#include "sve/native/run.h"
#include "sve/native/thread_state.h"

#include "droption.h"

#include <algorithm>
#include <asm/hwcap.h>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace sve::client;
using sve::native::thread_state;

bool sve::client::translates;

namespace {

// The thread's field with the address of its counters; where nothing is counted, that of its state.
int base_field;

// ---- Counts -------------------------------------------------------------------------------------

constexpr unsigned most_runs = 1u << 18;

// Only its thread writes it. Nothing of it may be undone when a signal handler returns, so it isn't the platform's
// memory of the thread.
struct thread_counters {
    uint64_t handed_over; // instructions of runs that the emulator ran
    thread_state *state;  // where runs look for it, before the counts
    uint64_t counts[most_runs];
    thread_counters *next; // of all threads

    static thread_counters &of(const thread_state &thread) {
        return *reinterpret_cast<thread_counters *>(reinterpret_cast<char *>(thread.counters) -
                                                    offsetof(thread_counters, counts));
    }
};

struct counted_run {
    unsigned int *pc;
    std::vector<unsigned int> words;
    uint64_t ended = 0;     // executions by threads that have ended
    uint64_t collected = 0; // that the statistics have
};

// Guards what follows. Before icounts_mutex where both are taken.
sve::short_mutex runs_mutex;
thread_counters *all_threads;
uint64_t handed_over_by_ended;
uint64_t all_collected; // instructions

// Never destroyed: a thread may still be emulating when the process ends.
std::vector<counted_run> &runs() {
    static std::vector<counted_run> &all = *new std::vector<counted_run>;
    return all;
}

// The index of a run's counter, the same for the same code at the same place; most_runs if there is none left.
unsigned find_run(unsigned int *pc, const std::vector<unsigned int> &words) {
    static auto &indices =
        *new std::map<std::pair<unsigned int *, std::vector<unsigned int>>, unsigned>;
    const std::lock_guard lock(runs_mutex);
    const auto next = static_cast<unsigned>(runs().size());
    if (next == most_runs)
        return most_runs;
    const auto [known, is_new] = indices.try_emplace({pc, words}, next);
    if (is_new)
        runs().push_back({pc, words});
    return known->second;
}

// ---- Hand-overs ---------------------------------------------------------------------------------

thread_state &running_thread(void *drcontext) {
    return *static_cast<thread_state *>(drmgr_get_tls_field(drcontext, tls_idx));
}

// What shared code calls: runs the instructions of the record that it would return to, and lets it return behind them.
// X27 and X30 of the application are on top of its stack.
void emulate_record() {
    thread_state &thread = running_thread(dr_get_current_drcontext());
    cpu_state &state = thread.registers;
    std::memcpy(&state.x[27], reinterpret_cast<const void *>(state.sp), 8);
    std::memcpy(&state.x[30], reinterpret_cast<const void *>(state.sp + 8), 8);
    constexpr uint64_t frame_bytes = 16;
    state.sp += frame_bytes;

    // The platform may move it meanwhile.
    std::atomic_ref returns_to(thread.returns_to);
    const auto *from = reinterpret_cast<const unsigned char *>(returns_to.load());
    const auto read = [&](auto &value) {
        std::memcpy(&value, from, sizeof value);
        from += sizeof value;
    };
    sve::native::hand_over_record record;
    read(record);
    std::memcpy(&state.pc, record.pc, sizeof state.pc);
    for (unsigned i = 0; i < record.count; i++) {
        sve::native::hand_over_record::instruction instruction;
        read(instruction);
        aarch64_handler handler;
        std::memcpy(&handler, instruction.handler, sizeof handler);
        if (handler(&state, instruction.word) != AARCH64_DECODE_OK)
            say_not_emulated(instruction.word, state.pc);
        state.pc++;
    }
    forget_predicates(thread);
    if constexpr (sve::counts_instructions)
        thread_counters::of(thread).handed_over += record.count;
    returns_to.fetch_add(sizeof record +
                         record.count * sizeof(sve::native::hand_over_record::instruction));

    state.sp -= frame_bytes;
    std::memcpy(reinterpret_cast<void *>(state.sp), &state.x[27], 8);
    std::memcpy(reinterpret_cast<void *>(state.sp + 8), &state.x[30], 8);
}

void insert_shared_code(void *drcontext, instrlist_t *list, instr_t *end) {
    sequence code(drcontext, list, end, nullptr);
    code.store(DR_REG_X30, offsetof(thread_state, returns_to), OPSZ_8);
    dr_mark_return_saved(list, end);
    code.store(DR_REG_X26, x_offset(26), OPSZ_8);
    code.store(DR_REG_X28, x_offset(28), OPSZ_8);
    insert_hand_over(code);
    dr_insert_call_ovrin(drcontext, list, end, nullptr, reinterpret_cast<void *>(&emulate_record),
                         0);
    drmgr_insert_read_tls_field(drcontext, tls_idx, list, end, DR_REG_X27);
    insert_take_back(code);
    code.load(DR_REG_X28, x_offset(28), OPSZ_8);
    code.load(DR_REG_X26, x_offset(26), OPSZ_8);
    code.load(DR_REG_X30, offsetof(thread_state, returns_to), OPSZ_8);
    dr_mark_return_loaded(list, end);
    constexpr uint ret = 0xd65f03c0;
    dr_insert_words(list, end, &ret, 1);
}

// ---- Runs ---------------------------------------------------------------------------------------

// What all runs share, made when the first is.
const sve::native::run_environment &environment() {
    static uint load_base[8];
    static const sve::native::run_environment all = [] {
        const uint words = dr_words_of_tls_field(base_field, DR_REG_X27, load_base);
        const byte *hand_over =
            dr_write_shared_code(insert_shared_code, tls_idx, offsetof(thread_state, returns_to));
        const unsigned long hwcap = getauxval(AT_HWCAP);
        return sve::native::run_environment{
            sve_vector_bytes,
            {(hwcap & HWCAP_ASIMDHP) != 0, (hwcap & HWCAP_FCMA) != 0},
            {load_base, words},
            reinterpret_cast<uint64_t>(hand_over),
            sve::counts_instructions};
    }();
    return all;
}

// The program may write over a part of code that it has made itself, so there each instruction is a run of its own.
bool is_in_module(app_pc pc) {
    module_data_t *module = dr_lookup_code_module(pc);
    if (!module)
        return false;
    dr_free_module_data(module);
    return true;
}

// Replaces the first of the instructions, and as many more as fit into its run. Returns how many are done with.
size_t replace_by_run(void *drcontext, instrlist_t *bb, std::span<const sve_instr> instrs) {
    static sve::native::run run; // large; blocks come one after the other
    sve::native::run_instruction in_run[sve::native::run::most_instructions];
    const size_t most = is_in_module(instr_get_app_pc(instrs[0].instr)) ? std::size(in_run) : 1;
    instrs = instrs.first(std::min(instrs.size(), most));
    for (size_t i = 0; i < instrs.size(); i++) {
        const sve::found_row found = sve::find_row(instrs[i].word);
        in_run[i] = {instrs[i].word, found.row ? found.row->translate : nullptr,
                     reinterpret_cast<uint64_t>(instrs[i].handler)};
    }
    auto *const pc = reinterpret_cast<unsigned int *>(instr_get_app_pc(instrs[0].instr));
    const auto make = [&](size_t count, unsigned index) {
        return run.make(environment(), reinterpret_cast<uint64_t>(pc), {in_run, count}, index);
    };
    // How many fit doesn't depend on the counter, nearly.
    unsigned count = make(instrs.size(), most_runs - 1);
    if (sve::counts_instructions && count) {
        std::vector<unsigned int> words;
        for (const sve_instr &instr : instrs.first(count))
            words.push_back(instr.word);
        const unsigned index = find_run(pc, words);
        count = index == most_runs || make(count, index) != count ? 0 : count;
    }
    if (count == 0)
        return 1;
    static_assert(sizeof(dr_fault_range_t) == sizeof(sve::native::fault_range));
    const dr_run_code_t code = {run.words().data(), static_cast<uint>(run.words().size()),
                                run.exit(),
                                reinterpret_cast<const dr_fault_range_t *>(run.faults().data()),
                                static_cast<uint>(run.faults().size())};
    return dr_replace_run(drcontext, bb, instrs[0].instr, count, &code) ? count : 1;
}

droption_t<std::string>
    translate_option(DROPTION_SCOPE_CLIENT, "translate", "no",
                     "Whether instructions are translated: yes or no",
                     "With yes native code does the work of the common instructions.");
droption_t<std::string> report_option(DROPTION_SCOPE_CLIENT, "report_translation", "no",
                                      "Whether to tell what ran translated: yes or no",
                                      "A line at the end.");

} // namespace

void sve::client::start_runs() {
    translates = translate_option.get_value() == "yes";
    if (translates)
        base_field = counts_instructions ? drmgr_register_tls_field() : tls_idx;
}

void sve::client::replace_by_runs(void *drcontext, instrlist_t *bb,
                                  std::span<const sve_instr> instrs) {
    while (!instrs.empty())
        instrs = instrs.subspan(replace_by_run(drcontext, bb, instrs));
}

void sve::client::forget_predicates(thread_state &thread) {
    std::memset(thread.full, 0, sizeof thread.full);
}

void sve::client::begin_counting(void *drcontext, thread_state &thread) {
    // Not by the function of this name, with which the program changes its map.
    const long memory = syscall(SYS_mmap, nullptr, sizeof(thread_counters), PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == -1)
        assertion_failure(__LINE__, "memory != -1");
    auto *counters = reinterpret_cast<thread_counters *>(memory);
    counters->state = &thread;
    thread.counters = counters->counts;
    drmgr_set_tls_field(drcontext, base_field, counters->counts);
    const std::lock_guard lock(runs_mutex);
    counters->next = all_threads;
    all_threads = counters;
}

void sve::client::end_counting(thread_state &thread) {
    thread_counters &ending = thread_counters::of(thread);
    {
        const std::lock_guard lock(runs_mutex);
        for (size_t i = 0; i < runs().size(); i++)
            runs()[i].ended += ending.counts[i];
        handed_over_by_ended += ending.handed_over;
        thread_counters **link = &all_threads;
        while (*link != &ending)
            link = &(*link)->next;
        *link = ending.next;
    }
    syscall(SYS_munmap, &ending, sizeof ending);
}

void sve::client::collect_run_counts() {
    const std::lock_guard lock(runs_mutex);
    for (size_t i = 0; i < runs().size(); i++) {
        counted_run &run = runs()[i];
        uint64_t executions = run.ended;
        for (const thread_counters *thread = all_threads; thread; thread = thread->next)
            executions += thread->counts[i];
        const uint64_t more = executions - run.collected;
        if (more == 0)
            continue;
        run.collected = executions;
        for (size_t k = 0; k < run.words.size(); k++)
            update_sve_stats(run.pc + k, run.words[k], more);
        all_collected += more * run.words.size();
    }
}

void sve::client::lock_runs() {
    runs_mutex.lock();
}
void sve::client::unlock_runs() {
    runs_mutex.unlock();
}

void sve::client::report_translation() {
    if (report_option.get_value() != "yes" || !translates)
        return;
    const std::lock_guard lock(runs_mutex);
    uint64_t handed_over = handed_over_by_ended;
    for (const thread_counters *thread = all_threads; thread; thread = thread->next)
        handed_over += thread->handed_over;
    const uint64_t all = sve_instr_count.load(), translated = all_collected - handed_over;
    dr_fprintf(
        STDERR,
        "sverun: %lu of %lu SVE instructions ran translated (%lu.%lu %%), in %lu runs of code\n",
        translated, all, all ? translated * 100 / all : 0, all ? translated * 1000 / all % 10 : 0,
        runs().size());
}
