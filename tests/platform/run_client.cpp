// A client with instructions of its own, which replaces runs of them by code in which they can be told apart: in between
// X0 is never what a program may see.
//
//     0x25ff00nn   add x0, x0, #n
//     0x25ff01nn   the same, by a function that shared code calls
//     0x25ff0200   add x0, x0, the word at [x2]; 1000 if that can't be read
#include "drmgr.h"
#include "platform/include/dr_extensions.h"
#include "platform/src/a64.h"

#include <cstddef>
#include <cstring>
#include <iterator>

namespace a64 = platform::a64;

namespace {

struct state {
    reg_t x[32]; // the shared code's, from 0 on
    reg_t x27;   // the application's, while X27 points here
    byte *returns_to;
};

int tls_idx;
byte *shared_code;

enum class kind { add, call, load, none };
kind kind_of(uint word) {
    return word >> 16 == 0x25ff && (word >> 8 & 0xff) < 3 ? static_cast<kind>(word >> 8 & 0xff)
                                                          : kind::none;
}

state *own_state() {
    return static_cast<state *>(drmgr_get_tls_field(dr_get_current_drcontext(), tls_idx));
}

// What stands behind the call of the shared code is the number to add. Takes its time.
void add_by_call() {
    state *mine = own_state();
    const byte *record = __atomic_fetch_add(&mine->returns_to, 4, __ATOMIC_RELAXED);
    uint number;
    std::memcpy(&number, record, sizeof number);
    for (unsigned i = 0; i < 100; i++)
        asm volatile("");
    mine->x[0] += number;
}

void fill_shared_code(void *drcontext, instrlist_t *list, instr_t *end) {
    const auto insert = [&](uint word) { dr_insert_words(list, end, &word, 1); };
    insert(a64::str(30, 27, offsetof(state, returns_to)));
    dr_mark_return_saved(list, end);
    for (unsigned i = 0; i < 30; i += 2)
        insert(a64::load_store_pair(false, i, i + 1, 27, static_cast<int>(8 * i)));
    dr_insert_call_ovrin(drcontext, list, end, nullptr, reinterpret_cast<void *>(add_by_call), 0);
    for (unsigned i = 0; i < 26; i += 2)
        insert(a64::load_store_pair(true, i, i + 1, 27, static_cast<int>(8 * i)));
    insert(a64::ldr(26, 27, 8 * 26));
    insert(a64::load_store_pair(true, 28, 29, 27, 8 * 28));
    insert(a64::ldr(30, 27, offsetof(state, returns_to)));
    dr_mark_return_loaded(list, end);
    insert(0xd65f03c0); // ret
}

// The code of one run.
class run_code {
public:
    run_code() {
        put(0xa9bf7bfb); // stp x27, x30, [sp, #-16]!
        count_ += dr_words_of_tls_field(tls_idx, DR_REG_X27, words_ + count_);
        put(0xaa2003e0); // mvn x0, x0
    }
    void add(uint word) {
        const uint number = word & 0xff;
        switch (kind_of(word)) {
        case kind::add:
            put(0xd1000000 | number << 10); // sub x0, x0, #number
            break;
        case kind::call:
            put(0xaa2003e0);
            put(a64::ldr_literal(30, 8));
            put(a64::b(12));
            std::memcpy(words_ + count_, &shared_code, sizeof shared_code);
            count_ += 2;
            put(a64::blr(30));
            put(number);
            put(0xaa2003e0);
            break;
        default:
            put(a64::str(1, 27, 8));
            faults_[fault_count_++] = {count_, count_ + 1, count_ + 3};
            put(0xb9400041); // ldr w1, [x2]
            put(0xcb010000); // sub x0, x0, x1
            put(a64::b(8));
            put(0xd10fa000); // sub x0, x0, #1000
            put(a64::ldr(1, 27, 8));
        }
    }
    void replace(void *drcontext, instrlist_t *list, instr_t *first, uint count) {
        put(0xaa2003e0);
        put(0xa8c17bfb); // ldp x27, x30, [sp], #16
        const uint exit = count_;
        put(0);
        put(0); // never executed
        const dr_run_code_t code = {words_, count_, exit, faults_, fault_count_};
        dr_replace_run(drcontext, list, first, count, &code);
    }

private:
    void put(uint word) { words_[count_++] = word; }
    uint words_[1000];
    uint count_ = 0;
    dr_fault_range_t faults_[100];
    uint fault_count_ = 0;
};

uint word_of(instr_t *instr) {
    uint word;
    std::memcpy(&word, instr_get_raw_bits(instr), sizeof word);
    return word;
}

dr_emit_flags_t on_block(void *drcontext, void *tag, instrlist_t *list, bool, bool) {
    if (!shared_code)
        shared_code = dr_write_shared_code(fill_shared_code, tls_idx, offsetof(state, returns_to));
    const bool is_met = dr_fragment_reason(tag) == DR_BLOCK_MET;
    for (instr_t *first = instrlist_first_app(list); first;) {
        run_code code;
        uint count = 0;
        instr_t *last = first;
        for (; last && kind_of(word_of(last)) != kind::none;
             last = instr_get_next_app(last), count++) {
            if (is_met)
                dr_emulate_at_trap(last, &tls_idx);
            code.add(word_of(last));
        }
        if (count && !is_met)
            code.replace(drcontext, list, first, count);
        first = last ? instr_get_next_app(last) : nullptr;
    }
    return DR_EMIT_DEFAULT;
}

// Loads that fault aren't for traps.
void on_trap(void *, dr_registers_t *registers, const dr_trapped_instr_t *instrs, uint count) {
    for (uint i = 0; i < count; i++)
        registers->x[0] += kind_of(instrs[i].word) == kind::load
                               ? *reinterpret_cast<const uint *>(registers->x[2])
                               : instrs[i].word & 0xff;
}

} // namespace

void dr_client_main(client_id_t, int, const char *[]) {
    drmgr_init();
    drmgr_register_thread_init_event([](void *drcontext) {
        drmgr_set_tls_field(drcontext, tls_idx, dr_thread_alloc(drcontext, sizeof(state)));
    });
    drmgr_register_thread_exit_event([](void *drcontext) {
        dr_thread_free(drcontext, own_state(), sizeof(state));
        drmgr_set_tls_field(drcontext, tls_idx, nullptr);
    });
    drmgr_register_bb_app2app_event(on_block, nullptr);
    dr_register_trap_event(on_trap);
    tls_idx = drmgr_register_tls_field();
}
