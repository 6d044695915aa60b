#include "sve/core/signals.h"

#include "sve/core/cpu_context.h"

#include <cstdio>

constinit thread_local volatile int SVEFaultRegion = 0;
constinit thread_local sigjmp_buf sveFaultJB = {};

constinit std::mutex sve::fault_actions_mutex;
constinit thread_local volatile bool sve::probing = false;

CpuContext cpu_ctxt;
CpuContext *ctxt;

static int SVELibInitialized;

// Installs the action's handler for both fault signals.
static void set_fault_action(struct sigaction action) {
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
}

void SVEInitialize() {
    if (SVELibInitialized)
        return;
    cpu_ctxt.VL = 2;
    ctxt = &cpu_ctxt;
    struct sigaction action = {};
    action.sa_sigaction = SVESigHandler;
    set_fault_action(action);
    SVELibInitialized = 1;
}

void SVESigHandler(int signal, siginfo_t *, void *) {
    if (SVEFaultRegion) {
        SVEFaultRegion = 0;
        siglongjmp(sveFaultJB, 1);
    }
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    if (sve::probing) {
        set_fault_action(action);
    } else {
        const std::lock_guard lock(sve::fault_actions_mutex);
        set_fault_action(action);
    }
    fprintf(stderr,
            "ovrin's SVESigHandler caught signal %s from the process being emulated, passing it to "
            "the default signal handler.\n",
            signal == SIGSEGV ? "SIGSEGV" : "SIGBUS");
    fflush(stderr);
}
