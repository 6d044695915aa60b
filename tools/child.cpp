// A child process that stands for this one.
#include "tools/child.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace sverun {

int run_in_child(const std::function<void()> &work) {
    sigset_t watched, former;
    sigemptyset(&watched);
    for (const int number : {SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2})
        sigaddset(&watched, number);
    sigprocmask(SIG_BLOCK, &watched, &former);
    // If SIGCHLD was inherited as ignored, the kernel would keep no status.
    struct sigaction usual = {}, inherited;
    usual.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &usual, &inherited);

    const pid_t child = fork();
    if (child == -1)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        sigaction(SIGCHLD, &inherited, nullptr);
        sigprocmask(SIG_SETMASK, &former, nullptr);
        work();
        std::abort();
    }

    int status;
    while (waitpid(child, &status, WNOHANG) != child) {
        siginfo_t signal;
        if (sigwaitinfo(&watched, &signal) != -1 && signal.si_signo != SIGCHLD &&
            signal.si_code <= 0) // sent by a process, not by the terminal
            kill(child, signal.si_signo);
    }
    // What has come meanwhile was for the child, too.
    const timespec at_once = {};
    while (sigtimedwait(&watched, nullptr, &at_once) != -1)
        continue;
    sigprocmask(SIG_SETMASK, &former, nullptr);
    return status;
}

void end_like(int wait_status) {
    if (WIFEXITED(wait_status))
        std::exit(WEXITSTATUS(wait_status));
    const int number = WTERMSIG(wait_status);
    // The child's core dump is the one of interest.
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(number, SIG_DFL);
    sigset_t this_one;
    sigemptyset(&this_one);
    sigaddset(&this_one, number);
    sigprocmask(SIG_UNBLOCK, &this_one, nullptr);
    raise(number);
    std::exit(128 + number);
}

} // namespace sverun
