#include "platform/src/events.h"

#include "platform/include/drreg.h"
#include "platform/src/message.h"
#include "platform/src/process.h"

using namespace platform;

namespace {

// Callbacks of one kind, in the order of registration. Clients register while they start.
template <class Callback>
class callback_list {
public:
    bool add(Callback callback) {
        if (count_ == capacity)
            return false;
        callbacks_[count_++] = callback;
        return true;
    }
    bool remove(Callback callback) {
        for (unsigned i = 0; i < count_; i++)
            if (callbacks_[i] == callback) {
                for (count_--; i < count_; i++)
                    callbacks_[i] = callbacks_[i + 1];
                return true;
            }
        return false;
    }
    template <class... Argument>
    void raise(Argument... argument) const {
        for (unsigned i = 0; i < count_; i++)
            callbacks_[i](argument...);
    }

private:
    static constexpr unsigned capacity = 8;
    Callback callbacks_[capacity] = {};
    unsigned count_ = 0;
};

constinit callback_list<void (*)(void *)> thread_init_events;
constinit callback_list<void (*)(void *)> thread_exit_events;
constinit callback_list<void (*)()> exit_events;
constinit callback_list<drmgr_xform_cb_t> block_events;
constinit dr_trap_event_t trap_event;
int tls_fields;

} // namespace

void platform::raise_thread_init(void *drcontext) {
    thread_init_events.raise(drcontext);
}
void platform::raise_thread_exit(void *drcontext) {
    thread_exit_events.raise(drcontext);
}

void platform::raise_block(void *drcontext, instrlist_t *list) {
    block_events.raise(drcontext, list, list, false, false);
}

void platform::raise_trap(void *drcontext, dr_registers_t *registers,
                          const dr_trapped_instr_t *instrs, uint count) {
    trap_event(drcontext, registers, instrs, count);
}

void platform::raise_exit_events() {
    exit_events.raise();
}

bool drmgr_init() {
    return true;
}
void drmgr_exit() {}
drreg_status_t drreg_init(drreg_options_t *) {
    return DRREG_SUCCESS;
}
drreg_status_t drreg_exit() {
    return DRREG_SUCCESS;
}

bool drmgr_register_thread_init_event(void (*func)(void *)) {
    return thread_init_events.add(func);
}
bool drmgr_register_thread_exit_event(void (*func)(void *)) {
    return thread_exit_events.add(func);
}

bool drmgr_register_bb_app2app_event(drmgr_xform_cb_t func, drmgr_priority_t *priority) {
    return !priority && block_events.add(func);
}
bool drmgr_unregister_bb_app2app_event(drmgr_xform_cb_t func) {
    return block_events.remove(func);
}

bool dr_register_trap_event(dr_trap_event_t func) {
    if (trap_event)
        return false;
    trap_event = func;
    return true;
}

int drmgr_register_tls_field() {
    return tls_fields < DR_TLS_FIELD_COUNT ? tls_fields++ : -1;
}

extern "C" int __cxa_atexit(void (*function)(void *), void *argument, void *library);

void dr_register_exit_event_of(void (*func)(), void *library) {
    // Registered as the library's own, behind its static objects, so it runs before they are
    // destroyed.
    if (!exit_events.add(func) ||
        __cxa_atexit([](void *) { end_emulation(); }, nullptr, library) != 0)
        refuse(125, "no room for an exit event");
}
