// Children that borrow the parent's memory, and children that become other programs. The parent emulates
// on with what it had. The argument, if there is one, is the status that this process ends with.
#include "emulated_work.h"

#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

static void expect_status(pid_t child, int expected, int line) {
    int status = 0;
    expect_at(waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                  WEXITSTATUS(status) == expected,
              line);
}
#define EXPECT_STATUS(child, expected) expect_status((child), (expected), __LINE__)

int main() {
    EXPECT_WORK(1, 5);
    for (int i = 0; i < 5; i++) {
        pid_t child = vfork();
        if (child == 0)
            _exit(50 + i); // tells nothing and frees nothing
        EXPECT_STATUS(child, 50 + i);
        EXPECT_WORK(2, 5);

        child = vfork();
        if (child == 0) {
            signal(SIGSEGV, SIG_DFL); // of this process only
            execl("/missing", "missing", nullptr);
            _exit(errno == ENOENT ? 61 : 62);
        }
        EXPECT_STATUS(child, 61);
        EXPECT_WORK(3, 5);

        const char *const words[] = {"sh", "-c", "exit 7", nullptr};
        EXPECT(posix_spawnp(&child, "sh", nullptr, nullptr, const_cast<char **>(words), environ) ==
               0);
        EXPECT_STATUS(child, 7);
        EXPECT_WORK(4, 5);

        fflush(stdout);
        child = fork();
        if (child == 0) {
            execlp("sh", "sh", "-c", "exit 8", nullptr);
            _exit(1);
        }
        EXPECT_STATUS(child, 8);
        EXPECT_WORK(5, 5);
    }
    return verdict("spawn");
}
