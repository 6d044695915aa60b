#include "platform/src/thread.h"

#include "platform/src/events.h"
#include "platform/src/memory.h"
#include "platform/src/message.h"
#include "platform/src/traps.h"

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <utility>

constinit DR_THREAD_LOCAL dr_thread_area_t dr_thread_area = {};

// call.S reads these at their places.
static_assert(offsetof(dr_thread_area_t, stack_top) == 96);
static_assert(offsetof(dr_thread_area_t, returns_to) == 112);

// In call.S.
extern "C" void sve_platform_switch_stack(void (*function)(void *), void *argument,
                                          void *stack_top);

namespace platform {

namespace {

constexpr size_t stack_bytes = size_t{256} << 10;

// Memory that the client has for a thread; what it gets lies behind this.
struct memory_block {
    memory_block *next;
    size_t size; // of the client's part
    byte *content() { return reinterpret_cast<byte *>(this + 1); }
};
static_assert(sizeof(memory_block) % 16 == 0);

// What only the platform looks at. It lies at the upper end of the platform stack's mapping, so it
// lives as long.
struct alignas(16) thread_record {
    thread_record *next; // of all threads that have one
    dr_thread_area_t *area;
    pid_t tid;
    bool asked_to_close;  // by a message, which it may not have got yet
    bool closed;          // the client never runs on this thread again
    bool close_requested; // close it when signals are let in

    // Signals that wait.
    static constexpr unsigned waiting_room = 8;
    siginfo_t waiting[waiting_room];
    unsigned waiting_count;
    signal_set mask; // before the first of them

