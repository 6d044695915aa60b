#include "platform/src/thread.h"

#include "platform/src/events.h"
#include "platform/src/memory.h"
#include "platform/src/message.h"

#include <cstddef>
#include <limits.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

constinit DR_THREAD_LOCAL dr_thread_area_t dr_thread_area;

// call.S reads the stack's top at this place.
static_assert(offsetof(dr_thread_area_t, stack_top) == 96);

// In call.S.
extern "C" void sve_platform_switch_stack(void (*function)(void *), void *argument,
                                          void *stack_top);

namespace platform {

static constexpr size_t stack_bytes = size_t{256} << 10;

static pthread_key_t thread_end_key;

// Other destructors of thread-specific data may still run emulated code, and the order of
// destructors is not told. So this one puts itself off to the last round that the system promises.
static void thread_end(void *area) {
    if (++dr_thread_area.exit_rounds < PTHREAD_DESTRUCTOR_ITERATIONS) {
        pthread_setspecific(thread_end_key, area);
        return;
    }
    run_on_platform_stack([] { end_thread_state(); });
    unmap_memory(dr_thread_area.stack_base, stack_bytes);
    dr_thread_area = {};
}

void start_thread_support() {
    if (pthread_key_create(&thread_end_key, thread_end) != 0)
        refuse(125, "no thread-specific key is left");
}

static void need_platform_stack() {
    dr_thread_area_t &area = dr_thread_area;
    if (area.stack_top)
        return;
    area.stack_base = static_cast<byte *>(map_memory(stack_bytes));
    if (!area.stack_base)
        refuse(125, "no memory for a thread's stack");
    // The lowest page is the guard.
    mprotect(area.stack_base, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE);
    area.stack_top = area.stack_base + stack_bytes;
}

void run_on_platform_stack(void (*function)(void *), void *argument) {
    need_platform_stack();
    sve_platform_switch_stack(function, argument, dr_thread_area.stack_top);
}

bool inside_client(uint64_t stack_pointer) {
    return stack_pointer - reinterpret_cast<uint64_t>(dr_thread_area.stack_base) <= stack_bytes &&
           dr_thread_area.stack_base;
}

void need_thread_state() {
    if (dr_thread_area.announced)
        return;
    dr_thread_area.announced = true;
    pthread_setspecific(thread_end_key, &dr_thread_area);
    raise_thread_init(&dr_thread_area);
}

void end_thread_state() {
    if (!dr_thread_area.announced)
        return;
    raise_thread_exit(&dr_thread_area);
    dr_thread_area.announced = false;
}

} // namespace platform

// ---- Memory of threads -------------------------------------------------------------------------

void *dr_thread_alloc(void *, size_t size) {
    return platform::map_memory(size);
}
void dr_thread_free(void *, void *mem, size_t size) {
    platform::unmap_memory(mem, size);
}
