#include "sve/memory/access.h"

#include "sve/core/signals.h"
#include "sve/memory/host_probe.h"

#include <csetjmp>
#include <csignal>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace sve;

// ---- Protected reads ---------------------------------------------------------------------------

// A byte that nobody reads. Touching an element's first and last byte proves all of it, since it
// spans two pages at most.
static void touch(uint64_t address) {
    [[maybe_unused]] const volatile uint8_t byte = load_memory<uint8_t>(address);
}

// Has no local that the jump could spoil.
template <class T>
static T read_element(unsigned long address, int non_fault, bool *fault) {
    if (!fault || !non_fault)
        return load_memory<T>(address);
    // The mask too: the jump leaves a signal handler.
    if (sigsetjmp(sveFaultJB, 1)) {
        *fault = true;
        return 0;
    }
    SVEFaultRegion = 1;
    touch(address);
    touch(address + sizeof(T) - 1);
    SVEFaultRegion = 0;
    return load_memory<T>(address);
}

unsigned char ReadMemLib1(unsigned long address, int non_fault, bool *fault, CpuContext *) {
    return read_element<uint8_t>(address, non_fault, fault);
}
unsigned short ReadMemLib2(unsigned long address, int non_fault, bool *fault, CpuContext *) {
    return read_element<uint16_t>(address, non_fault, fault);
}
unsigned int ReadMemLib4(unsigned long address, int non_fault, bool *fault, CpuContext *) {
    return read_element<uint32_t>(address, non_fault, fault);
}
unsigned long ReadMemLib8(unsigned long address, int non_fault, bool *fault, CpuContext *) {
    return read_element<uint64_t>(address, non_fault, fault);
}

void WriteMemLib1(unsigned char value, unsigned long address, CpuContext *) {
    store_memory(address, value);
}
void WriteMemLib2(unsigned short value, unsigned long address, CpuContext *) {
    store_memory(address, value);
}
void WriteMemLib4(unsigned int value, unsigned long address, CpuContext *) {
    store_memory(address, value);
}
void WriteMemLib8(unsigned long value, unsigned long address, CpuContext *) {
    store_memory(address, value);
}

unsigned long ReadMem(unsigned long, int, int, bool *fault, CpuContext *) {
    *fault = false;
    return 0;
}
unsigned long ReadMemSim(unsigned long, int, int, bool *fault, bool, CpuContext *) {
    *fault = false;
    return 0;
}
void WriteMem(unsigned long, unsigned long, int, CpuContext *) {}
void WriteMemSim(unsigned long, unsigned long, int, bool, CpuContext *) {}

// ---- The probe ---------------------------------------------------------------------------------

// A child of fork must not begin with the handlers in the hands of a thread that it doesn't have.
[[maybe_unused]] static const int guarded_fork =
    pthread_atfork([] { fault_actions_mutex.lock(); }, [] { fault_actions_mutex.unlock(); },
                   [] { fault_actions_mutex.unlock(); });

static bool was_sent(const siginfo_t *info) {
    return info->si_code <= 0;
}

// For a thread that probes nothing and met the handler by chance. A fault's access is repeated until the
// former handler is there again; a signal that was sent is sent again.
static void step_aside(int signal, siginfo_t *info) {
    if (was_sent(info))
        syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), signal, info);
}

template <std::same_as<char> Byte>
bool addr_is_readable(const volatile Byte *address) {
    [[gnu::tls_model("initial-exec")]] static thread_local volatile bool access_violation;

    struct sigaction action = {}, former;
    action.sa_sigaction = [](int signal, siginfo_t *info, void *interrupted) {
        if (!probing)
            return step_aside(signal, info);
        if (was_sent(info))
            return;
        access_violation = true;
        skip_probe(static_cast<ucontext_t *>(interrupted));
    };
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART;

    // The handler is the process's: of two probes that overlapped, one could leave the other's there.
    const std::lock_guard lock(fault_actions_mutex);
    probing = true;
    access_violation = false;
    sigaction(SIGSEGV, &action, &former);
    probe_byte(address);
    sigaction(SIGSEGV, &former, nullptr);
    probing = false;
    return !access_violation;
}
template bool addr_is_readable(const volatile char *);