    memory_block *blocks;
    memory_copy *copies;
    void *detour;
};

pthread_key_t thread_end_key;

// Guards the list of records. Taken with signals blocked only.
pthread_mutex_t threads_lock = PTHREAD_MUTEX_INITIALIZER;
thread_record *threads;
pid_t closing_thread; // the thread that has closed the others, or 0

thread_record &own_record() {
    return *reinterpret_cast<thread_record *>(dr_thread_area.stack_top);
}

// The mapping that a record lies in.
byte *stack_of(thread_record *record) {
    return reinterpret_cast<byte *>(record + 1) - stack_bytes;
}

class threads_locked {
public:
    threads_locked() { pthread_mutex_lock(&threads_lock); }
    ~threads_locked() { pthread_mutex_unlock(&threads_lock); }
    threads_locked(const threads_locked &) = delete;
    threads_locked &operator=(const threads_locked &) = delete;

private:
    signals_blocked blocked_;
};

pid_t thread_id() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

} // namespace

// ---- The platform stack -------------------------------------------------------------------------

static void add_record(void *record) {
    auto *added = static_cast<thread_record *>(record);
    added->area = &dr_thread_area;
    added->tid = thread_id();
    const threads_locked locked;
    added->next = threads;
    threads = added;
}

// Out of line: whoever needs the stack may have little of another.
[[gnu::noinline]] static void make_platform_stack() {
    auto *base = static_cast<byte *>(map_memory(stack_bytes));
    if (!base)
        refuse(125, "no memory for a thread's stack");
    // The lowest page is the guard.
    syscall(SYS_mprotect, base, static_cast<size_t>(getpagesize()), PROT_NONE);
    byte *record = base + stack_bytes - sizeof(thread_record);
    dr_thread_area.stack_base = base;
    dr_thread_area.stack_top = record;
    sve_platform_switch_stack(add_record, record, record);
}

bool has_platform_stack() {
    return dr_thread_area.stack_top;
}

void need_platform_stack() {
    if (!has_platform_stack())
        make_platform_stack();
}

void run_on_platform_stack(void (*function)(void *), void *argument) {
    need_platform_stack();
    const bool waits = dr_thread_area.pending;
    // A signal on that stack returns here, and to no trampoline.
    const reg_t returns_to = std::exchange(dr_thread_area.returns_to, 0);
    sve_platform_switch_stack(function, argument, dr_thread_area.stack_top);
    dr_thread_area.returns_to = returns_to;
    if (dr_thread_area.pending && !waits)
        asm volatile(".inst %0" ::"i"(trap_to_let_in) : "memory");
}

void run_further_down(uint64_t stack_pointer, void (*function)(void *), void *argument) {
    sve_platform_switch_stack(function, argument,
                              reinterpret_cast<void *>(stack_pointer & ~uint64_t{15}));
}

bool inside_client(uint64_t stack_pointer) {
    const dr_thread_area_t &area = dr_thread_area;
    return area.stack_base && stack_pointer >= reinterpret_cast<uint64_t>(area.stack_base) &&
           stack_pointer <= reinterpret_cast<uint64_t>(area.stack_top);
}

// ---- Beginning and end --------------------------------------------------------------------------

static void free_thread_memory(thread_record &record) {
    for (memory_block *next, *block = record.blocks; block; block = next) {
        next = block->next;
        unmap_memory(block, sizeof *block + block->size);
    }
    record.blocks = nullptr;
}

static void free_copies(thread_record &record);

// With the stack that it lies in.
static void free_record(thread_record &record) {
    free_copies(record);
    if (record.detour)
        unmap_memory(record.detour, detour_bytes);
    unmap_memory(stack_of(&record), stack_bytes);
}

static void remove_record(thread_record *record) {
    thread_record **link = &threads;
    while (*link != record)
        link = &(*link)->next;
    *link = record->next;
}

// The initial thread has called pthread_exit. The last thread will run what the program has for its end, and newer C
// libraries do that with all signals blocked. What is registered now runs before what has been registered so far.
static void keep_traps_for_the_end() {
    std::atexit([] { exchange_mask(exchange_mask(~signal_set{0}) & ~own_signals); });
}

// The initial thread keeps its state: it may be the last one.
static void initial_thread_end(void *area) {
    static int rounds = 0;
    if (rounds == 0)
        keep_traps_for_the_end();
    if (++rounds < PTHREAD_DESTRUCTOR_ITERATIONS) {
        pthread_setspecific(thread_end_key, area);
        return;
    }
    const threads_locked locked;
    own_record().tid = 0; // nobody waits for it
}

// A destructor of thread-specific data. Others may come after it and run emulated code: the thread
// then gets its state anew, and this comes again in the next round of destructors.
static void thread_end(void *area) {
    if (thread_id() == getpid()) {
        initial_thread_end(area);
        return;
    }
    const signals_blocked blocked;
    run_on_platform_stack([] { end_thread_state(); });
    thread_record &record = own_record();
    {
        const threads_locked locked;
        remove_record(&record);
    }
    dr_thread_area = {};
    free_record(record);
}

void start_thread_support() {
    if (pthread_key_create(&thread_end_key, thread_end) != 0)
        refuse(125, "no thread-specific key is left");
}

[[noreturn]] static void stop_for_good() {
    exchange_mask(~signal_set{0});
    for (;;)
        syscall(SYS_ppoll, nullptr, 0, nullptr, nullptr, 0);
}

// Whether the calling thread may not run the client any more.
static bool is_closed() {
    const threads_locked locked;
    const bool closed = closing_thread && closing_thread != thread_id();
    own_record().closed = closed;
    return closed;
}

void need_thread_state() {
    if (dr_thread_area.announced)
        return;
    if (is_closed())
        stop_for_good();
    dr_thread_area.announced = true;
    pthread_setspecific(thread_end_key, &dr_thread_area);
    raise_thread_init(&dr_thread_area);
}

void end_thread_state() {
    if (!dr_thread_area.announced)
        return;
    raise_thread_exit(&dr_thread_area);
    free_thread_memory(own_record());
    dr_thread_area.announced = false;
}

// ---- Signals that wait --------------------------------------------------------------------------

void put_off_signals(ucontext_t &context) {
    thread_record &record = own_record();
    if (!dr_thread_area.pending)
        record.mask = kernel_set(context.uc_sigmask);
    dr_thread_area.pending = 1;
    set_kernel_set(context.uc_sigmask, ~own_signals);
}

static void send_again(const siginfo_t &info) {
    syscall(SYS_rt_tgsigqueueinfo, getpid(), thread_id(), info.si_signo, &info);
}

void put_off_signal(const siginfo_t &info, ucontext_t &context) {
    put_off_signals(context);
    thread_record &record = own_record();
    // Of the kinds that don't queue, the kernel too keeps only one.
    for (unsigned i = 0; i < record.waiting_count && info.si_signo < __SIGRTMIN; i++)
        if (record.waiting[i].si_signo == info.si_signo)
            return;
    // More than one of those that are blocked now can come only if the client changes its mask.
    if (record.waiting_count < record.waiting_room)
        record.waiting[record.waiting_count++] = info;
    else if (!is_own_signal(info.si_signo))
        send_again(info);
}

void let_signals_come() {
    thread_record &record = own_record();
    if (record.close_requested)
        close_this_thread();
    for (unsigned i = 0; i < record.waiting_count; i++)
        send_again(record.waiting[i]);
    record.waiting_count = 0;
    dr_thread_area.pending = 0;
}

void let_signals_in(ucontext_t &context) {
    let_signals_come();
    set_kernel_set(context.uc_sigmask, own_record().mask);
}

// ---- Detours ------------------------------------------------------------------------------------

void *own_detour() {
    return has_platform_stack() ? own_record().detour : nullptr;
}

void *need_detour() {
    void *&detour = own_record().detour;
    if (!detour)
        detour = map_memory(detour_bytes, true);
    if (!detour)
        refuse(125, "no memory for a thread's detour");
    return detour;
}

// ---- Copies of memory ---------------------------------------------------------------------------

struct memory_copy {
    memory_copy *next;
    const ucontext_t *frame; // null if the copy is free
    size_t capacity;
    byte *content() { return reinterpret_cast<byte *>(this + 1); }
};

// Two contexts of signals can't lie in the same place: of one that a new one overlaps, the handler
// has been left by a jump.
static bool is_overwritten(const ucontext_t *frame, const ucontext_t *by) {
    const auto distance = reinterpret_cast<uintptr_t>(frame) - reinterpret_cast<uintptr_t>(by);
    return distance < sizeof(ucontext_t) || -distance < sizeof(ucontext_t);
}

static memory_copy *take_copy(thread_record &record, const ucontext_t *frame, size_t size) {
    for (memory_copy *copy = record.copies; copy; copy = copy->next)
        if ((!copy->frame || is_overwritten(copy->frame, frame)) && copy->capacity >= size) {
            copy->frame = frame;
            return copy;
        }
    auto *copy = static_cast<memory_copy *>(map_memory(sizeof(memory_copy) + size));
    if (!copy)
        refuse(125, "no memory to keep a thread's state in during a signal handler");
    *copy = {record.copies, frame, size};
    record.copies = copy;
    return copy;
}

memory_copy *copy_thread_memory(const ucontext_t *frame) {
    thread_record &record = own_record();
    size_t size = 0;
    for (const memory_block *block = record.blocks; block; block = block->next)
        size += sizeof block + block->size;
    if (size == 0)
        return nullptr;
    memory_copy *copy = take_copy(record, frame, size + sizeof(memory_block *));
    byte *to = copy->content();
    for (memory_block *block = record.blocks; block; block = block->next) {
        std::memcpy(to, &block, sizeof block);
        std::memcpy(to + sizeof block, block->content(), block->size);
        to += sizeof block + block->size;
    }
    std::memset(to, 0, sizeof(memory_block *));
    return copy;
}

// Puts the part of one block back, if the thread still has that block. Returns what comes behind.
static const byte *restore_block(const thread_record &record, const byte *from) {
    memory_block *wanted;
    std::memcpy(&wanted, from, sizeof wanted);
    if (!wanted)
        return nullptr;
    for (memory_block *block = record.blocks; block; block = block->next)
        if (block == wanted) {
            std::memcpy(block->content(), from + sizeof wanted, block->size);
            return from + sizeof wanted + block->size;
        }
    return nullptr; // the thread has ended its state since
}

void restore_thread_memory(memory_copy *copy) {
    const byte *from = copy->content();
    while (from)
        from = restore_block(own_record(), from);
    copy->frame = nullptr;
}

static void free_copies(thread_record &record) {
    for (memory_copy *next, *copy = record.copies; copy; copy = next) {
        next = copy->next;
        unmap_memory(copy, sizeof *copy + copy->capacity);
    }
    record.copies = nullptr;
}

// ---- All threads --------------------------------------------------------------------------------

bool is_closing_signal(const siginfo_t &info) {
    return info.si_signo == SIGILL && info.si_code == SI_QUEUE && info.si_pid == getpid() &&
           info.si_value.sival_ptr == &closing_thread;
}

void close_this_thread() {
    thread_record &record = own_record();
    // The next emulated instruction finds no state, and need_thread_state stops the thread.
    for (void *&field : dr_thread_area.tls_field)
        field = nullptr;
    dr_thread_area.announced = false;
    record.close_requested = false;
    __atomic_store_n(&record.closed, true, __ATOMIC_RELEASE);
}

void close_this_thread_later(ucontext_t &context) {
    put_off_signals(context);
    own_record().close_requested = true;
}

// Returns whether the thread is there.
static bool send_close_message(const thread_record &record) {
    siginfo_t message = {};
    message.si_signo = SIGILL;
    message.si_code = SI_QUEUE;
    message.si_pid = getpid();
    message.si_uid = getuid();
    message.si_value.sival_ptr = &closing_thread;
    return syscall(SYS_rt_tgsigqueueinfo, getpid(), record.tid, SIGILL, &message) == 0;
}

// Asks each thread that isn't closed and, unless `all`, has not been asked yet. Returns whether there are any that
// aren't closed.
static bool ask_to_close(bool all) {
    const threads_locked locked;
    closing_thread = thread_id();
    bool any = false;
    for (thread_record *record = threads; record; record = record->next) {
        if (record->area == &dr_thread_area || __atomic_load_n(&record->closed, __ATOMIC_ACQUIRE))
            continue;
        if (all || !record->asked_to_close)
            record->asked_to_close = send_close_message(*record);
        any |= record->asked_to_close;
    }
    return any;
}

void close_other_threads() {
    // A thread that doesn't answer is stopped, by a debugger or in vfork: it can't be in the
    // client.
    constexpr int longest_wait = 5000; // times 200 µs
    // Messages to hundreds of threads, again and again, would keep the lock from them.
    constexpr int messages_every = 50;
    for (int i = 0; i < longest_wait && ask_to_close(i % messages_every == 0); i++) {
        const timespec pause = {0, 200'000};
        nanosleep(&pause, nullptr);
    }
}

void lock_threads() {
    pthread_mutex_lock(&threads_lock);
}

void unlock_threads(bool in_child) {
    if (in_child) {
        // The others are not there, but their memory is.
        thread_record *mine = nullptr;
        for (thread_record *next, *record = threads; record; record = next) {
            next = record->next;
            if (record->area == &dr_thread_area) {
                mine = record;
                continue;
            }
            free_thread_memory(*record);
            free_record(*record);
        }
        threads = mine;
        if (mine) {
            mine->next = nullptr;
            mine->tid = thread_id();
        }
        closing_thread = 0;
    }
    pthread_mutex_unlock(&threads_lock);
}

} // namespace platform

// ---- Memory of threads -------------------------------------------------------------------------

using namespace platform;

void *dr_thread_alloc(void *drcontext, size_t size) {
    auto *record =
        reinterpret_cast<thread_record *>(static_cast<dr_thread_area_t *>(drcontext)->stack_top);
    auto *block = static_cast<memory_block *>(map_memory(sizeof(memory_block) + size));
    if (!block)
        return nullptr;
    *block = {record->blocks, size};
    record->blocks = block;
    return block->content();
}

void dr_thread_free(void *drcontext, void *mem, size_t) {
    auto *record =
        reinterpret_cast<thread_record *>(static_cast<dr_thread_area_t *>(drcontext)->stack_top);
    for (memory_block **link = &record->blocks; *link; link = &(*link)->next)
        if ((*link)->content() == mem) {
            memory_block *block = *link;
            *link = block->next;
            unmap_memory(block, sizeof *block + block->size);
            return;
        }
}
